// Real key events through a real X server.

#include "QuenstalLinux/Keys/LinuxEventTaps.hpp"
#include "QuenstalLinux/Keys/X11KeyCapture.hpp"
#include "QuenstalPlatform/EventTaps.hpp"
#include "QuenstalSimulation/SimulatedRunLoop.hpp"
#include "Support/Eventually.hpp"
#include "Support/PrivateXServer.hpp"

#include <chrono>
#include <functional>
#include <string>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <poll.h>

namespace quenstal {
namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

struct Heard final : KeyCaptureListener {
    void volumeKeyDown(std::int64_t button, bool isRepeat) override { keys.emplace_back(button, isRepeat); }
    void captureLost() override { ++losses; }

    std::vector<std::pair<std::int64_t, bool>> keys;
    int losses = 0;
};

/// A client with the focus, as any other program would be.
class FocusedClient {
public:
    explicit FocusedClient(const std::string& display)
        : connection_(xcb_connect(display.c_str(), nullptr))
        , window_(xcb_generate_id(connection_))
    {
        const xcb_screen_t* screen = xcb_setup_roots_iterator(xcb_get_setup(connection_)).data;
        const std::uint32_t events = XCB_EVENT_MASK_KEY_PRESS | XCB_EVENT_MASK_KEY_RELEASE;
        xcb_create_window(connection_, XCB_COPY_FROM_PARENT, window_, screen->root, 0, 0, 100, 100, 0,
            XCB_WINDOW_CLASS_INPUT_OUTPUT, screen->root_visual, XCB_CW_EVENT_MASK, &events);
        xcb_map_window(connection_, window_);
        // Not "none" afterwards: without any focus the server activates no grab.
        xcb_set_input_focus(connection_, XCB_INPUT_FOCUS_POINTER_ROOT, window_, XCB_CURRENT_TIME);
        sync();
    }
    FocusedClient(const FocusedClient&) = delete;
    FocusedClient& operator=(const FocusedClient&) = delete;
    ~FocusedClient() { xcb_disconnect(connection_); }

    /// Key events that reached it so far.
    int keyEvents()
    {
        sync();
        while (xcb_generic_event_t* event = xcb_poll_for_event(connection_)) {
            const int type = event->response_type & 0x7F;
            keyEvents_ += type == XCB_KEY_PRESS || type == XCB_KEY_RELEASE ? 1 : 0;
            std::free(event);
        }
        return keyEvents_;
    }

private:
    void sync() { std::free(xcb_get_input_focus_reply(connection_, xcb_get_input_focus(connection_), nullptr)); }

    xcb_connection_t* connection_;
    xcb_window_t window_;
    int keyEvents_ = 0;
};

struct X11KeyCaptureTest : testing::Test {
    static void SetUpTestSuite()
    {
        if (!PrivateXServer::missingProgram())
            server = std::make_unique<PrivateXServer>();
    }
    static void TearDownTestSuite() { server.reset(); }

    void SetUp() override
    {
        if (const auto missing = PrivateXServer::missingProgram())
            GTEST_SKIP() << *missing << " is not installed";
        ASSERT_NE(server->display(), "");
        ASSERT_EQ(server->run({"setxkbmap", "us"}), 0);
    }

    bool eventually(const std::function<bool()>& holds) { return quenstal::eventually(loop, holds); }

    /// The server may not have noticed yet that the client of the test before is gone.
    bool startCapture(X11KeyCapture& capture)
    {
        return eventually([&] { return capture.start(heard); });
    }

    static int key(const std::string& name) { return server->run({"xdotool", "key", name}); }

