// Who gets the volume keys, what they get, and when the keyboards are free again.

#include "QuenstalKeyService/KeyServiceTest.hpp"
#include "QuenstalPlatform/EventTaps.hpp"

#include <algorithm>
#include <utility>

#include <fcntl.h>
#include <gmock/gmock.h>
#include <linux/input.h>
#include <sys/socket.h>

namespace quenstal {
namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::IsEmpty;

TEST_F(KeyServiceTest, theActiveClientGetsTheThreeKeysAndTheDesktopEverythingElse)
{
    startService();
    EXPECT_FALSE(keyboard->isGrabbed());
    const auto client = capturingClient();
    keyboard->type({{KEY_A, 1}, {KEY_A, 0}, {KEY_VOLUMEUP, 1}, {KEY_VOLUMEUP, 2}, {KEY_VOLUMEUP, 0},
        {KEY_VOLUMEDOWN, 1}, {KEY_MUTE, 1}, {KEY_PLAYPAUSE, 1}, {KEY_B, 1}});
    ASSERT_TRUE(eventually([&] { return client->presses().size() == 4 && keyboard->passed().size() == 5; }));
    EXPECT_THAT(client->presses(),
        ElementsAre(VolumeKeyPress{AuxiliaryButton::soundUp, false}, VolumeKeyPress{AuxiliaryButton::soundUp, true},
            VolumeKeyPress{AuxiliaryButton::soundDown, false}, VolumeKeyPress{AuxiliaryButton::mute, false}));
    EXPECT_THAT(keyboard->passed(), ElementsAre("1 30 1", "1 30 0", "1 115 0", "1 164 1", "1 48 1"));
}

TEST_F(KeyServiceTest, polkitIsAskedAboutTheCallerAndNobodyIsAskedForAPassword)
{
    startService();
    const auto client = capturingClient();
    EXPECT_THAT(machine->questions(),
        ElementsAre("system-bus-name name=" + client->name() + " app.quenstal.capture-volume-keys 0"));
}

TEST_F(KeyServiceTest, whoIsNotAtTheScreenIsRefusedBeforeAnyoneIsAsked)
{
    const std::string notActive = errorName(KeyServiceRefusal::notActive);
    machine->addSession("remote", {getuid(), true});
    machine->addSession("greeter", {getuid(), false, "greeter"});
    machine->addSession("elsewhere", {getuid(), false, "user", "seat1"});
    startService();
    for (const char* session : {"other", "remote", "greeter", "elsewhere", "unknown", ""}) {
        machine->switchTo(session);
        EXPECT_EQ(errorOfNewClient(), notActive) << session;
    }
    EXPECT_THAT(machine->questions(), IsEmpty());
    EXPECT_EQ(keyboard->grabs(), 0);
}

TEST_F(KeyServiceTest, aProgramOfAnotherSessionOfTheSameUserIsRefused)
{
    machine->addSession("second", {getuid()});
    startService();
    machine->putProcessesInto("second");
    EXPECT_EQ(errorOfNewClient(), errorName(KeyServiceRefusal::notActive));
    EXPECT_THAT(machine->questions(), IsEmpty());
    machine->putProcessesInto("mine");
    EXPECT_TRUE(capturingClient()->hasSocket());
}

TEST_F(KeyServiceTest, withoutLogindNobodyIsAtTheScreen)
{
    sd_bus_release_name(machine->connection().get(), "org.freedesktop.login1");
    startService();
    EXPECT_EQ(errorOfNewClient(), errorName(KeyServiceRefusal::notActive));
}

TEST_F(KeyServiceTest, onlyPolkitsYesIsAYesAndOnlyItsNoIsTheAdministrators)
{
    startService();
    machine->setVerdict(FakeMachine::Verdict::no);
    EXPECT_EQ(errorOfNewClient(), errorName(KeyServiceRefusal::notAuthorized));
    machine->setVerdict(FakeMachine::Verdict::error);
    EXPECT_EQ(errorOfNewClient(), errorName(KeyServiceRefusal::undecided));
    sd_bus_release_name(machine->connection().get(), "org.freedesktop.PolicyKit1");
    EXPECT_EQ(errorOfNewClient(), errorName(KeyServiceRefusal::undecided));
    EXPECT_EQ(keyboard->grabs(), 0);
}

TEST_F(KeyServiceTest, noAnswerFromPolkitIsARefusalOfItsOwnAfterAWhile)
{
    machine->setVerdict(FakeMachine::Verdict::none);
    startService();
    const auto client = newClient();
    client->capture();
    ASSERT_TRUE(eventually([&] { return machine->questions().size() == 1; }));
    EXPECT_FALSE(client->isAnswered());
    loop.advance(KeyService::longestQuestion);
    ASSERT_TRUE(eventually([&] { return client->isAnswered(); }));
    EXPECT_EQ(client->error(), errorName(KeyServiceRefusal::undecided));
    machine->answerAll(true);
    machine->setVerdict(FakeMachine::Verdict::yes);
    EXPECT_TRUE(capturingClient()->hasSocket());
}

TEST_F(KeyServiceTest, theSecondClientOfASessionIsRefusedUntilTheFirstHasGone)
{
    startService();
    auto first = capturingClient();
    EXPECT_EQ(errorOfNewClient(), errorName(KeyServiceRefusal::inUse));
    first->capture();
    ASSERT_TRUE(eventually([&] { return first->isAnswered(); }));
    EXPECT_EQ(first->error(), errorName(KeyServiceRefusal::inUse));
    EXPECT_TRUE(keyboard->isGrabbed());
    first.reset();
    ASSERT_TRUE(eventually([&] { return !keyboard->isGrabbed(); }));
    EXPECT_TRUE(capturingClient()->hasSocket());
}

TEST_F(KeyServiceTest, ofTwoCallsThatWaitForPolkitOneGetsTheKeys)
{
    machine->setVerdict(FakeMachine::Verdict::none);
    startService();
    const auto first = newClient();
    const auto second = newClient();
    first->capture();
    second->capture();
    ASSERT_TRUE(eventually([&] { return machine->questions().size() == 2; }));
    machine->answerAll(true);
    ASSERT_TRUE(eventually([&] { return first->isAnswered() && second->isAnswered(); }));
    EXPECT_NE(first->hasSocket(), second->hasSocket());
}

TEST_F(KeyServiceTest, callsThatWaitForPolkitAreLimited)
{
    machine->setVerdict(FakeMachine::Verdict::none);
    startService();
    std::vector<std::unique_ptr<TestClient>> clients;
    for (int i = 0; i <= KeyService::mostQuestions; ++i)
        clients.emplace_back(newClient())->capture();
    // Which of them came last the bus decides.
    const auto refused
        = [&] { return std::ranges::find_if(clients, [](const auto& client) { return client->isAnswered(); }); };
    ASSERT_TRUE(eventually([&] { return refused() != clients.end(); }));
    EXPECT_EQ((*refused())->error(), errorName(KeyServiceRefusal::tooMany));
    EXPECT_TRUE(eventually([&] { return machine->questions().size() == KeyService::mostQuestions; }));
}

TEST_F(KeyServiceTest, closingTheSocketFreesTheKeyboards)
{
    startService();
    const auto client = capturingClient();
    client->closeSocket();
    ASSERT_TRUE(eventually([&] { return !keyboard->isGrabbed(); }));
    EXPECT_EQ(keyboard->clones(), 0);
}

TEST_F(KeyServiceTest, aClientThatLeavesTheBusFreesTheKeyboardsAlthoughSomeoneHoldsItsSocket)
{
    startService();
    const auto client = capturingClient();
    const FileDescriptor copy(fcntl(client->socket(), F_DUPFD_CLOEXEC, 3));
    client->leaveBus();
    EXPECT_TRUE(eventually([&] { return !keyboard->isGrabbed(); }));
    EXPECT_TRUE(eventually([&] { return client->isDropped(); }));
}

TEST_F(KeyServiceTest, aSwitchToAnotherSessionFreesTheKeyboardsAndTheWayBackTakesThem)
{
    startService();
    const auto client = capturingClient();
    machine->switchTo("other");
    ASSERT_TRUE(eventually([&] { return !keyboard->isGrabbed(); }));
    machine->switchTo("mine");
    ASSERT_TRUE(isCapturedAgain());
    keyboard->type({{KEY_VOLUMEUP, 1}});
    ASSERT_TRUE(eventually([&] { return !client->presses().empty(); }));
    EXPECT_THAT(client->presses(), ElementsAre(VolumeKeyPress{AuxiliaryButton::soundUp, false}));
    EXPECT_FALSE(client->isDropped());
}

TEST_F(KeyServiceTest, eachSessionsClientGetsTheKeysThatArePressedInIt)
{
    machine->addSession("second", {getuid()});
    startService();
    const auto first = capturingClient();
    machine->switchTo("second");
    ASSERT_TRUE(eventually([&] { return !keyboard->isGrabbed(); }));
    const auto second = capturingClient();
    ASSERT_TRUE(isCapturedAgain());
    keyboard->type({{KEY_MUTE, 1}});
    ASSERT_TRUE(eventually([&] { return !second->presses().empty(); }));
    EXPECT_THAT(first->presses(), IsEmpty());
    machine->switchTo("mine");
    ASSERT_TRUE(eventually([&] { return keyboard->grabs() == 3; }));
    ASSERT_TRUE(isCapturedAgain());
    keyboard->type({{KEY_VOLUMEDOWN, 1}});
    ASSERT_TRUE(eventually([&] { return !first->presses().empty(); }));
    EXPECT_EQ(second->presses().size(), 1U);
}

TEST_F(KeyServiceTest, aClientThatIsDroppedWhileAnotherHasTheKeyboardsSeesItsEndAtOnce)
{
    machine->addSession("second", {getuid()});
    startService();
    const auto first = capturingClient();
    machine->switchTo("second");
    ASSERT_TRUE(eventually([&] { return !keyboard->isGrabbed(); }));
    // The guard of these keyboards holds copies of both sockets.
    const auto second = capturingClient();
    EXPECT_EQ(send(first->socket(), "x", 1, MSG_NOSIGNAL), 1);
    EXPECT_TRUE(eventually([&] { return first->isDropped(); }));
    EXPECT_TRUE(keyboard->isGrabbed());
    EXPECT_FALSE(second->isDropped());
}

TEST_F(KeyServiceTest, aSwitchWhilePolkitDecidesIsARefusal)
{
    machine->addSession("second", {getuid()});
    machine->setVerdict(FakeMachine::Verdict::none);
    startService();
    const auto client = newClient();
    client->capture();
    ASSERT_TRUE(eventually([&] { return machine->questions().size() == 1; }));
    machine->switchTo("second");
    machine->answerAll(true);
    ASSERT_TRUE(eventually([&] { return client->isAnswered(); }));
    EXPECT_EQ(client->error(), errorName(KeyServiceRefusal::notActive));
}

TEST_F(KeyServiceTest, newsOfTheSeatThatIsNotAboutItsSessionChangesNothing)
{
    startService();
    const auto client = capturingClient();
    machine->tellIdleHint();
    keyboard->type({{KEY_MUTE, 1}});
    ASSERT_TRUE(eventually([&] { return client->presses().size() == 1; }));
    EXPECT_EQ(keyboard->grabs(), 1);
}

TEST_F(KeyServiceTest, aClientThatStopsReadingLosesTheKeyboardsAndOneThatReadsDoesNot)
{
    startService();
    const auto client = capturingClient();
    keyboard->type({{KEY_MUTE, 1}, {KEY_A, 1}});
    ASSERT_TRUE(eventually([&] { return !keyboard->passed().empty() && loop.pendingTimers() > 0; }));
    ASSERT_EQ(client->presses().size(), 1U);
    loop.advance(KeyClient::patience + 1s);
    EXPECT_TRUE(keyboard->isGrabbed());

    keyboard->type({{KEY_MUTE, 1}, {KEY_A, 1}});
    ASSERT_TRUE(eventually([&] { return keyboard->passed().size() == 2 && loop.pendingTimers() > 0; }));
    loop.advance(KeyClient::patience - 1ms);
    EXPECT_TRUE(keyboard->isGrabbed());
    loop.advance(1ms);
    EXPECT_FALSE(keyboard->isGrabbed());
    EXPECT_TRUE(client->isDropped());
    EXPECT_EQ(errorOfNewClient(), "");
}

TEST_F(KeyServiceTest, aReadingClientIsNotMeasuredByAnOldKey)
{
    startService();
    const auto client = capturingClient();
    // Each key finds the one before it read, but there always is one.
    for (int i = 1; i <= 8; ++i) {
        keyboard->type({{KEY_MUTE, 1}, {KEY_A, 1}});
        const auto count = static_cast<std::size_t>(i);
        ASSERT_TRUE(eventually([&] { return keyboard->passed().size() == count && loop.pendingTimers() > 0; }));
        loop.advance(KeyClient::patience / 2);
        ASSERT_EQ(client->presses().size(), count);
    }
    EXPECT_TRUE(keyboard->isGrabbed());
}

TEST_F(KeyServiceTest, aFloodThatTheClientDoesNotReadHoldsUpNoOtherKey)
{
    startService();
    const auto client = capturingClient();
    // In parts, since the emulated device holds no more.
    std::vector<std::pair<std::uint16_t, std::int32_t>> flood(40, {KEY_VOLUMEUP, 2});
    flood.emplace_back(KEY_A, 1);
    for (std::size_t part = 1; part <= 3; ++part) {
        keyboard->type(flood);
        ASSERT_TRUE(eventually([&] { return keyboard->passed().size() == part; }));
    }
    loop.runUntilIdle();
    EXPECT_GT(client->presses().size(), 20U);
    EXPECT_LT(client->presses().size(), 120U);
}

TEST_F(KeyServiceTest, aClientThatWritesIsDropped)
{
    startService();
    const auto client = capturingClient();
    EXPECT_EQ(send(client->socket(), "x", 1, MSG_NOSIGNAL), 1);
    EXPECT_TRUE(eventually([&] { return !keyboard->isGrabbed() && client->isDropped(); }));
}

TEST_F(KeyServiceTest, keyboardsThatAnotherProgramHasTakenAreToldToTheClientAndTheNext)
{
    keyboard->refuseGrab(true);
    startService();
    const auto client = newClient();
    client->capture();
    ASSERT_TRUE(eventually([&] { return client->hasSocket() && client->isDropped(); }));
    EXPECT_EQ(errorOfNewClient(), errorName(KeyServiceRefusal::takenByOther));
    keyboard->refuseGrab(false);
    loop.advance(EvdevKeyCapture::pause);
    EXPECT_TRUE(capturingClient()->hasSocket());
}

TEST_F(KeyServiceTest, theClientOfAKeyboardThatIsUnpluggedWaitsForTheNextOne)
{
    startService();
    const auto client = capturingClient();
    keyboard->announceRemoval();
    ASSERT_TRUE(eventually([&] { return keyboard->clones() == 0; }));
    EXPECT_TRUE(eventually([&] {
        loop.advance(KeyService::retryPause);
        return keyboards->obstacleKind() == EvdevKeyCapture::Obstacle::noKeyboard;
    }));
    EXPECT_FALSE(client->isDropped());
}

TEST_F(KeyServiceTest, aMalformedCallChangesNothing)
{
    startService();
    const auto client = newClient();
    sd_bus* sender = client->connection().get();
    const auto callWith = [&](const char* path, const char* interface, const char* member, auto... arguments) {
        sd_bus_call_method_async(
            sender, nullptr, KeyServiceProtocol::busName, path, interface, member, nullptr, nullptr, arguments...);
    };
    const auto* path = KeyServiceProtocol::objectPath;
    const auto* interface = KeyServiceProtocol::interface;
    callWith(path, interface, "Capture", "s", "everything");
    callWith(path, interface, "Capture", "a{sv}", 0);
    callWith(path, interface, "CaptureAll", "");
    callWith("/", interface, "Capture", "");
    callWith(path, "app.quenstal.KeyService2", "Capture", "");
    callWith(path, "org.freedesktop.DBus.Properties", "Set", "ssv", interface, "Capture", "b", 1);
    EXPECT_EQ(errorOfNewClient(), "");
    EXPECT_EQ(machine->questions().size(), 1U);
}

TEST_F(KeyServiceTest, aClientThatLeavesBeforeItIsAnsweredGetsNothing)
{
    machine->setVerdict(FakeMachine::Verdict::none);
    startService();
    auto client = newClient();
    client->capture();
    ASSERT_TRUE(eventually([&] { return machine->questions().size() == 1; }));
    client.reset();
    machine->answerAll(true);
    EXPECT_TRUE(eventually([&] { return service->isIdle() && !keyboard->isGrabbed(); }));
    machine->setVerdict(FakeMachine::Verdict::yes);
    EXPECT_TRUE(capturingClient()->hasSocket());
}

TEST_F(KeyServiceTest, theServiceIsIdleOnlyWhenNobodyHasWantedTheKeysForAWhile)
{
    startService();
    loop.advance(KeyService::idleTime - 1s);
    const auto client = capturingClient();
    loop.advance(KeyService::idleTime * 2);
    EXPECT_EQ(idles, 0);
    client->closeSocket();
    ASSERT_TRUE(eventually([&] { return service->isIdle(); }));
    loop.advance(KeyService::idleTime - 1ms);
    EXPECT_EQ(idles, 0);
    loop.advance(1ms);
    EXPECT_EQ(idles, 1);
}

TEST_F(KeyServiceTest, theLogSaysWhoHasTheKeysAndNeverWhichWerePressed)
{
    startService();
    const auto client = capturingClient();
    keyboard->type({{KEY_MUTE, 1}, {KEY_A, 1}});
    ASSERT_TRUE(eventually([&] { return client->presses().size() == 1; }));
    client->closeSocket();
    ASSERT_TRUE(eventually([&] { return notes.size() == 2; }));
    EXPECT_EQ(notes[0],
        "The volume keys of session mine go to " + client->name() + ", user " + std::to_string(getuid()) + ".");
    EXPECT_EQ(notes[1], client->name() + " of session mine has given the volume keys back: it closed its socket.");
}

TEST_F(KeyServiceTest, theEndOfTheServiceFreesTheKeyboardsAndTellsTheClient)
{
    startService();
    const auto client = capturingClient();
    service.reset();
    EXPECT_FALSE(keyboard->isGrabbed());
    EXPECT_EQ(keyboard->clones(), 0);
    EXPECT_TRUE(client->isDropped());
    EXPECT_TRUE(eventually([&] { return !keyboard->isGrabbed(); }));
}

} // namespace
} // namespace quenstal
