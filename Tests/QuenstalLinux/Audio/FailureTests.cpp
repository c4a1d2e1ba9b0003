#include "AudioSessionTest.hpp"

#include <algorithm>
#include <cmath>
#include <csignal>
#include <string>
#include <vector>

#include <sys/wait.h>
#include <unistd.h>

namespace quenstal {
namespace {

using namespace std::chrono_literals;

struct FailureTest : AudioSessionTest {
    void stopEverything()
    {
        for (const char* const part : {"unplug monitor", "stop pulse", "stop manager", "stop server"})
            session(part);
    }
    void startEverything()
    {
        for (const char* const part : {"start server", "start manager", "start pulse", "plug monitor"})
            session(part);
    }
};

TEST_F(FailureTest, anOutputThatGoesEndsItsSession)
{
    const AudioOutputDevice device = plugInDefault("monitor", monitorUID);
    ProbePlayer player(loop, countedSample);
    parts->software.setVolume({0.5, false}, device);
    ASSERT_TRUE(waitForCycles());
    std::vector<TapChange> changes;
    const auto watch = parts->taps.onTapChanged([&](AudioObjectID, TapChange change) { changes.push_back(change); });
    session("unplug monitor");
    EXPECT_TRUE(loop.runUntil([&] { return std::ranges::find(changes, TapChange::ended) != changes.end(); }));
    EXPECT_EQ(parts->software.readLevels(device), SoundLevelSnapshot::zero());
    EXPECT_THROW(parts->software.setEQProfile({}, device), QuenstalError);

    const AudioOutputDevice again = plugInDefault("monitor", monitorUID);
    ProbeRecorder recorder(loop, monitorUID);
    parts->software.setEQProfile({}, again);
    EXPECT_TRUE(waitForSound(recorder, 0.5F)) << "at the volume that it had";
}

TEST_F(FailureTest, anOutputThatWasNeverThereSaysSo)
{
    plugInDefault("monitor", monitorUID);
    const AudioOutputDevice gone{"9", "", AudioTransport::hdmi, false, "alsa_output.gone"};
    try {
        parts->software.setVolume({0.5, false}, gone);
        FAIL() << "no error";
    } catch (const QuenstalError& error) {
        EXPECT_STREQ(error.what(),
            "Core Audio process tap creation failed with status -19. Grant system audio recording access to Quenstal "
            "in System Settings, then relaunch.");
    }
}

TEST_F(FailureTest, theSessionOutlivesTheServer)
{
    const AudioOutputDevice device = plugInDefault("monitor", monitorUID);
    parts->software.setVolume({0.5, false}, device);
    {
        ProbePlayer player(loop, countedSample);
        ASSERT_TRUE(waitForCycles());
    }
    stopEverything();
    ASSERT_TRUE(loop.runUntil([&] { return !defaultOutput(); }));
    startEverything();
    ASSERT_TRUE(waitForDefault(monitorUID));
    EXPECT_EQ(defaultOutput()->id, device.id);
    // What the program's next refresh does.
    parts->software.setEQProfile({}, *defaultOutput());
    ProbeRecorder recorder(loop, monitorUID);
    ProbePlayer player(loop, countedSample);
    EXPECT_TRUE(waitForSound(recorder, 0.5F));
}

TEST_F(FailureTest, theSessionOutlivesTheSessionManager)
{
    const AudioOutputDevice device = plugInDefault("monitor", monitorUID);
    parts->software.setVolume({0.5, false}, device);
    {
        ProbePlayer player(loop, countedSample);
        ASSERT_TRUE(waitForCycles());
    }
    session("stop manager");
    ASSERT_TRUE(loop.runUntil([&] { return !defaultOutput(); })) << "nobody says which output is the default";
    // The sound cards are the session manager's: they go and come with it.
    session("unplug monitor");
    session("start manager");
    session("plug monitor");
    ASSERT_TRUE(waitForDefault(monitorUID));
    parts->software.setEQProfile({}, *defaultOutput());
    ProbeRecorder recorder(loop, monitorUID);
    ProbePlayer player(loop, countedSample);
    EXPECT_TRUE(waitForSound(recorder, 0.5F));
}

TEST_F(FailureTest, twoOutputsInQuickTurnLeaveOneSession)
{
    const AudioOutputDevice first = plugInDefault("monitor", monitorUID);
    session("plug monitor2");
    const AudioOutputDevice second{"2", "", AudioTransport::hdmi, false, secondMonitorUID};
    ASSERT_TRUE(loop.runUntil([&] { return parts->graph.graph().sinkNamed(secondMonitorUID).has_value(); }));
    ProbePlayer player(loop, countedSample);
    ProbePlayer other(loop, countedSample, secondMonitorUID);
    for (int i = 0; i < 5; ++i) {
        parts->software.setVolume({0.5, false}, second);
        parts->software.setVolume({0.5, false}, first);
    }
    ProbeRecorder recorder(loop, monitorUID);
    ProbeRecorder there(loop, secondMonitorUID);
    EXPECT_TRUE(waitForSound(recorder, 0.5F));
    EXPECT_TRUE(waitForSound(there, 1));
    EXPECT_TRUE(
        loop.runUntil([this] { return outputOf("pw-cli ls Node | grep -c quenstal.software || true") == "2"; }));
}

TEST_F(FailureTest, aProgramThatIsKilledLeavesTheSoundPlaying)
{
    plugInDefault("monitor", monitorUID);
    ProbeRecorder recorder(loop, monitorUID);
    ProbePlayer player(loop, countedSample);
    ASSERT_TRUE(waitForSound(recorder, 1));
    for (const int signal : {SIGKILL, SIGTERM}) {
        const pid_t holder = startHolder();
        ASSERT_GT(holder, 0);
        ASSERT_TRUE(waitForSilence(recorder));
        kill(holder, signal);
        const auto before = loop.steadyNow();
        EXPECT_TRUE(waitForSound(recorder, 1));
        EXPECT_LT(loop.steadyNow() - before, 2s);
        waitpid(holder, nullptr, 0);
        EXPECT_EQ(outputOf("pw-metadata -n default | grep configured || true"), "");
    }
}

TEST_F(FailureTest, aProgramThatEndsWhileTheSessionManagerIsFrozenLeavesTheSoundPlaying)
{
    plugInDefault("monitor", monitorUID);
    ProbeRecorder recorder(loop, monitorUID);
    ProbePlayer player(loop, countedSample);
    ASSERT_TRUE(waitForSound(recorder, 1));
    const pid_t holder = startHolder("0.25");
    ASSERT_GT(holder, 0);
    ASSERT_TRUE(waitForSound(recorder, 0.25F));
    const pid_t manager = processOf("manager");
    ASSERT_GT(manager, 0);
    kill(manager, SIGSTOP);
    const auto before = loop.steadyNow();
    kill(holder, SIGTERM);
    EXPECT_TRUE(loop.runUntil([&] { return waitpid(holder, nullptr, WNOHANG) == holder; }));
    EXPECT_LT(loop.steadyNow() - before, 1s);
    EXPECT_TRUE(waitForSound(recorder, 1)) << "and nothing twice";
    kill(manager, SIGCONT);
    EXPECT_TRUE(
        loop.runUntil([this] { return outputOf("pw-metadata -n default | grep target.object || true").empty(); }));
    // Linked by the session manager, which has caught up by then.
    ProbeRecorder later(loop, monitorUID);
    EXPECT_TRUE(waitForSound(later, 1));

    const pid_t next = startHolder("0.25");
    ASSERT_TRUE(waitForSound(later, 0.25F));
    later.clear();
    const auto heard = later.take(20'000);
    for (const float sample : heard[0])
        ASSERT_LE(std::abs(sample), 0.126F) << "also beside the software path";
    kill(next, SIGTERM);
    waitpid(next, nullptr, 0);
    EXPECT_TRUE(waitForSound(later, 1));
}

TEST_F(FailureTest, manySessionsLeaveNothingBehind)
{
    const AudioOutputDevice device = plugInDefault("monitor", monitorUID);
    ProbePlayer player(loop, countedSample);
    for (int i = 0; i < 20; ++i) {
        parts->software.setVolume({0.5, false}, device);
        ASSERT_TRUE(waitForCycles()) << i;
        parts->software.stopAll();
    }
    EXPECT_TRUE(loop.runUntil([this] { return outputOf("pw-cli ls Node | grep quenstal || true").empty(); }));
    EXPECT_EQ(outputOf("pw-metadata -n default | grep target.object || true"), "");
}

} // namespace
} // namespace quenstal
