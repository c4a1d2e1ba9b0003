// The real capture against emulated keyboards: the device nodes are answered by the test, in place of the kernel.

#include "QuenstalLinux/Keys/EvdevKeyCapture.hpp"
#include "QuenstalLinux/Keys/LinuxEventTaps.hpp"
#include "QuenstalPlatform/EventTaps.hpp"
#include "QuenstalSimulation/SimulatedRunLoop.hpp"

#include <algorithm>
#include <array>
#include <atomic>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <functional>
#include <future>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <linux/uinput.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <umockdev.h>
#include <unistd.h>

namespace quenstal {
namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;

constexpr const char* keyboardNode = "/dev/input/event5";

struct Event {
    std::uint16_t type;
    std::uint16_t code;
    std::int32_t value;
    /// After the beginning of the script.
    double seconds = 0;
};

/// A keyboard and a uinput whose requests the test answers; a journal of what was written to the clone.
class EmulatedKeyboard {
public:
    EmulatedKeyboard()
        : testbed_(umockdev_testbed_new())
        , keyboard_(umockdev_ioctl_base_new())
        , uinput_(umockdev_ioctl_base_new())
    {
        umockdev_testbed_add_from_string(testbed_,
            "P: /devices/keyboard/input/input5\nE: SUBSYSTEM=input\nA: name=Test keyboard\n"
            "A: capabilities/key=402000000 3803078f800d001 feffffdfffefffff fffffffffffffffe\n\n"
            "P: /devices/keyboard/input/input5/event5\nN: input/event5\nE: SUBSYSTEM=input\n"
            "E: DEVNAME=/dev/input/event5\nE: ID_INPUT_KEYBOARD=1\nA: dev=13:69\n\n"
            "P: /devices/mouse/input/input6\nE: SUBSYSTEM=input\nA: name=Test mouse\n"
            "A: capabilities/key=1f0000 0 0 0 0\n\n"
            "P: /devices/mouse/input/input6/event6\nN: input/event6\nE: SUBSYSTEM=input\n"
            "E: DEVNAME=/dev/input/event6\nA: dev=13:70\n\n"
            "P: /devices/virtual/misc/uinput\nN: uinput\nE: SUBSYSTEM=misc\nE: DEVNAME=/dev/uinput\nA: dev=10:223\n",
            nullptr);
        g_signal_connect(keyboard_, "handle-ioctl", G_CALLBACK(answerKeyboard), this);
        g_signal_connect(uinput_, "handle-ioctl", G_CALLBACK(answerUinput), this);
        g_signal_connect(uinput_, "handle-write", G_CALLBACK(takeWrite), this);
        umockdev_testbed_attach_ioctl(testbed_, keyboardNode, keyboard_, nullptr);
        umockdev_testbed_attach_ioctl(testbed_, "/dev/uinput", uinput_, nullptr);
    }
    ~EmulatedKeyboard()
    {
        umockdev_testbed_detach_ioctl(testbed_, keyboardNode, nullptr);
        umockdev_testbed_detach_ioctl(testbed_, "/dev/uinput", nullptr);
        g_object_unref(keyboard_);
        g_object_unref(uinput_);
        g_object_unref(testbed_);
    }
    EmulatedKeyboard(const EmulatedKeyboard&) = delete;
    EmulatedKeyboard& operator=(const EmulatedKeyboard&) = delete;