    static std::unique_ptr<PrivateXServer> server;
    SimulatedRunLoop loop;
    Heard heard;
};

std::unique_ptr<PrivateXServer> X11KeyCaptureTest::server;

TEST_F(X11KeyCaptureTest, theThreeKeysAreSeenAndNobodyElseSeesThem)
{
    X11KeyCapture capture(loop, server->display());
    FocusedClient other(server->display());
    ASSERT_TRUE(startCapture(capture));
    EXPECT_EQ(capture.obstacle(), "");
    key("XF86AudioRaiseVolume");
    key("XF86AudioLowerVolume");
    key("XF86AudioMute");
    ASSERT_TRUE(eventually([&] { return heard.keys.size() == 3; }));
    EXPECT_THAT(heard.keys,
        ElementsAre(std::pair(AuxiliaryButton::soundUp, false), std::pair(AuxiliaryButton::soundDown, false),
            std::pair(AuxiliaryButton::mute, false)));
    EXPECT_EQ(other.keyEvents(), 0);
}

TEST_F(X11KeyCaptureTest, everyOtherKeyReachesTheOthers)
{
    X11KeyCapture capture(loop, server->display());
    FocusedClient other(server->display());
    ASSERT_TRUE(startCapture(capture));
    key("a");
    key("XF86AudioPlay");
    ASSERT_TRUE(eventually([&] { return other.keyEvents() == 4; }));
    EXPECT_THAT(heard.keys, IsEmpty());
}

TEST_F(X11KeyCaptureTest, modifiersAndLocksDoNotHideTheKeys)
{
    X11KeyCapture capture(loop, server->display());
    ASSERT_TRUE(startCapture(capture));
    key("shift+XF86AudioRaiseVolume");
    key("Num_Lock");
    key("XF86AudioRaiseVolume");
    key("Num_Lock");
    EXPECT_TRUE(eventually([&] { return heard.keys.size() == 2; }));
}

TEST_F(X11KeyCaptureTest, aHeldKeyRepeats)
{
    X11KeyCapture capture(loop, server->display());
    ASSERT_TRUE(startCapture(capture));
    server->run({"xdotool", "keydown", "XF86AudioRaiseVolume"});
    const bool repeated = eventually([&] { return heard.keys.size() >= 3; });
    server->run({"xdotool", "keyup", "XF86AudioRaiseVolume"});
    ASSERT_TRUE(repeated);
    EXPECT_FALSE(heard.keys[0].second);
    EXPECT_TRUE(heard.keys[1].second);
    EXPECT_TRUE(heard.keys[2].second);
}

TEST_F(X11KeyCaptureTest, afterStopTheKeysReachTheOthers)
{
    X11KeyCapture capture(loop, server->display());
    FocusedClient other(server->display());
    ASSERT_TRUE(startCapture(capture));
    capture.stop();
    key("XF86AudioRaiseVolume");
    EXPECT_TRUE(eventually([&] { return other.keyEvents() == 2; }));
    EXPECT_THAT(heard.keys, IsEmpty());
}

TEST_F(X11KeyCaptureTest, keysOwnedByAnotherProgramAreAnObstacleUntilTheyAreFree)
{
    X11KeyCapture capture(loop, server->display());
    X11KeyCapture other(loop, server->display());
    Heard otherHeard;
    ASSERT_TRUE(eventually([&] { return other.start(otherHeard); }));
    EXPECT_FALSE(capture.isPossible());
    EXPECT_THAT(capture.obstacle(), HasSubstr("is using the volume keys"));
    EXPECT_FALSE(capture.start(heard));
    other.stop();
    EXPECT_TRUE(eventually([&] {
        loop.advance(X11KeyCapture::probeLifetime);
        return capture.isPossible();
    }));
    EXPECT_TRUE(capture.start(heard));
}

TEST_F(X11KeyCaptureTest, keysThatAnotherProgramFreesAreNoticedWithoutBeingAskedFor)
{
    X11KeyCapture capture(loop, server->display());
    X11KeyCapture other(loop, server->display());
    Heard otherHeard;
    ASSERT_TRUE(eventually([&] { return other.start(otherHeard); }));
    int changes = 0;
    const auto waiting = capture.onMayHaveChanged([&] { ++changes; });
    ASSERT_FALSE(capture.isPossible());
    loop.advance(X11KeyCapture::retryPause * 3);
    EXPECT_EQ(changes, 0);
    other.stop();
    EXPECT_TRUE(eventually([&] {
        loop.advance(X11KeyCapture::retryPause);
        return changes == 1;
    }));
    EXPECT_TRUE(capture.isPossible());
    EXPECT_EQ(loop.pendingTimers(), 0u);
}

TEST_F(X11KeyCaptureTest, aGrabThatFailsInPartHoldsNothing)
{
    X11KeyCapture capture(loop, server->display());
    xcb_connection_t* const owner = xcb_connect(server->display().c_str(), nullptr);
    xcb_key_symbols_t* const symbols = xcb_key_symbols_alloc(owner);
    xcb_keycode_t* const mute = xcb_key_symbols_get_keycode(symbols, 0x1008FF12);
    const xcb_window_t root = xcb_setup_roots_iterator(xcb_get_setup(owner)).data->root;
    xcb_grab_key(owner, 1, root, XCB_MOD_MASK_ANY, *mute, XCB_GRAB_MODE_ASYNC, XCB_GRAB_MODE_ASYNC);
    std::free(xcb_get_input_focus_reply(owner, xcb_get_input_focus(owner), nullptr));
    EXPECT_FALSE(capture.start(heard));
    FocusedClient other(server->display());
    key("XF86AudioRaiseVolume");
    EXPECT_TRUE(eventually([&] { return other.keyEvents() == 2; }));
    std::free(mute);
    xcb_key_symbols_free(symbols);
    xcb_disconnect(owner);
}

TEST_F(X11KeyCaptureTest, captureSurvivesAChangeOfTheKeymap)
{
    X11KeyCapture capture(loop, server->display());
    int changes = 0;
    const auto waiting = capture.onMayHaveChanged([&] { ++changes; });
    ASSERT_TRUE(startCapture(capture));
    // F10 becomes the mute key, as on keyboards without one.
    ASSERT_EQ(server->run({"xmodmap", "-e", "keysym F10 = XF86AudioMute"}), 0);
    ASSERT_TRUE(eventually([&] { return changes > 0; }));
    key("XF86AudioRaiseVolume");
    ASSERT_TRUE(eventually([&] { return heard.keys.size() == 1; }));
    server->run({"xdotool", "key", "76"});
    ASSERT_TRUE(eventually([&] { return heard.keys.size() == 2; }));
    EXPECT_EQ(heard.keys.back().first, AuxiliaryButton::mute);
    EXPECT_EQ(heard.losses, 0);
}

TEST_F(X11KeyCaptureTest, withoutAServerNothingIsPossibleAndNothingIsSaidAboutIt)
{
    X11KeyCapture capture(loop, ":987");
    EXPECT_FALSE(capture.isPossible());
    EXPECT_EQ(capture.obstacle(), "");
    EXPECT_FALSE(capture.start(heard));
}

TEST_F(X11KeyCaptureTest, aServerThatGoesAwayIsALoss)
{
    PrivateXServer shortLived;
    X11KeyCapture capture(loop, shortLived.display());
    ASSERT_TRUE(startCapture(capture));
    shortLived.stop();
    ASSERT_TRUE(eventually([&] { return heard.losses == 1; }));
    EXPECT_FALSE(capture.isPossible());
    capture.stop();
}

// --- The tap above it ---

std::vector<TapEvent>* tapEvents = nullptr;

const TapEvent* noteTapEvent(EventType, const TapEvent* event, void*)
{
    tapEvents->push_back(*event);
    return nullptr;
}

TEST_F(X11KeyCaptureTest, aTapDeliversPressesAsAuxiliaryButtonsWhileEnabledAndOnTheRunLoop)
{
    std::vector<TapEvent> events;
    tapEvents = &events;
    X11KeyCapture capture(loop, server->display());
    FocusedClient other(server->display());
    ASSERT_TRUE(startCapture(capture));
    capture.stop();
    LinuxEventTaps taps(loop, {&capture});
    constexpr EventMask mask = EventMask{1} << eventTypeSystemDefined;
    EXPECT_EQ(taps.createEventTap({}, {}, EventTapOptions::listenOnly, mask, noteTapEvent, nullptr), nullptr);
    auto tap = taps.createEventTap(
        EventTapLocation::session, EventTapPlacement::headInsert, EventTapOptions::active, mask, noteTapEvent, nullptr);
    ASSERT_NE(tap, nullptr);
    auto source = tap->createRunLoopSource();
    key("XF86AudioMute");
    ASSERT_TRUE(eventually([&] { return other.keyEvents() == 2; }));
    source->addToMainRunLoop();
    tap->enable(true);
    key("XF86AudioMute");
    ASSERT_TRUE(eventually([&] { return events.size() == 1; }));
    EXPECT_EQ(events[0], (TapEvent{14, 8, 0x00070A00}));
    EXPECT_EQ(other.keyEvents(), 2);
    source.reset();
    tap.reset();
    key("XF86AudioMute");
    EXPECT_TRUE(eventually([&] { return other.keyEvents() == 4; }));
    EXPECT_EQ(events.size(), 1u);
}

TEST_F(X11KeyCaptureTest, aTapIsToldThatItWasDisabledWhenItsServerGoesAway)
{
    std::vector<TapEvent> events;
    tapEvents = &events;
    PrivateXServer shortLived;
    X11KeyCapture capture(loop, shortLived.display());
    LinuxEventTaps taps(loop, {&capture});
    constexpr EventMask mask = EventMask{1} << eventTypeSystemDefined;
    const auto tap = taps.createEventTap({}, {}, EventTapOptions::active, mask, noteTapEvent, nullptr);
    const auto source = tap->createRunLoopSource();
    source->addToMainRunLoop();
    tap->enable(true);
    shortLived.stop();
    EXPECT_TRUE(eventually([&] { return events.size() == 1; }));
    EXPECT_EQ(events[0].type, eventTypeTapDisabledByTimeout);
    EXPECT_EQ(taps.createEventTap({}, {}, EventTapOptions::active, mask, noteTapEvent, nullptr), nullptr);
}

} // namespace
} // namespace quenstal
