// Presses anywhere on a real X server, and an icon in a tray that takes its time.

#include "QuenstalLinux/Desktop/X11WindowSystem.hpp"
#include "QuenstalLinux/Xcb.hpp"
#include "QuenstalPlatform/Desktop.hpp"
#include "QuenstalSimulation/SimulatedRunLoop.hpp"
#include "Support/Eventually.hpp"
#include "Support/PrivateXServer.hpp"

#include <array>
#include <cstring>
#include <functional>
#include <limits>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

namespace quenstal {
namespace {

struct X11WindowSystemTest : testing::Test {
    void SetUp() override
    {
        if (const auto missing = PrivateXServer::missingProgram())
            GTEST_SKIP() << *missing << " is not installed";
        server = std::make_unique<PrivateXServer>();
        system = connectToX11(loop, server->display());
        ASSERT_NE(system, nullptr);
    }
    bool eventually(const std::function<bool()>& holds) { return quenstal::eventually(loop, holds); }

    SimulatedRunLoop loop;
    std::unique_ptr<PrivateXServer> server;
    std::unique_ptr<WindowSystem> system;
};

TEST_F(X11WindowSystemTest, aPressThatComesWithTheAnswerToAQuestionIsTold)
{
    int presses = 0;
    const auto monitor
        = system->onMouseDown(MouseEventMask::leftMouseDown, [&](const WindowSystem::MousePress&) { ++presses; });
    loop.runUntilIdle();
    ASSERT_EQ(server->run({"xdotool", "click", "1"}), 0);
    // The server has told of the press before it answers this program, and before it answers us.
    ASSERT_EQ(server->run({"xset", "-b"}), 0);
    system->isCompositing();
    loop.runUntilIdle();
    EXPECT_EQ(presses, 1);
    ASSERT_EQ(server->run({"xdotool", "click", "1"}), 0);
    ASSERT_EQ(server->run({"xset", "-b"}), 0);
    system->focusedWindow();
    loop.runUntilIdle();
    EXPECT_EQ(presses, 2);
}

TEST_F(X11WindowSystemTest, onlyTheButtonsThatWereAskedForAreTold)
{
    std::vector<std::uint32_t> times;
    const auto monitor = system->onMouseDown(
        MouseEventMask::rightMouseDown, [&](const WindowSystem::MousePress& press) { times.push_back(press.time); });
    for (const char* button : {"1", "3", "4", "2", "3"})
        ASSERT_EQ(server->run({"xdotool", "click", button}), 0);
    ASSERT_TRUE(eventually([&] { return times.size() == 2; }));
    EXPECT_LT(times[0], times[1]);
}

/// A tray that owns the selection and does nothing by itself.
class SlowTray {
public:
    explicit SlowTray(const std::string& display)
        : connection_(connectToX11(display, screenNumber_))
        , window_(xcb_generate_id(connection_.get()))
    {
        xcb_create_window(connection_.get(), XCB_COPY_FROM_PARENT, window_, root(), 300, 10, 40, 30, 0,
            XCB_WINDOW_CLASS_INPUT_OUTPUT, XCB_COPY_FROM_PARENT, 0, nullptr);
        xcb_map_window(connection_.get(), window_);
        xcb_set_selection_owner(
            connection_.get(), window_, atomOf(connection_.get(), "_NET_SYSTEM_TRAY_S0"), XCB_CURRENT_TIME);
        sync();
    }

    /// The icon that asked to be taken in; 0 while none has.
    xcb_window_t asking()
    {
        sync();
        while (const auto event = owned(xcb_poll_for_event(connection_.get()))) {
            if ((event->response_type & 0x7F) == XCB_CLIENT_MESSAGE)
                asking_ = reinterpret_cast<const xcb_client_message_event_t&>(*event).data.data32[2];
        }
        return asking_;
    }
    /// Says that the icon has been given this size, which it has not.
    void saySize(std::uint16_t width, std::uint16_t height)
    {
        xcb_configure_notify_event_t said{};
        said.response_type = XCB_CONFIGURE_NOTIFY;
        said.event = said.window = asking_;
        said.width = width;
        said.height = height;
        send(said);
        xcb_expose_event_t exposed{};
        exposed.response_type = XCB_EXPOSE;
        exposed.window = asking_;
        send(exposed);
        sync();
    }
    /// The width and height of the icon.
    std::pair<int, int> size() const
    {
        const auto reply
            = owned(xcb_get_geometry_reply(connection_.get(), xcb_get_geometry(connection_.get(), asking_), nullptr));
        return reply ? std::pair<int, int>(reply->width, reply->height) : std::pair(0, 0);
    }
    void takeIn()
    {
        xcb_reparent_window(connection_.get(), asking_, window_, 5, 4);
        xcb_map_window(connection_.get(), asking_);
        sync();
    }

private:
    template <typename Event>
    void send(const Event& event) const
    {
        std::array<char, 32> bytes{};
        static_assert(sizeof event <= sizeof bytes);
        std::memcpy(bytes.data(), &event, sizeof event);
        xcb_send_event(connection_.get(), 0, asking_, XCB_EVENT_MASK_STRUCTURE_NOTIFY, bytes.data());
    }
    xcb_window_t root() const { return rootWindow(connection_.get(), screenNumber_); }
    void sync() const
    {
        owned(xcb_get_input_focus_reply(connection_.get(), xcb_get_input_focus(connection_.get()), nullptr));
    }

    int screenNumber_ = 0;
    XcbConnection connection_;
    xcb_window_t window_;
    xcb_window_t asking_ = XCB_NONE;
};

TEST_F(X11WindowSystemTest, anIconIsNowhereUntilTheTrayHasTakenItIn)
{
    auto tray = std::make_unique<SlowTray>(server->display());
    WindowSystem::TrayIconUser user;
    user.paint = [](int pixels) { return std::vector<std::uint32_t>(static_cast<std::size_t>(pixels * pixels)); };
    const auto icon = system->createTrayIcon(std::move(user), 22);
    icon->show("Quenstal");
    ASSERT_TRUE(eventually([&] { return tray->asking() != XCB_NONE; }));
    loop.runUntilIdle();
    EXPECT_FALSE(icon->frame());
    tray->takeIn();
    ASSERT_TRUE(eventually([&] { return icon->frame().has_value(); }));
    EXPECT_EQ(icon->frame()->x, 305);
    EXPECT_EQ(icon->frame()->y, 14);
    tray.reset();
    EXPECT_TRUE(eventually([&] { return !icon->frame(); }));
}

TEST_F(X11WindowSystemTest, anIconOfAnySizeThatIsSaidIsPaintedInOneThatABarCanHave)
{
    SlowTray tray(server->display());
    std::vector<int> painted;
    WindowSystem::TrayIconUser user;
    user.paint = [&](int pixels) {
        painted.push_back(pixels);
        return std::vector<std::uint32_t>(static_cast<std::size_t>(pixels * pixels));
    };
    const auto icon = system->createTrayIcon(std::move(user), std::numeric_limits<int>::max());
    ASSERT_TRUE(eventually([&] { return tray.asking() != XCB_NONE; }));
    EXPECT_EQ(tray.size(), std::pair(128, 128));
    tray.saySize(0, 0);
    ASSERT_TRUE(eventually([&] { return painted.size() == 1; }));
    tray.saySize(65535, 65535);
    ASSERT_TRUE(eventually([&] { return painted.size() == 2; }));
    EXPECT_EQ(painted, (std::vector{1, 128}));
}

} // namespace
} // namespace quenstal