    void holdKey(bool isHeld) { isHeld_ = isHeld; }
    void refuseGrab(bool isRefused) { grabIsRefused_ = isRefused; }
    bool isGrabbed() const { return isGrabbed_; }
    int clones() const { return clones_; }
    /// Types, codes and values that reached the clone, without the reports.
    std::vector<std::string> passed()
    {
        const std::lock_guard lock(mutex_);
        return passed_;
    }
    /// Once a key has reached the clone, nothing can be asked of the device any more.
    void pullOutAfterAKey() { pullsOut_ = true; }
    /// The kernel's announcement of the same.
    void announceRemoval()
    {
        umockdev_testbed_uevent(testbed_, "/sys/devices/keyboard/input/input5/event5", "remove");
        umockdev_testbed_remove_device(testbed_, "/sys/devices/keyboard/input/input5");
    }
    /// Keys and their values as the kernel tells them, a frame each. Once in a keyboard's life.
    void type(const std::vector<std::pair<std::uint16_t, std::int32_t>>& keys)
    {
        std::vector<Event> events;
        for (const auto& [code, value] : keys)
            events.push_back({EV_KEY, code, value});
        tell(events);
    }
    /// Any events, a frame each. Once in a keyboard's life.
    void tell(const std::vector<Event>& events)
    {
        std::string script;
        for (const Event& event : events) {
            const std::string time = "E: " + std::to_string(event.seconds) + " ";
            script += time;
            script += hexadecimal(event.type) + " " + hexadecimal(event.code) + " " + std::to_string(event.value);
            script += "\n";
            script += time;
            script += "0000 0000 0\n";
        }
        std::string file = (std::filesystem::temp_directory_path() / "quenstal-keys-XXXXXX").string();
        close(mkstemp(file.data()));
        g_file_set_contents(file.c_str(), script.c_str(), -1, nullptr);
        umockdev_testbed_load_evemu_events(testbed_, keyboardNode, file.c_str(), nullptr);
        std::filesystem::remove(file);
    }

private:
    static std::string hexadecimal(int value)
    {
        std::array<char, 8> text{};
        std::snprintf(text.data(), text.size(), "%04x", static_cast<unsigned>(value));
        return text.data();
    }
    static void answer(UMockdevIoctlClient* client, const void* bytes, std::size_t size)
    {
        UMockdevIoctlData* const argument = umockdev_ioctl_client_get_arg(client);
        const std::size_t room = _IOC_SIZE(umockdev_ioctl_client_get_request(client));
        g_autoptr(UMockdevIoctlData) buffer = umockdev_ioctl_data_resolve(argument, 0, room, nullptr);
        std::vector<guint8> answer(room, 0);
        std::memcpy(answer.data(), bytes, std::min(size, room));
        umockdev_ioctl_data_update(buffer, 0, answer.data(), static_cast<int>(room));
        umockdev_ioctl_client_complete(client, static_cast<glong>(std::min(size, room)), 0);
    }
    static gboolean answerKeyboard(UMockdevIoctlBase*, UMockdevIoctlClient* client, gpointer self)
    {
        auto& keyboard = *static_cast<EmulatedKeyboard*>(self);
        const unsigned long request = umockdev_ioctl_client_get_request(client);
        const unsigned number = _IOC_NR(request);
        if (request == EVIOCGRAB) {
            UMockdevIoctlData* const argument = umockdev_ioctl_client_get_arg(client);
            const bool grabs = *reinterpret_cast<const long*>(argument->data) != 0;
            if (grabs && keyboard.grabIsRefused_) {
                umockdev_ioctl_client_complete(client, -1, EBUSY);
                return TRUE;
            }
            keyboard.isGrabbed_ = grabs;
            umockdev_ioctl_client_complete(client, 0, 0);
            return TRUE;
        }
        if (keyboard.isPulledOut_) {
            umockdev_ioctl_client_complete(client, -1, ENODEV);
            return TRUE;
        }
        std::array<unsigned char, KEY_MAX / 8 + 1> bits{};
        if (number == _IOC_NR(EVIOCGVERSION)) {
            const int version = 0x10001;
            answer(client, &version, sizeof version);
        } else if (number == _IOC_NR(EVIOCGNAME(0))) {
            answer(client, "Test keyboard", sizeof "Test keyboard");
        } else if (number == _IOC_NR(EVIOCGKEY(0))) {
            bits[KEY_A / 8] = keyboard.isHeld_ ? 1 << KEY_A % 8 : 0;
            answer(client, bits.data(), bits.size());
        } else if (number == 0x20) {
            bits[0] = 1 << EV_SYN | 1 << EV_KEY | 1 << EV_MSC;
            answer(client, bits.data(), bits.size());
        } else if (number == 0x20 + EV_MSC) {
            bits[0] = 1 << MSC_SCAN | 1 << MSC_RAW;
            answer(client, bits.data(), bits.size());
        } else if (number == 0x20 + EV_KEY) {
            std::fill_n(bits.begin(), 24, 0xFF);
            answer(client, bits.data(), bits.size());
        } else {
            answer(client, bits.data(), bits.size());
        }
        return TRUE;
    }
    static gboolean answerUinput(UMockdevIoctlBase*, UMockdevIoctlClient* client, gpointer self)
    {
        auto& keyboard = *static_cast<EmulatedKeyboard*>(self);
        const unsigned long request = umockdev_ioctl_client_get_request(client);
        if (request == UI_DEV_CREATE)
            ++keyboard.clones_;
        if (request == UI_DEV_DESTROY)
            --keyboard.clones_;
        if (request == UI_GET_VERSION) {
            const unsigned version = 5;
            answer(client, &version, sizeof version);
        } else if (_IOC_NR(request) == _IOC_NR(UI_GET_SYSNAME(0))) {
            answer(client, "input9", sizeof "input9");
        } else {
            umockdev_ioctl_client_complete(client, 0, 0);
        }
        return TRUE;
    }
    static gboolean takeWrite(UMockdevIoctlBase*, UMockdevIoctlClient* client, gpointer self)
    {
        auto& keyboard = *static_cast<EmulatedKeyboard*>(self);
        UMockdevIoctlData* const argument = umockdev_ioctl_client_get_arg(client);
        input_event event{};
        if (static_cast<std::size_t>(argument->data_len) == sizeof event) {
            std::memcpy(&event, argument->data, sizeof event);
            const std::lock_guard lock(keyboard.mutex_);
            if (event.type == EV_KEY && keyboard.pullsOut_)
                keyboard.isPulledOut_ = true;
            if (event.type != EV_SYN)
                keyboard.passed_.push_back(
                    std::to_string(event.type) + " " + std::to_string(event.code) + " " + std::to_string(event.value));
        }
        umockdev_ioctl_client_complete(client, argument->data_len, 0);
        return TRUE;
    }

