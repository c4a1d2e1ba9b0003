#include "QuenstalLinux/Keyboards/InputNodes.hpp"
#include "QuenstalLinux/Keyboards/VolumeKeyFilter.hpp"
#include "QuenstalPlatform/EventTaps.hpp"

#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace quenstal {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

struct VolumeKeyFilterTest : testing::Test {
    void feed(std::uint16_t type, std::uint16_t code, std::int32_t value)
    {
        input_event event{};
        event.type = type;
        event.code = code;
        event.value = value;
        filter.handle(event);
    }
    /// One frame as a keyboard sends it: scan code, key, report.
    void frame(std::uint16_t key, std::int32_t value)
    {
        feed(EV_MSC, MSC_SCAN, key);
        feed(EV_KEY, key, value);
        feed(EV_SYN, SYN_REPORT, 0);
    }

    std::vector<std::string> passed;
    std::vector<std::string> pressed;
    VolumeKeyFilter filter{[this](const input_event& event) {
                               passed.push_back(std::to_string(event.type) + " " + std::to_string(event.code) + " "
                                   + std::to_string(event.value));
                           },
        [this](std::int64_t button, bool isRepeat) {
            pressed.push_back(std::to_string(button) + (isRepeat ? " repeat" : ""));
        }};
};

TEST_F(VolumeKeyFilterTest, pressesAndRepeatsOfTheThreeKeysAreSwallowedWithTheirWholeFrame)
{
    frame(KEY_VOLUMEUP, 1);
    frame(KEY_VOLUMEUP, 2);
    frame(KEY_VOLUMEDOWN, 1);
    frame(KEY_MUTE, 1);
    EXPECT_THAT(pressed, ElementsAre("0", "0 repeat", "1", "7"));
    EXPECT_THAT(passed, IsEmpty());
}

TEST_F(VolumeKeyFilterTest, theirReleasesPass)
{
    frame(KEY_VOLUMEUP, 0);
    EXPECT_THAT(passed, ElementsAre("4 4 115", "1 115 0", "0 0 0"));
    EXPECT_THAT(pressed, IsEmpty());
}

TEST_F(VolumeKeyFilterTest, everythingElsePassesUntouchedAndInOrder)
{
    frame(KEY_A, 1);
    frame(KEY_A, 2);
    frame(KEY_PLAYPAUSE, 1);
    feed(EV_REL, REL_WHEEL, -1);
    feed(EV_SYN, SYN_REPORT, 0);
    feed(EV_SYN, SYN_REPORT, 0);
    EXPECT_THAT(passed,
        ElementsAre("4 4 30", "1 30 1", "0 0 0", "4 4 30", "1 30 2", "0 0 0", "4 4 164", "1 164 1", "0 0 0", "2 8 -1",
            "0 0 0", "0 0 0"));
}

TEST_F(VolumeKeyFilterTest, aFrameThatCarriesAnotherKeyTooPassesWithoutTheVolumeKey)
{
    feed(EV_KEY, KEY_A, 1);
    feed(EV_KEY, KEY_MUTE, 1);
    feed(EV_SYN, SYN_REPORT, 0);
    EXPECT_THAT(passed, ElementsAre("1 30 1", "0 0 0"));
    EXPECT_THAT(pressed, ElementsAre("7"));
    frame(KEY_A, 0);
    EXPECT_EQ(passed.size(), 5u);
}

TEST(InputNodesTest, aBitmapHasAVolumeKeyWhenOneOfTheThreeBitsIsSet)
{
    struct Row {
        const char* what;
        const char* bitmap;
        bool has;
    };
    const Row rows[]{
        {"a plain PC keyboard", "402000000 3803078f800d001 feffffdfffefffff fffffffffffffffe", true},
        {"consumer control of a headset", "e000000000000 0", true},
        {"without mute", "c000000000000 0", true},
        {"mute alone", "2000000000000 0", true},
        {"a power button", "10000000000000 0", false},
        {"nothing", "0", false},
        {"empty", "", false},
        {"not a bitmap", "xyz", false},
    };
    for (const Row& row : rows)
        EXPECT_EQ(hasVolumeKey(row.bitmap), row.has) << row.what;
}

} // namespace
} // namespace quenstal
