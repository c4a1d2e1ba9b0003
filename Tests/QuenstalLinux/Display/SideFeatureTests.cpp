// Other features of a monitor than its volume: asked for on the side, and no matter to what is known of the volume.

#include "QuenstalLinux/Display/EngineBench.hpp"

#include <cerrno>

#include <gtest/gtest.h>

namespace quenstal {
namespace {

using namespace std::chrono_literals;
using Answer = EngineBench::Answer;

constexpr VcpFeature brightness = 0x10;
/// The simulated monitor has none.
constexpr VcpFeature audioMute = 0x8D;
constexpr VcpFeature version = 0xDF;

const Answer itsVolume(std::pair(37, 100));
const Answer itsBrightness(std::pair(50, 100));
const Answer itsVersion(std::pair(0x0202, 0xFFFF));
constexpr Answer nothing = EngineBench::nothing;

struct DisplaySideFeatureTest : testing::Test, EngineBench { };

TEST_F(DisplaySideFeatureTest, eachFeatureHasAMemoOfItsOwn)
{
    startAndDiscover();
    EXPECT_EQ(get(version), itsVersion);
    EXPECT_EQ(get(brightness), itsBrightness);
    const auto asked = getsAsked(*monitor);
    blocked = {};
    for (int i = 0; i < 10; ++i) {
        EXPECT_EQ(get(), itsVolume);
        EXPECT_EQ(get(version), itsVersion);
        EXPECT_EQ(get(brightness), itsBrightness);
    }
    EXPECT_EQ(blocked, 0ms);
    EXPECT_EQ(getsAsked(*monitor), asked);
}

TEST_F(DisplaySideFeatureTest, anOldMemoIsAnsweredAtOnceAndItsFeatureAloneIsAskedForAgain)
{
    startAndDiscover();
    get(version);
    time->advance(3s);
    blocked = {};
    const auto asked = getsAsked(*monitor);
    EXPECT_EQ(get(version), itsVersion);
    EXPECT_EQ(blocked, 0ms);
    time->advance(1s);
    EXPECT_EQ(getsAsked(*monitor), asked + 1);
}

TEST_F(DisplaySideFeatureTest, aMonitorThatLacksAFeatureIsNotDoubtedForIt)
{
    startAndDiscover();
    EXPECT_EQ(get(audioMute), nothing);
    time->advance(1s);
    EXPECT_EQ(engine->problem(), std::nullopt);
    EXPECT_EQ(changes, 0);
    blocked = {};
    EXPECT_EQ(get(), itsVolume);
    EXPECT_EQ(blocked, 0ms);
    EXPECT_TRUE(set(40));
    EXPECT_EQ(monitor->volume(), 40);
}

TEST_F(DisplaySideFeatureTest, aFeatureThatIsLackingIsWaitedForOnceAndAskedForSeldom)
{
    startAndDiscover();
    EXPECT_EQ(get(audioMute), nothing);
    const auto asked = getsAsked(*monitor);
    blocked = {};
    for (int i = 0; i < 29; ++i) {
        time->advance(1s);
        EXPECT_EQ(get(audioMute), nothing);
    }
    EXPECT_EQ(getsAsked(*monitor), asked);
    time->advance(2s);
    EXPECT_EQ(get(audioMute), nothing);
    time->advance(1s);
    EXPECT_EQ(getsAsked(*monitor), asked + 1);
    EXPECT_EQ(blocked, 0ms);
}

TEST_F(DisplaySideFeatureTest, theVolumeIsAskedForFirst)
{
    start();
    EXPECT_EQ(get(version), itsVersion);
    EXPECT_LE(blocked, 110ms);
    blocked = {};
    EXPECT_EQ(get(), itsVolume);
    EXPECT_EQ(blocked, 0ms);
    EXPECT_EQ(getsAsked(*monitor), 2);
}

TEST_F(DisplaySideFeatureTest, aSetGoesBeforeAnotherFeature)
{
    startAndDiscover();
    get(version);
    time->advance(3s);
    monitor->failNext(1, EIO);
    get(version);
    time->advance(10ms);
    EXPECT_TRUE(set(40));
    time->advance(100ms);
    EXPECT_EQ(monitor->volume(), 40);
    time->advance(1s);
    blocked = {};
    EXPECT_EQ(get(version), itsVersion);
    EXPECT_EQ(blocked, 0ms);
}

TEST_F(DisplaySideFeatureTest, aHeldKeyLosesNothingWhileAnotherFeatureIsAskedFor)
{
    startAndDiscover();
    for (int press = 1; press <= 20; ++press) {
        EXPECT_TRUE(set(37 + press));
        EXPECT_EQ(get(), Answer(std::pair(37 + press, 100)));
        get(press % 2 == 0 ? version : audioMute);
        time->advance(33ms);
    }
    time->advance(1s);
    EXPECT_EQ(monitor->volume(), 57);
    EXPECT_LE(totalBlocked, 400ms);
    EXPECT_EQ(engine->problem(), std::nullopt);
}

TEST_F(DisplaySideFeatureTest, aMonitorThatIsGoneHasNoFeatures)
{
    startAndDiscover();
    get(version);
    monitor->setPresent(false);
    engine->rediscover();
    time->advance(2s);
    blocked = {};
    EXPECT_EQ(get(version), nothing);
    EXPECT_EQ(blocked, 0ms);
    monitor->setPresent(true);
    time->advance(5s);
    EXPECT_EQ(get(version), itsVersion);
    EXPECT_EQ(get(), itsVolume);
}

TEST_F(DisplaySideFeatureTest, anAdapterThatGoesUnderAnotherFeatureIsNoticed)
{
    startAndDiscover();
    devices->remove(device);
    EXPECT_EQ(get(version), nothing);
    time->advance(1s);
    EXPECT_EQ(removals, 1);
    EXPECT_EQ(get(), nothing);
}

} // namespace
} // namespace quenstal
