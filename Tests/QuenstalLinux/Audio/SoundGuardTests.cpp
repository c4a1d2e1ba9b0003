// A program that is stopped while it makes the volume in software: the guard gives the sound back.

#include "AudioSessionTest.hpp"
#include "QuenstalLinux/Audio/ChannelVolumes.hpp"
#include "QuenstalLinux/Audio/SoftwareNodes.hpp"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <csignal>
#include <cstdio>
#include <fstream>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include <sys/wait.h>

namespace quenstal {
namespace {

using namespace std::chrono_literals;

/// A program with a session, whose sound is heard as the loudspeakers get it.
struct SoundGuardTest : AudioSessionTest {
    static constexpr float loudestCount = 32768.5F / 65536;

    void startHolderAt(const char* level)
    {
        plugInDefault("monitor", monitorUID);
        holdAt(level);
    }
    void holdAt(const char* level)
    {
        recorder_ = std::make_unique<ProbeRecorder>(loop, target);
        player_ = std::make_unique<ProbePlayer>(loop, countedSample);
        ASSERT_TRUE(waitForSound(recorder(), 1));
        holder = startHolder(level, target);
        ASSERT_GT(holder, 0);
    }
    void endHolder(int signal)
    {
        kill(holder, signal);
        waitpid(std::exchange(holder, 0), nullptr, 0);
    }
    void TearDown() override
    {
        if (holder > 0)
            endHolder(SIGKILL);
        player_.reset();
        recorder_.reset();
        // The session manager would restore it for the next test.
        if (!IsSkipped() && target == monitorUID) {
            setVolumeOfMonitor("[ 1.0, 1.0 ], mute: false");
            EXPECT_TRUE(waitForVolume({{1, 1}, {}, false, false}));
        }
        AudioSessionTest::TearDown();
    }
    ProbeRecorder& recorder() { return *recorder_; }

    static float loudest(const ProbeRecorder::Frames& heard)
    {
        float most = 0;
        for (const float sample : heard[0])
            most = std::max(most, std::abs(sample));
        return most;
    }
    bool isLedThroughAStream() const
    {
        return std::ranges::any_of(
            parts->graph.graph().others, [](const auto& entry) { return isSoftwareNodeName(entry.second.name); });
    }
    bool waitForVolume(const AudioVolume& wanted)
    {
        return loop.runUntil([&] {
            const AudioGraph& graph = parts->graph.graph();
            const auto sink = graph.sinkNamed(target);
            const AudioVolume* const volume = sink ? graph.volumeOf(graph.sinks.at(*sink)) : nullptr;
            return volume && isSameVolume(*volume, wanted);
        });
    }
    void setVolumeOfMonitor(const std::string& factors)
    {
        outputOf("pw-cli set-param " + std::to_string(parts->graph.graph().sinkNamed(monitorUID).value())
            + " Props '{ channelVolumes: " + factors + " }'");
    }
    void turnTheCardUp()
    {
        ASSERT_EQ(parts->graph.graph().devices.size(), 1u);
        const std::string card = std::to_string(parts->graph.graph().devices.begin()->first);
        // What the session manager gives a new card comes first.
        ASSERT_TRUE(loop.runUntil([&] { return outputOf("wpctl get-volume @DEFAULT_AUDIO_SINK@") != "Volume: 1.00"; }));
        outputOf(
            "pw-cli set-param " + card + " Route '{ index: 0, device: 0, props: { channelVolumes: [ 1.0, 1.0 ] } }'");
    }
    static std::string textOf(pid_t process, const std::string& file)
    {
        std::ifstream stream("/proc/" + std::to_string(process) + "/" + file);
        // Not over iterators, which throw when the process ends between.
        std::string text;
        std::getline(stream, text, '\0');
        return text;
    }
    /// 0 where there is none, and while it is only about to become one: whoever stops it then stops its owner too.
    static pid_t guardOf(pid_t owner)
    {
        const std::string thread = std::to_string(owner);
        const std::string numbers = textOf(owner, "task/" + thread + "/children");
        const pid_t child = numbers.empty() ? 0 : static_cast<pid_t>(std::stol(numbers));
        return textOf(child, "comm").starts_with("quenstal-sound-") ? child : 0;
    }
    static bool isRunning(pid_t process)
    {
        // Where nobody collects ended processes they stay as zombies.
        const std::string status = textOf(process, "status");
        return !status.empty() && status.find("State:\tZ") == std::string::npos;
    }