    UMockdevTestbed* testbed_;
    UMockdevIoctlBase* keyboard_;
    UMockdevIoctlBase* uinput_;
    std::atomic<bool> isHeld_ = false;
    std::atomic<bool> grabIsRefused_ = false;
    std::atomic<bool> isGrabbed_ = false;
    std::atomic<bool> pullsOut_ = false;
    std::atomic<bool> isPulledOut_ = false;
    std::atomic<int> clones_ = 0;
    std::mutex mutex_;
    std::vector<std::string> passed_;
};

struct EmulatedKeyboardTest : testing::Test, KeyCaptureListener {
    void SetUp() override
    {
        const char* preloaded = std::getenv("LD_PRELOAD");
        if (!preloaded || std::string_view(preloaded).find("umockdev") == std::string_view::npos)
            GTEST_SKIP() << "umockdev is not preloaded";
        keyboard = std::make_unique<EmulatedKeyboard>();
    }

    void volumeKeyDown(std::int64_t button, bool isRepeat) override { presses.emplace_back(button, isRepeat); }
    void captureLost() override { ++losses; }

    bool eventually(const std::function<bool()>& holds)
    {
        const auto limit = std::chrono::steady_clock::now() + 5s;
        while (!holds()) {
            if (std::chrono::steady_clock::now() > limit)
                return false;
            loop.runUntilIdle();
            poll(nullptr, 0, 1);
        }
        return true;
    }

