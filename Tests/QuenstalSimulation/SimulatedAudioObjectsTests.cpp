#include "QuenstalSimulation/SimulatedAudioObjects.hpp"
#include "QuenstalSimulation/SimulatedRunLoop.hpp"

#include <gtest/gtest.h>

namespace quenstal {
namespace {

TEST(SimulatedAudioObjectsTest, aVolumeIsNoFlagAndAMuteIsNoNumber)
{
    SimulatedRunLoop loop;
    SimulatedAudioObjects audio(loop);
    const AudioObjectID speakers
        = audio.addOutput({.volumes = {{1, {.value = 0.5F}}}, .mute = SimulatedAudioControl{.value = 1}});
    const AudioPropertyAddress volume{AudioPropertySelector::volumeScalar, AudioPropertyScope::output, 1};
    const AudioPropertyAddress mute{AudioPropertySelector::mute, AudioPropertyScope::output};
    std::uint32_t flag = 7;
    float number = 7;
    EXPECT_EQ(audio.getUInt32(speakers, volume, flag), SimulatedAudioObjects::unknownProperty);
    EXPECT_EQ(audio.getFloat32(speakers, mute, number), SimulatedAudioObjects::unknownProperty);
    EXPECT_EQ(audio.setUInt32(speakers, volume, 1), SimulatedAudioObjects::unknownProperty);
    EXPECT_EQ(audio.setFloat32(speakers, mute, 0), SimulatedAudioObjects::unknownProperty);
    EXPECT_EQ(flag, 7u);
    EXPECT_EQ(number, 7);
    EXPECT_EQ(audio.getFloat32(speakers, volume, number), 0);
    EXPECT_EQ(number, 0.5F);
    EXPECT_EQ(audio.getUInt32(speakers, mute, flag), 0);
    EXPECT_EQ(flag, 1u);
}

} // namespace
} // namespace quenstal
