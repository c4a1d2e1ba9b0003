#include "QuenstalApp/NativeAdapters/CoreAudioTapSoftwareVolumeController.hpp"
#include "QuenstalSimulation/SimulatedAudioTaps.hpp"
#include "QuenstalSimulation/SimulatedRunLoop.hpp"

#include <limits>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace quenstal {
namespace {

using Calls = std::vector<std::string>;

template <typename Operation>
std::optional<QuenstalError> errorOf(Operation operation)
{
    try {
        operation();
    } catch (const QuenstalError& error) {
        return error;
    }
    return std::nullopt;
}

struct CoreAudioTapSoftwareVolumeControllerTest : testing::Test {
    CoreAudioTapSoftwareVolumeControllerTest()
    {
        objects.addOutput({.uid = "HDMI-1"});
        objects.addOutput({.uid = "HDMI-2"});
        taps.play([](std::uint32_t, std::uint64_t) { return 0.5F; });
    }

    /// What the first frame of the next cycle sounds like.
    float heard()
    {
        const auto recording = taps.runCycles(1);
        return recording.empty() ? std::numeric_limits<float>::quiet_NaN() : recording[0].front();
    }
    std::size_t sessionsStarted() { return taps.journal().callsBeginning("startDevice").size(); }

    SimulatedRunLoop loop;
    SimulatedAudioObjects objects{loop};
    SimulatedAudioTaps taps{objects, loop};
    CoreAudioTapSoftwareVolumeController controller{taps};
    const AudioOutputDevice first{"41", "First", AudioTransport::hdmi, false, "HDMI-1"};
    const AudioOutputDevice second{"42", "Second", AudioTransport::displayPort, false, "HDMI-2"};
};

TEST_F(CoreAudioTapSoftwareVolumeControllerTest, onlyMonitorsWithAUIDAreAvailable)
{
    for (const auto transport : allCases<AudioTransport>()) {
        const AudioOutputDevice device{"41", "", transport, false, "HDMI-1"};
        EXPECT_EQ(controller.isAvailable(device), isExternalDisplayLike(transport)) << rawValue(transport);
    }
    EXPECT_FALSE(controller.isAvailable({"41", "", AudioTransport::hdmi, false, std::nullopt}));
    EXPECT_FALSE(controller.isAvailable({"41", "", AudioTransport::hdmi, false, ""}));
}

TEST_F(CoreAudioTapSoftwareVolumeControllerTest, everyThrowingOperationRefusesAnUnavailableOutput)
{
    const AudioOutputDevice speakers{"41", "", AudioTransport::builtIn, true, "HDMI-1"};
    const auto unsupported = QuenstalError::unsupportedDevice();
    EXPECT_EQ(errorOf([&] { controller.readVolume(speakers); }), unsupported);
    EXPECT_EQ(errorOf([&] { controller.setVolume({0.5, false}, speakers); }), unsupported);
    EXPECT_EQ(errorOf([&] { controller.setEQProfile({}, speakers); }), unsupported);
    EXPECT_EQ(errorOf([&] { controller.readLevels(speakers); }), unsupported);
    EXPECT_EQ(taps.journal().calls(), Calls{});
}

TEST_F(CoreAudioTapSoftwareVolumeControllerTest, readingAnOutputNeverSetIsFullScaleAndStartsNothing)
{
    EXPECT_EQ(controller.readVolume(first), VolumeSnapshot::fullScale());
    EXPECT_EQ(controller.readLevels(first), SoundLevelSnapshot::zero());
    EXPECT_EQ(taps.journal().calls(), Calls{});
}

TEST_F(CoreAudioTapSoftwareVolumeControllerTest, theLevelIsTheGain)
{
    const struct {
        VolumeSnapshot snapshot;
        float heard;
    } rows[] = {
        {{1.0, false}, 0.5F},
        {{0.5, false}, 0.25F},
        {{0.7, true}, 0.0F},
        {{0.0, false}, 0.0F},
    };
    for (const auto& row : rows) {
        controller.setVolume(row.snapshot, first);
        EXPECT_EQ(heard(), row.heard);
        EXPECT_EQ(controller.readVolume(first), row.snapshot);
    }
    EXPECT_EQ(sessionsStarted(), 1u);
}

TEST_F(CoreAudioTapSoftwareVolumeControllerTest, anUnusualSnapshotIsLimitedButRememberedAsItIs)
{
    const struct {
        double level;
        float heard;
    } rows[] = {
        {1.5, 0.5F},
        {-0.5, 0.0F},
        {std::numeric_limits<double>::infinity(), 0.0F},
    };
    for (const auto& row : rows) {
        VolumeSnapshot snapshot;
        snapshot.level = row.level;
        controller.setVolume(snapshot, first);
        EXPECT_EQ(heard(), row.heard);
        EXPECT_EQ(controller.readVolume(first).level, row.level);
    }
}

TEST_F(CoreAudioTapSoftwareVolumeControllerTest, asksAboutAnotherOutputEndTheSession)
{
    controller.setVolume({0.5, false}, first);
    EXPECT_TRUE(controller.isAvailable(second));
    EXPECT_EQ(taps.liveObjects(), 0u);
    EXPECT_EQ(controller.readVolume(first).level, 0.5);

    controller.setVolume({0.5, false}, first);
    const AudioOutputDevice speakers{"7", "", AudioTransport::builtIn, true, "Speakers"};
    EXPECT_FALSE(controller.isAvailable(speakers));
    EXPECT_EQ(taps.liveObjects(), 0u);
}

TEST_F(CoreAudioTapSoftwareVolumeControllerTest, aLaterSessionStartsAtTheRememberedVolume)
{
    controller.setVolume({0.5, true}, first);
    controller.setVolume({0.2, false}, second);
    controller.setEQProfile({}, first);
    EXPECT_EQ(heard(), 0.0F);
    controller.stopAll();
    EXPECT_EQ(taps.liveObjects(), 0u);
    controller.setEQProfile({}, second);
    EXPECT_EQ(heard(), 0.5F * 0.2F);
    EXPECT_EQ(sessionsStarted(), 4u);
}

TEST_F(CoreAudioTapSoftwareVolumeControllerTest, aFailureToStartIsPassedOnAndNothingIsStored)
{
    taps.journal().failWith("createTap", -13);
    const auto failure = QuenstalError::commandFailed(
        "Core Audio process tap creation failed with status -13. Grant system audio recording access to Quenstal in "
        "System Settings, then relaunch.");
    EXPECT_EQ(errorOf([&] { controller.setVolume({0.3, false}, first); }), failure);
    EXPECT_EQ(errorOf([&] { controller.setEQProfile({}, first); }), failure);
    EXPECT_EQ(controller.readVolume(first), VolumeSnapshot::fullScale());
    taps.journal().failWith("createTap", 0);
    controller.setVolume({0.3, false}, first);
    EXPECT_EQ(heard(), 0.5F * 0.3F);
}

TEST_F(CoreAudioTapSoftwareVolumeControllerTest, theProfileReachesTheSession)
{
    controller.setEQProfile(EQProfile(true, EQPresetName::flat, 6.0), first);
    EXPECT_FLOAT_EQ(heard(), 0.5F * 1.9952623F);
    controller.setEQProfile(EQProfile(false, EQPresetName::flat, 6.0), first);
    EXPECT_EQ(heard(), 0.5F);
}

TEST_F(CoreAudioTapSoftwareVolumeControllerTest, missingBandsAreTheStandardOnesAndDoNotCount)
{
    EQProfile profile(true, EQPresetName::flat, 0);
    profile.bands = {{0, 1000, "1k", 12}};
    controller.setEQProfile(profile, first);
    // A constant signal lies far below the band: nothing is changed once the filter has settled.
    EXPECT_NEAR(taps.runCycles(40)[0].back(), 0.5F, 1e-4F);
    profile.bands.assign(7, EQBand{0, 1000, "1k", 0});
    controller.setEQProfile(profile, first);
    EXPECT_NEAR(taps.runCycles(40)[0].back(), 0.5F, 1e-4F);
}

TEST_F(CoreAudioTapSoftwareVolumeControllerTest, theDirectPathWouldBeNoLouderAtAnyFrequency)
{
    controller.setVolume({0.5, false}, first);
    EXPECT_FLOAT_EQ(taps.directGain(), 0.5F);
    EQProfile profile(true, EQPresetName::flat, 0);
    profile.preampDB = -6;
    profile.bands[0].gainDB = 12;
    profile.bands[1].gainDB = -4;
    profile.bands[4].gainDB = -10;
    controller.setEQProfile(profile, first);
    EXPECT_FLOAT_EQ(taps.directGain(), 0.05F) << "20 dB below the half";
    profile.bands[1].gainDB = profile.bands[4].gainDB = 3;
    profile.preampDB = 6;
    controller.setEQProfile(profile, first);
    EXPECT_FLOAT_EQ(taps.directGain(), 0.5F) << "what the equalizer raises is not raised";
    controller.setVolume({0.25, true}, first);
    EXPECT_EQ(taps.directGain(), 0);
    controller.setVolume({0.25, false}, first);
    profile.enabled = false;
    controller.setEQProfile(profile, first);
    EXPECT_FLOAT_EQ(taps.directGain(), 0.25F);
}

TEST_F(CoreAudioTapSoftwareVolumeControllerTest, theMetersAreTheSessions)
{
    taps.play([](std::uint32_t channel, std::uint64_t) { return channel == 0 ? 0.5F : -0.25F; });
    controller.setVolume({0.5, false}, first);
    taps.runCycles(1);
    EXPECT_EQ(controller.readLevels(first), SoundLevelSnapshot(0.25, 0.125, 0.25, 0.125, false));
    taps.play([](std::uint32_t, std::uint64_t) { return 4.0F; });
    taps.runCycles(1);
    EXPECT_EQ(controller.readLevels(first), SoundLevelSnapshot(1, 1, 1, 1, true));
}

TEST_F(CoreAudioTapSoftwareVolumeControllerTest, aChangedRateComputesTheEqualizerAnew)
{
    controller.setEQProfile(EQProfile(true, EQPresetName::music, 0), first);
    taps.changeRate("HDMI-1", 96000);
    loop.runUntilIdle();
    EXPECT_EQ(taps.journal().calls().back(), "tapFormat 900");
}

TEST_F(CoreAudioTapSoftwareVolumeControllerTest, aTapThatEndsIsReleasedAndTheNextRequestStartsAnother)
{
    controller.setVolume({0.5, false}, first);
    taps.endTap(900);
    loop.runUntilIdle();
    EXPECT_EQ(taps.liveObjects(), 0u);
    EXPECT_EQ(controller.readLevels(first), SoundLevelSnapshot::zero());
    controller.setEQProfile({}, first);
    EXPECT_EQ(heard(), 0.25F);
}

TEST_F(CoreAudioTapSoftwareVolumeControllerTest, releasingTheControllerEndsItsSession)
{
    {
        CoreAudioTapSoftwareVolumeController another(taps);
        another.setVolume({0.5, false}, first);
        EXPECT_GT(taps.liveObjects(), 0u);
    }
    EXPECT_EQ(taps.liveObjects(), 0u);
}

} // namespace
} // namespace quenstal
