// The application's side of the key service, against the real one and against one that misbehaves.

#include "QuenstalKeyService/KeyServiceTest.hpp"
#include "QuenstalLinux/Keys/LinuxEventTaps.hpp"
#include "QuenstalLinux/Keys/ServiceKeyCapture.hpp"
#include "QuenstalPlatform/EventTaps.hpp"
#include "Support/BusStranger.hpp"
#include "Support/BusThatStarts.hpp"
#include "Support/SilentBus.hpp"

#include <array>
#include <utility>

#include <gmock/gmock.h>
#include <linux/input.h>
#include <sys/socket.h>

namespace quenstal {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

struct ServiceKeyCaptureTest : KeyServiceTest, KeyCaptureListener {
    void volumeKeyDown(std::int64_t button, bool isRepeat) override { presses.emplace_back(button, isRepeat); }
    void captureLost() override { ++losses; }

    void SetUp() override
    {
        KeyServiceTest::SetUp();
        if (IsSkipped())
            return;
        clientBus = std::make_unique<DBusConnection>(loop, bus.address());
        ownKeyboards = std::make_unique<EvdevKeyCapture>(loop);
        capture = std::make_unique<ServiceKeyCapture>(loop, *clientBus, *ownKeyboards);
        observation = capture->onMayHaveChanged([this] { ++changes; });
    }
    void TearDown() override
    {
        // The guard of the service, a child of this process here, holds a copy of the connection.
        if (clientBus && *clientBus)
            shutdown(sd_bus_get_fd(clientBus->get()), SHUT_RDWR);
    }
    /// What the bus has sent to the client before this has been handled.
    void roundTrip()
    {
        bool isAnswered = false;
        const auto note = [](sd_bus_message*, void* flag, sd_bus_error*) {
            *static_cast<bool*>(flag) = true;
            return 0;
        };
        sd_bus_call_method_async(clientBus->get(), nullptr, "org.freedesktop.DBus", "/org/freedesktop/DBus",
            "org.freedesktop.DBus", "GetId", note, &isAnswered, "");
        ASSERT_TRUE(eventually([&] { return isAnswered; }));
    }
    void startServiceAndSeeIt()
    {
        startService();
        ASSERT_TRUE(eventually([&] { return capture->isPossible(); }));
    }
    void startCapture()
    {
        ASSERT_TRUE(capture->start(*this));
        ASSERT_TRUE(eventually([&] { return keyboard->isGrabbed(); }));
    }

