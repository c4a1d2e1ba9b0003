// Screens that a real X server blanks and shows again.

#include "QuenstalLinux/Desktop/X11Screens.hpp"
#include "QuenstalSimulation/SimulatedRunLoop.hpp"
#include "Support/Eventually.hpp"
#include "Support/PrivateXServer.hpp"

#include <memory>

#include <gtest/gtest.h>

namespace quenstal {
namespace {

struct X11ScreensTest : testing::Test {
    void SetUp() override
    {
        if (const auto missing = PrivateXServer::missingProgram())
            GTEST_SKIP() << *missing << " is not installed";
        server = std::make_unique<PrivateXServer>();
        screens = std::make_unique<X11Screens>(
            loop, [this] { ++wakes; }, server->display());
    }
    /// The server has done everything it was told before, and its news are here.
    void settle()
    {
        ASSERT_EQ(server->run({"xset", "-b"}), 0);
        loop.runUntilIdle();
    }

    SimulatedRunLoop loop;
    std::unique_ptr<PrivateXServer> server;
    std::unique_ptr<X11Screens> screens;
    int wakes = 0;
};

TEST_F(X11ScreensTest, theyWakeEachTimeTheServerShowsThemAgain)
{
    for (int wake = 1; wake <= 2; ++wake) {
        ASSERT_EQ(server->run({"xset", "s", "activate"}), 0);
        settle();
        EXPECT_EQ(wakes, wake - 1);
        ASSERT_EQ(server->run({"xset", "s", "reset"}), 0);
        EXPECT_TRUE(eventually(loop, [&] { return wakes == wake; }));
    }
}

TEST_F(X11ScreensTest, aKeyWakesThem)
{
    ASSERT_EQ(server->run({"xset", "s", "activate"}), 0);
    ASSERT_EQ(server->run({"xdotool", "key", "a"}), 0);
    EXPECT_TRUE(eventually(loop, [&] { return wakes == 1; }));
}

TEST_F(X11ScreensTest, screensThatWereOnDoNotWake)
{
    ASSERT_EQ(server->run({"xset", "s", "reset"}), 0);
    ASSERT_EQ(server->run({"xdotool", "key", "a"}), 0);
    settle();
    EXPECT_EQ(wakes, 0);
}

TEST_F(X11ScreensTest, screensThatWereOffBeforeWakeToo)
{
    screens.reset();
    ASSERT_EQ(server->run({"xset", "s", "activate"}), 0);
    const X11Screens late(
        loop, [this] { ++wakes; }, server->display());
    ASSERT_EQ(server->run({"xset", "s", "reset"}), 0);
    EXPECT_TRUE(eventually(loop, [&] { return wakes == 1; }));
}

TEST_F(X11ScreensTest, aServerThatGoesAwayDoesNotKeepTheLoopBusy)
{
    server->stop();
    loop.runUntilIdle();
    EXPECT_FALSE(loop.runOneTurn());
    EXPECT_EQ(wakes, 0);
}

TEST_F(X11ScreensTest, withoutAServerNothingIsEverTold)
{
    const X11Screens none(
        loop, [this] { ++wakes; }, ":987");
    loop.runUntilIdle();
    EXPECT_EQ(wakes, 0);
}

} // namespace
} // namespace quenstal
