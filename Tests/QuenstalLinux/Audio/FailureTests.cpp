#include "AudioSessionTest.hpp"

#include <algorithm>
#include <csignal>
#include <string>
#include <vector>

#include <sys/wait.h>
#include <unistd.h>

namespace quenstal {
namespace {

using namespace std::chrono_literals;

struct FailureTest : AudioSessionTest {
    /// Starts the program that holds a muted session, and waits until it does.
    pid_t startHolder()
    {
        int ends[2];
        if (pipe(ends) != 0)
            return -1;
        const pid_t child = fork();
        if (child == 0) {
            dup2(ends[1], STDOUT_FILENO);
            close(ends[0]);
            close(ends[1]);
            execl(AUDIO_SESSION_HOLDER, AUDIO_SESSION_HOLDER, monitorUID, nullptr);
            _exit(127);
        }
        close(ends[1]);
        ssize_t bytes = -1;
        std::string text(7, '\0');
        auto watch = loop.watchReadable(ends[0], [&] { bytes = read(ends[0], text.data(), text.size()); });
        EXPECT_TRUE(loop.runUntil([&] { return bytes >= 0; }));
        EXPECT_EQ(text, "running");
        watch.reset();
        close(ends[0]);
        return child;
    }
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