    std::unique_ptr<DBusConnection> clientBus;
    std::unique_ptr<EvdevKeyCapture> ownKeyboards;
    std::unique_ptr<ServiceKeyCapture> capture;
    Cancellation observation;
    std::vector<std::pair<std::int64_t, bool>> presses;
    int losses = 0;
    int changes = 0;
};

TEST_F(ServiceKeyCaptureTest, withoutTheServiceNothingIsPossibleAndTheGuideNamesThePackage)
{
    EXPECT_FALSE(capture->isPossible());
    EXPECT_FALSE(capture->start(*this));
    EXPECT_THAT(capture->obstacle(), HasSubstr("Install its package"));
    EXPECT_THAT(capture->obstacle(), HasSubstr("Do not join the group \"input\""));
}

TEST_F(ServiceKeyCaptureTest, aServiceThatAppearsIsNoticedWithoutBeingAsked)
{
    startServiceAndSeeIt();
    EXPECT_GE(changes, 1);
    EXPECT_EQ(capture->obstacle(), "");
    loop.runUntilIdle();
    EXPECT_THAT(machine->questions(), IsEmpty());
}

TEST_F(ServiceKeyCaptureTest, onlyTheBusTellsThatTheServiceRuns)
{
    const char* name = nullptr;
    sd_bus_get_unique_name(clientBus->get(), &name);
    BusStranger attacker(bus.address());
    attacker.signal(name, "/org/freedesktop/DBus", "org.freedesktop.DBus", "NameOwnerChanged", "sss",
        KeyServiceProtocol::busName, "", attacker.name().c_str());
    attacker.signal(name, "/org/freedesktop/DBus", "org.freedesktop.DBus", "ActivatableServicesChanged", "");
    // The first answer comes after the forgeries, the second after the answers to what was asked because of them.
    roundTrip();
    roundTrip();
    EXPECT_EQ(changes, 0);
    EXPECT_FALSE(capture->isPossible());
}

TEST_F(ServiceKeyCaptureTest, aBusThatIsTooBusyToAnswerAtOnceIsHeardLater)
{
    const BusThatStarts busy(KeyServiceProtocol::busName, "/bin/false");
    DBusConnection connection(loop, busy->address());
    // The greeting is over.
    ASSERT_TRUE(eventually([&] { return sd_bus_is_ready(connection.get()) > 0; }));
    ASSERT_TRUE(ServiceKeyCapture(loop, connection, *ownKeyboards).isPossible());
    busy->halt();
    ServiceKeyCapture later(loop, connection, *ownKeyboards);
    EXPECT_FALSE(later.isPossible());
    int news = 0;
    const auto waiting = later.onMayHaveChanged([&] { ++news; });
    busy->goOn();
    EXPECT_TRUE(eventually([&] { return news == 1; }));
    EXPECT_TRUE(later.isPossible());
}

TEST_F(ServiceKeyCaptureTest, aBusThatNeverGreetsHoldsNothingUp)
{
    const SilentBus silent;
    DBusConnection silentBus(loop, silent.address());
    ServiceKeyCapture late(loop, silentBus, *ownKeyboards);
    EXPECT_FALSE(late.isPossible());
}

TEST_F(ServiceKeyCaptureTest, withoutAKeyboardThatHasTheKeysThereIsNothingToCapture)
{
    startServiceAndSeeIt();
    keyboard->announceRemoval();
    ASSERT_TRUE(eventually([&] { return !capture->isPossible(); }));
    EXPECT_EQ(capture->obstacle(), "No keyboard with volume keys is connected.");
}

TEST_F(ServiceKeyCaptureTest, keysArriveUntilTheCaptureStops)
{
    startServiceAndSeeIt();
    startCapture();
    keyboard->type({{KEY_VOLUMEUP, 1}, {KEY_VOLUMEUP, 2}, {KEY_VOLUMEUP, 0}, {KEY_A, 1}, {KEY_MUTE, 1}});
    ASSERT_TRUE(eventually([&] { return presses.size() == 3; }));
    EXPECT_THAT(presses,
        ElementsAre(std::pair(AuxiliaryButton::soundUp, false), std::pair(AuxiliaryButton::soundUp, true),
            std::pair(AuxiliaryButton::mute, false)));
    capture->stop();
    EXPECT_TRUE(eventually([&] { return !keyboard->isGrabbed(); }));
    EXPECT_EQ(losses, 0);
    startCapture();
}

TEST_F(ServiceKeyCaptureTest, stoppingBeforeTheAnswerLeavesNothingCaptured)
{
    machine->setVerdict(FakeMachine::Verdict::none);
    startServiceAndSeeIt();
    ASSERT_TRUE(capture->start(*this));
    ASSERT_TRUE(eventually([&] { return machine->questions().size() == 1; }));
    capture->stop();
    machine->answerAll(true);
    EXPECT_TRUE(eventually([&] { return service->isIdle() && !keyboard->isGrabbed(); }));
    EXPECT_EQ(losses, 0);
}

TEST_F(ServiceKeyCaptureTest, everyRefusalIsALossWithAnAdviceOfItsOwn)
{
    startServiceAndSeeIt();
    const auto expectRefused = [&](const char* advice) {
        const int before = losses;
        ASSERT_TRUE(capture->start(*this));
        ASSERT_TRUE(eventually([&] { return losses == before + 1; }));
        EXPECT_FALSE(capture->isPossible());
        EXPECT_FALSE(capture->start(*this));
        EXPECT_THAT(capture->obstacle(), HasSubstr(advice));
        loop.advance(ServiceKeyCapture::refusalPause);
        EXPECT_TRUE(capture->isPossible());
    };
    machine->setVerdict(FakeMachine::Verdict::no);
    expectRefused("does not allow this session");
    machine->setVerdict(FakeMachine::Verdict::yes);
    machine->switchTo("other");
    expectRefused("belong to the active session");
    machine->switchTo("mine");
    auto other = capturingClient();
    expectRefused("Another program in this session");
    other.reset();
    ASSERT_TRUE(eventually([&] { return !keyboard->isGrabbed(); }));
    EXPECT_GE(changes, 3);
    startCapture();
}

TEST_F(ServiceKeyCaptureTest, whatTheAdministratorForbidsIsNotAskedForByItself)
{
    machine->setVerdict(FakeMachine::Verdict::no);
    startServiceAndSeeIt();
    ASSERT_TRUE(capture->start(*this));
    ASSERT_TRUE(eventually([&] { return losses == 1; }));
    loop.runUntilIdle();
    const int before = changes;
    loop.advance(ServiceKeyCapture::refusalPause * 10);
    EXPECT_EQ(changes, before);
}

TEST_F(ServiceKeyCaptureTest, aSlowPolkitIsNoAdministratorsRefusalAndThereIsAnotherTry)
{
    machine->setVerdict(FakeMachine::Verdict::none);
    startServiceAndSeeIt();
    ASSERT_TRUE(capture->start(*this));
    ASSERT_TRUE(eventually([&] { return machine->questions().size() == 1; }));
    loop.advance(KeyService::longestQuestion);
    ASSERT_TRUE(eventually([&] { return losses == 1; }));
    EXPECT_THAT(capture->obstacle(), HasSubstr("polkit service, which decides"));
    machine->answerAll(true);
    machine->setVerdict(FakeMachine::Verdict::yes);
    loop.runUntilIdle();
    const int before = changes;
    loop.advance(ServiceKeyCapture::refusalPause);
    EXPECT_GT(changes, before);
    startCapture();
}

TEST_F(ServiceKeyCaptureTest, theEndOfTheServiceDisablesTheTapByTimeoutAndTheNextOneIsUsed)
{
    startServiceAndSeeIt();
    LinuxEventTaps taps(loop, {capture.get()});
    std::vector<EventType> told;
    const auto note = [](EventType type, const TapEvent* event, void* userInfo) {
        static_cast<std::vector<EventType>*>(userInfo)->push_back(type);
        return event;
    };
    const auto newTap = [&] {
        return taps.createEventTap(EventTapLocation::session, EventTapPlacement::headInsert, EventTapOptions::active,
            EventMask(1) << eventTypeSystemDefined, note, &told);
    };
    auto tap = newTap();
    auto source = tap->createRunLoopSource();
    source->addToMainRunLoop();
    tap->enable(true);
    ASSERT_TRUE(eventually([&] { return keyboard->isGrabbed(); }));
    service.reset();
    sd_bus_release_name(serviceBus->get(), KeyServiceProtocol::busName);
    ASSERT_TRUE(eventually([&] { return !told.empty(); }));
    EXPECT_THAT(told, ElementsAre(eventTypeTapDisabledByTimeout));
    startService();
    source.reset();
    tap = newTap();
    ASSERT_NE(tap, nullptr);
    tap->enable(true);
    EXPECT_TRUE(eventually([&] { return keyboard->isGrabbed(); }));
}

/// A service that answers what a real one never would.
struct BrokenServiceTest : ServiceKeyCaptureTest {
    static int answer(sd_bus_message* message, void* self, sd_bus_error*)
    {
        return static_cast<BrokenServiceTest*>(self)->answerWith(message);
    }
    void startBrokenService(std::function<int(sd_bus_message*)> answer)
    {
        answerWith = std::move(answer);
        serviceBus = std::make_unique<DBusConnection>(loop, bus.address());
        sd_bus_add_object(serviceBus->get(), nullptr, KeyServiceProtocol::objectPath, &BrokenServiceTest::answer, this);
        sd_bus_request_name(serviceBus->get(), KeyServiceProtocol::busName, 0);
        ASSERT_TRUE(eventually([&] { return capture->isPossible(); }));
    }
    /// Gives the client a socket, and writes to it.
    void startServiceThatSends(const std::vector<std::vector<std::uint8_t>>& packets)
    {
        startBrokenService([this, packets](sd_bus_message* message) {
            std::array<int, 2> ends{};
            EXPECT_EQ(socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, ends.data()), 0);
            ours = FileDescriptor(ends[0]);
            const FileDescriptor theirs(ends[1]);
            for (const auto& packet : packets)
                send(ours.get(), packet.data(), packet.size(), MSG_NOSIGNAL);
            return sd_bus_reply_method_return(message, "h", theirs.get());
        });
    }