    const char* target = monitorUID;
    pid_t holder = 0;

private:
    std::unique_ptr<ProbeRecorder> recorder_;
    std::unique_ptr<ProbePlayer> player_;
};

TEST_F(SoundGuardTest, aProgramThatIsStoppedGivesTheSoundBackAsLoudAsItWasAndTakesItAgain)
{
    startHolderAt("0.25");
    for (int round = 0; round < 3; ++round) {
        ASSERT_TRUE(waitForSound(recorder(), 0.25F));
        kill(holder, SIGSTOP);
        const auto before = loop.steadyNow();
        ASSERT_TRUE(waitForSilence(recorder()));
        recorder().clear();
        ASSERT_TRUE(recorder().waitFor([](float sample) { return sample != 0; })) << round;
        const auto gap = std::chrono::round<std::chrono::milliseconds>(loop.steadyNow() - before);
        std::printf("silent for %d ms\n", static_cast<int>(gap.count()));
        EXPECT_LT(gap, 2s);
        EXPECT_LE(loudest(recorder().take(20'000)), loudestCount * 0.25F);
        EXPECT_TRUE(waitForSound(recorder(), 0.25F));

        recorder().clear();
        kill(holder, SIGCONT);
        ASSERT_TRUE(waitForVolume({{1, 1}, {}, false, false})) << "taken back";
        EXPECT_LE(loudest(recorder().drain()), loudestCount * 0.25F) << "at no moment";
    }
    EXPECT_TRUE(waitForSound(recorder(), 0.25F));
    endHolder(SIGTERM);
    EXPECT_TRUE(waitForSound(recorder(), 1));
    EXPECT_EQ(outputOf("pw-metadata -n default | grep target.object || true"), "");
}

TEST_F(SoundGuardTest, aCardThatKeepsTheVolumeIsAskedToLowerItAndNotToRememberThat)
{
    target = socketUID;
    plugInDefault("socket", socketUID);
    if (parts->graph.graph().insertsSmartFilters)
        GTEST_SKIP() << "the newer session manager gives a new card no level";
    turnTheCardUp();
    holdAt("0.25");
    ASSERT_TRUE(waitForSound(recorder(), 0.25F));
    kill(holder, SIGSTOP);
    ASSERT_TRUE(waitForVolume({{0.25F, 0.25F}, {}, false, false})) << "of the route";
    ASSERT_TRUE(loop.runUntil([&] { return !isLedThroughAStream(); }));
    recorder().clear();
    EXPECT_LE(loudest(recorder().take(20'000)), loudestCount * 0.25F);
    EXPECT_TRUE(waitForSound(recorder(), 0.25F));
    kill(holder, SIGCONT);
    EXPECT_TRUE(waitForVolume({{1, 1}, {}, false, false}));
    EXPECT_TRUE(waitForSound(recorder(), 0.25F));
}

TEST_F(SoundGuardTest, aProgramThatGoesOnBeforeTheOutputIsLoweredIsLeftAlone)
{
    target = socketUID;
    plugInDefault("socket", socketUID);
    if (parts->graph.graph().insertsSmartFilters)
        GTEST_SKIP() << "the newer session manager gives a new card no level";
    turnTheCardUp();
    holdAt("0.25");
    ASSERT_TRUE(waitForSound(recorder(), 0.25F));
    const auto connections = [this] { return outputOf("pw-cli ls Client | grep -c '\"Quenstal\"'"); };
    const auto nodes = [this] { return outputOf("pw-cli ls Node | grep -B 5 quenstal.software | grep object.serial"); };
    const std::string connectionsBefore = connections();
    const std::string nodesBefore = nodes();
    // The guard asks the card for its volume first.
    const pid_t card = processOf("card-socket");
    kill(card, SIGSTOP);
    kill(holder, SIGSTOP);
    EXPECT_TRUE(loop.runUntil([&] { return connections() != connectionsBefore; }));
    kill(holder, SIGCONT);
    kill(card, SIGCONT);
    EXPECT_TRUE(loop.runUntil([&] { return connections() == connectionsBefore; }));
    // The server may keep what the card made of the first of two requests for its route. What is heard is what it made
    // of the second.
    EXPECT_TRUE(waitForSound(recorder(), 0.25F));
    EXPECT_EQ(nodes(), nodesBefore);
}

TEST_F(SoundGuardTest, aMutedProgramThatIsStoppedStaysSilent)
{
    startHolderAt(nullptr);
    ASSERT_TRUE(waitForSilence(recorder()));
    recorder().clear();
    kill(holder, SIGSTOP);
    ASSERT_TRUE(waitForVolume({{0, 0}, {}, true, false}));
    ASSERT_TRUE(loop.runUntil([&] { return !isLedThroughAStream(); }));
    EXPECT_EQ(loudest(recorder().take(20'000)), 0);
    kill(holder, SIGCONT);
    ASSERT_TRUE(waitForVolume({{1, 1}, {}, false, false}));
    EXPECT_EQ(loudest(recorder().take(20'000)), 0);
}

TEST_F(SoundGuardTest, aVolumeThatTheUserChoseMeanwhileIsLeftAlone)
{
    startHolderAt("0.25");
    ASSERT_TRUE(waitForSound(recorder(), 0.25F));
    kill(holder, SIGSTOP);
    ASSERT_TRUE(waitForVolume({{0.25F, 0.25F}, {}, false, false}));
    ASSERT_TRUE(loop.runUntil([&] { return !isLedThroughAStream(); }));
    setVolumeOfMonitor("[ 0.5, 0.5 ]");
    ASSERT_TRUE(waitForSound(recorder(), 0.5F));
    kill(holder, SIGCONT);
    EXPECT_TRUE(waitForSound(recorder(), 0.125F)) << "both, and neither is undone";
}

TEST_F(SoundGuardTest, aProgramThatIsKilledWhileItIsStoppedLeavesTheOutputAsQuietAsItWas)
{
    startHolderAt("0.25");
    ASSERT_TRUE(waitForSound(recorder(), 0.25F));
    kill(holder, SIGSTOP);
    ASSERT_TRUE(waitForVolume({{0.25F, 0.25F}, {}, false, false}));
    ASSERT_TRUE(loop.runUntil([&] { return !isLedThroughAStream(); }));
    const pid_t guard = guardOf(holder);
    endHolder(SIGKILL);
    EXPECT_TRUE(loop.runUntil([&] { return !isRunning(guard); }));
    recorder().clear();
    EXPECT_LE(loudest(recorder().take(20'000)), loudestCount * 0.25F);
}

TEST_F(SoundGuardTest, aGuardThatIsEndedIsReplacedAndLeavesNoZombie)
{
    startHolderAt("0.25");
    for (const int signal : {SIGKILL, SIGTERM}) {
        pid_t guard = 0;
        ASSERT_TRUE(loop.runUntil([&] { return (guard = guardOf(holder)) > 0; }));
        kill(guard, signal);
        EXPECT_TRUE(loop.runUntil([&] { return textOf(guard, "status").empty(); })) << "nor is it kept as a zombie";
        EXPECT_TRUE(loop.runUntil([&] { return guardOf(holder) > 0; }));
    }
    const pid_t guard = guardOf(holder);
    kill(guard, SIGSTOP);
    endHolder(SIGTERM);
    EXPECT_TRUE(loop.runUntil([&] { return !isRunning(guard); })) << "one that is stopped ends too";
}

} // namespace
} // namespace quenstal