    std::unique_ptr<EmulatedKeyboard> keyboard;
    SimulatedRunLoop loop;
    std::vector<std::pair<std::int64_t, bool>> presses;
    int losses = 0;
};

TEST_F(EmulatedKeyboardTest, volumeKeysAreSwallowedAndEverythingElseReachesTheClone)
{
    EvdevKeyCapture capture(loop);
    ASSERT_TRUE(capture.isPossible());
    ASSERT_TRUE(capture.start(*this));
    ASSERT_TRUE(eventually([&] { return keyboard->isGrabbed(); }));
    EXPECT_EQ(keyboard->clones(), 1);
    keyboard->type({{KEY_A, 1}, {KEY_A, 0}, {KEY_VOLUMEUP, 1}, {KEY_VOLUMEUP, 2}, {KEY_VOLUMEUP, 0}, {KEY_B, 1}});
    ASSERT_TRUE(eventually([&] { return keyboard->passed().size() == 4; }));
    EXPECT_THAT(keyboard->passed(), ElementsAre("1 30 1", "1 30 0", "1 115 0", "1 48 1"));
    EXPECT_TRUE(eventually([&] { return presses.size() == 2; }));
    EXPECT_THAT(
        presses, ElementsAre(std::pair(AuxiliaryButton::soundUp, false), std::pair(AuxiliaryButton::soundUp, true)));
}

TEST_F(EmulatedKeyboardTest, stoppingFreesTheKeyboardAndRemovesTheClone)
{
    EvdevKeyCapture capture(loop);
    ASSERT_TRUE(capture.start(*this));
    ASSERT_TRUE(eventually([&] { return keyboard->isGrabbed(); }));
    capture.stop();
    EXPECT_FALSE(keyboard->isGrabbed());
    EXPECT_EQ(keyboard->clones(), 0);
    EXPECT_TRUE(capture.isPossible());
    ASSERT_TRUE(capture.start(*this));
    EXPECT_TRUE(eventually([&] { return keyboard->isGrabbed(); }));
}

TEST_F(EmulatedKeyboardTest, theKeyboardIsNotTakenWhileAKeyIsHeld)
{
    keyboard->holdKey(true);
    EvdevKeyCapture capture(loop);
    ASSERT_TRUE(capture.start(*this));
    poll(nullptr, 0, 100);
    EXPECT_FALSE(keyboard->isGrabbed());
    keyboard->holdKey(false);
    EXPECT_TRUE(eventually([&] { return keyboard->isGrabbed(); }));
}

TEST_F(EmulatedKeyboardTest, whatIsNoKeyPassesToo)
{
    EvdevKeyCapture capture(loop);
    ASSERT_TRUE(capture.start(*this));
    ASSERT_TRUE(eventually([&] { return keyboard->isGrabbed(); }));
    keyboard->tell({{EV_MSC, MSC_SCAN, 30}, {EV_MSC, MSC_RAW, 7}, {EV_KEY, KEY_MUTE, 1}});
    ASSERT_TRUE(eventually([&] { return presses.size() == 1; }));
    EXPECT_THAT(keyboard->passed(), ElementsAre("4 4 30", "4 3 7"));
}

TEST_F(EmulatedKeyboardTest, aReleaseThatTheKernelDroppedIsMadeUpFor)
{
    EvdevKeyCapture capture(loop);
    ASSERT_TRUE(capture.start(*this));
    ASSERT_TRUE(eventually([&] { return keyboard->isGrabbed(); }));
    keyboard->tell({{EV_KEY, KEY_A, 1}, {EV_SYN, SYN_DROPPED, 0}});
    ASSERT_TRUE(eventually([&] { return keyboard->passed().size() == 2; }));
    EXPECT_THAT(keyboard->passed(), ElementsAre("1 30 1", "1 30 0"));
    EXPECT_TRUE(keyboard->isGrabbed());
    EXPECT_EQ(losses, 0);
}

TEST_F(EmulatedKeyboardTest, aKeyboardPulledOutWithAKeyDownIsALossAndItsCloneGoes)
{
    EvdevKeyCapture capture(loop);
    ASSERT_TRUE(capture.start(*this));
    ASSERT_TRUE(eventually([&] { return keyboard->isGrabbed(); }));
    keyboard->pullOutAfterAKey();
    keyboard->tell({{EV_KEY, KEY_A, 1}, {EV_SYN, SYN_DROPPED, 0}});
    ASSERT_TRUE(eventually([&] { return losses == 1; }));
    EXPECT_THAT(keyboard->passed(), ElementsAre("1 30 1"));
    EXPECT_EQ(keyboard->clones(), 0);
}

TEST_F(EmulatedKeyboardTest, theAnnouncedRemovalOfTheLastKeyboardIsALoss)
{
    EvdevKeyCapture capture(loop);
    ASSERT_TRUE(capture.start(*this));
    ASSERT_TRUE(eventually([&] { return keyboard->isGrabbed(); }));
    keyboard->announceRemoval();
    ASSERT_TRUE(eventually([&] { return losses == 1; }));
    EXPECT_FALSE(capture.isPossible());
    EXPECT_EQ(capture.obstacle(), "No keyboard with volume keys is connected.");
    EXPECT_EQ(keyboard->clones(), 0);
}

TEST_F(EmulatedKeyboardTest, aReaderThatStallsLosesTheKeyboardToItsUser)
{
    std::promise<void> endOfStall;
    std::atomic<int> stalls = 0;
    const auto stall = [&, end = endOfStall.get_future().share()](std::int64_t, bool) { end.wait(); };
    const auto count = [&](KeyGrabber::Loss loss) { stalls += loss == KeyGrabber::Loss::stalled ? 1 : 0; };
    const KeyGrabber grabber({keyboardNode}, {stall, count});
    ASSERT_TRUE(eventually([&] { return keyboard->isGrabbed(); }));
    keyboard->tell({{EV_KEY, KEY_MUTE, 1}, {EV_KEY, KEY_A, 1, 0.2}});
    EXPECT_TRUE(eventually([&] { return !keyboard->isGrabbed(); }));
    endOfStall.set_value();
    EXPECT_TRUE(eventually([&] { return stalls == 1 && keyboard->clones() == 0; }));
}

TEST_F(EmulatedKeyboardTest, aLostKeyboardDisablesTheTapByTimeout)
{
    EvdevKeyCapture capture(loop);
    LinuxEventTaps taps(loop, {&capture});
    std::vector<EventType> told;
    const auto note = [](EventType type, const TapEvent* event, void* userInfo) {
        static_cast<std::vector<EventType>*>(userInfo)->push_back(type);
        return event;
    };
    const auto tap = taps.createEventTap(EventTapLocation::session, EventTapPlacement::headInsert,
        EventTapOptions::active, EventMask(1) << eventTypeSystemDefined, note, &told);
    ASSERT_NE(tap, nullptr);
    const auto source = tap->createRunLoopSource();
    source->addToMainRunLoop();
    tap->enable(true);
    ASSERT_TRUE(eventually([&] { return keyboard->isGrabbed(); }));
    keyboard->pullOutAfterAKey();
    keyboard->tell({{EV_KEY, KEY_A, 1}, {EV_SYN, SYN_DROPPED, 0}});
    EXPECT_TRUE(eventually([&] { return !told.empty(); }));
    EXPECT_THAT(told, ElementsAre(eventTypeTapDisabledByTimeout));
}

TEST_F(EmulatedKeyboardTest, aKeyboardThatAnotherProgramHasTakenIsALossAndLeftAloneForAWhile)
{
    keyboard->refuseGrab(true);
    EvdevKeyCapture capture(loop);
    ASSERT_TRUE(capture.start(*this));
    ASSERT_TRUE(eventually([&] { return losses == 1; }));
    EXPECT_FALSE(capture.isPossible());
    EXPECT_THAT(capture.obstacle(), testing::HasSubstr("Another program has taken the keyboard over"));
    EXPECT_FALSE(capture.start(*this));
    EXPECT_EQ(keyboard->clones(), 0);
    loop.advance(EvdevKeyCapture::busyPause);
    keyboard->refuseGrab(false);
    ASSERT_TRUE(capture.start(*this));
    EXPECT_TRUE(eventually([&] { return keyboard->isGrabbed(); }));
}

} // namespace
} // namespace quenstal