    std::function<int(sd_bus_message*)> answerWith;
    FileDescriptor ours;
};

TEST_F(BrokenServiceTest, anAnswerWithoutASocketIsARefusal)
{
    startBrokenService([](sd_bus_message* message) { return sd_bus_reply_method_return(message, "s", "keys"); });
    ASSERT_TRUE(capture->start(*this));
    ASSERT_TRUE(eventually([&] { return losses == 1; }));
    EXPECT_THAT(capture->obstacle(), HasSubstr("is not responding"));
}

TEST_F(BrokenServiceTest, noAnswerIsARefusalAfterAWhile)
{
    startBrokenService([](sd_bus_message*) { return 1; });
    ASSERT_TRUE(capture->start(*this));
    loop.advance(ServiceKeyCapture::longestCall - std::chrono::milliseconds(1));
    EXPECT_EQ(losses, 0);
    loop.advance(std::chrono::milliseconds(1));
    EXPECT_EQ(losses, 1);
    EXPECT_THAT(capture->obstacle(), HasSubstr("is not responding"));
}

TEST_F(BrokenServiceTest, aServiceThatDiesBeforeItAnswersIsARefusal)
{
    startBrokenService([](sd_bus_message*) { return 1; });
    ASSERT_TRUE(capture->start(*this));
    serviceBus.reset();
    EXPECT_TRUE(eventually([&] { return losses == 1; }));
    EXPECT_FALSE(capture->isPossible());
}

TEST_F(BrokenServiceTest, whatIsNoKeyEndsTheCapture)
{
    const std::vector<std::vector<std::uint8_t>> rows{{0x01}, {0x1E, 0x00}, {0x00, 0x02}, {0x00, 0x00, 0x00}};
    for (const auto& row : rows) {
        startServiceThatSends({{0x07, 0x00}, row, {0x07, 0x00}});
        const int before = losses;
        presses.clear();
        ASSERT_TRUE(capture->start(*this));
        ASSERT_TRUE(eventually([&] { return losses == before + 1; }));
        EXPECT_THAT(presses, ElementsAre(std::pair(AuxiliaryButton::mute, false)));
        serviceBus.reset();
    }
}

TEST_F(BrokenServiceTest, aBusThatGoesAwayLeavesTheSocketAndNothingNewIsPossible)
{
    startServiceThatSends({{0x07, 0x01}});
    ASSERT_TRUE(capture->start(*this));
    ASSERT_TRUE(eventually([&] { return presses.size() == 1; }));
    bus.stop();
    ASSERT_TRUE(eventually([&] { return !*clientBus; }));
    ours = FileDescriptor();
    ASSERT_TRUE(eventually([&] { return losses == 1; }));
    EXPECT_FALSE(capture->isPossible());
}

} // namespace
} // namespace quenstal
