// From keys and gestures to commands, and when the keys are captured at all.

#include "QuenstalCore/MenuPresenter/GlassDialInteraction.hpp"
#include "QuenstalCore/MenuPresenter/MediaKeyRouter.hpp"
#include "QuenstalCore/MenuPresenter/MediaKeyTapActivationPolicy.hpp"
#include "QuenstalCore/MenuPresenter/States.hpp"
#include "QuenstalCore/Printing.hpp"

#include <type_traits>
#include <vector>

#include <gtest/gtest.h>

namespace quenstal {
namespace {

using namespace test;
using enum PermissionStatus;
using Key = MediaKeyRouter::Key;

TEST(MediaKeyRouterTest, everyKeyHasItsLabelAndItsCommandWhenAccessibilityIsGranted)
{
    struct Row {
        Key key;
        std::string_view captureLabel;
        std::optional<VolumeCommand> command;
    };
    const std::vector<Row> rows{
        {Key::mute, "F10 mute", VolumeCommand::toggleMute()},
        {Key::volumeDown, "F11 volume down", VolumeCommand::stepDown()},
        {Key::volumeUp, "F12 volume up", VolumeCommand::stepUp()},
        {Key::other, "Other media key", std::nullopt},
    };
    for (std::size_t i = 0; i < rows.size(); ++i) {
        SCOPED_TRACE(rows[i].captureLabel);
        EXPECT_EQ(static_cast<std::size_t>(rows[i].key), i);
        EXPECT_EQ(captureLabel(rows[i].key), rows[i].captureLabel);
        for (const PermissionStatus capture : allCases<PermissionStatus>())
            EXPECT_EQ(MediaKeyRouter().command(rows[i].key, {granted, capture}), rows[i].command);
    }
}

TEST(MediaKeyRouterTest, withoutAccessibilityEveryKeyGivesNoCommandMuteIncluded)
{
    for (const Key key : {Key::mute, Key::volumeDown, Key::volumeUp, Key::other}) {
        for (const PermissionStatus capture : allCases<PermissionStatus>()) {
            EXPECT_EQ(MediaKeyRouter().command(key, {denied, capture}), std::nullopt);
            EXPECT_EQ(MediaKeyRouter().command(key, {notDetermined, capture}), std::nullopt);
        }
    }
}

TEST(MediaKeyRouterTest, keepsNoState)
{
    static_assert(std::is_empty_v<MediaKeyRouter>);
    EXPECT_EQ(std::hash<Key>{}(Key::mute), std::hash<Key>{}(Key::mute));
}

TEST(MediaKeyRouterDeathTest, aKeyThatIsNoneOfItsCasesStopsTheProcess)
{
    const auto nonsense = static_cast<Key>(99);
    EXPECT_DEATH(captureLabel(nonsense), "programming error: The key is none of its cases");
    EXPECT_DEATH(MediaKeyRouter().command(nonsense, PermissionState::allGranted()),
        "programming error: The key is none of its cases");
}

TEST(GlassDialInteractionTest, aPercentBecomesALevelAfterClamping)
{
    struct Row {
        std::int64_t percent;
        double level;
    };
    const std::vector<Row> rows{
        {INT64_MIN, 0.0},
        {-5, 0.0},
        {-1, 0.0},
        {0, 0.0},
        {1, 0.01},
        {37, 0.37},
        {99, 0.99},
        {100, 1.0},
        {101, 1.0},
        {150, 1.0},
        {INT64_MAX, 1.0},
    };
    for (const Row& row : rows)
        EXPECT_EQ(GlassDialInteraction::command(row.percent), VolumeCommand::setLevel(row.level)) << row.percent;
}

TEST(GlassDialInteractionTest, aHundredPercentIsExactlyFullScale)
{
    EXPECT_EQ(GlassDialInteraction::command(100), VolumeCommand::setLevel(1.0));
}

TEST(GlassDialInteractionTest, theMuteButtonAlwaysToggles)
{
    EXPECT_EQ(GlassDialInteraction::muteCommand(), VolumeCommand::toggleMute());
}

TEST(GlassDialInteractionTest, aStepIsTwoOrTenAndIsClampedAfterwards)
{
    using enum GlassDialStepDirection;
    constexpr bool large = true;
    constexpr bool small = false;
    struct Row {
        std::int64_t from;
        GlassDialStepDirection direction;
        bool largeStep;
        std::int64_t stepped;
    };
    const std::vector<Row> rows{
        {50, up, small, 52},
        {50, down, small, 48},
        {50, up, large, 60},
        {50, down, large, 40},
        {99, up, small, 100},
        {98, up, small, 100},
        {97, up, small, 99},
        {100, up, large, 100},
        {1, down, small, 0},
        {2, down, small, 0},
        {3, down, small, 1},
        {5, down, large, 0},
        {0, down, large, 0},
        // The input is not clamped first.
        {250, up, small, 100},
        {250, down, small, 100},
        {101, down, small, 99},
        {105, down, large, 95},
        {-50, up, large, 0},
        {-3, up, large, 7},
        {INT64_MAX - 10, up, large, 100},
        {INT64_MIN + 10, down, large, 0},
        {INT64_MAX, down, small, 100},
        {INT64_MIN, up, large, 0},
    };
    for (const Row& row : rows)
        EXPECT_EQ(GlassDialInteraction::steppedPercent(row.from, row.direction, row.largeStep), row.stepped)
            << row.from;
}

TEST(GlassDialInteractionDeathTest, aStepBeyondSixtyFourBitsStopsTheProcess)
{
    using enum GlassDialStepDirection;
    EXPECT_DEATH(GlassDialInteraction::steppedPercent(INT64_MAX, up, false), "programming error: The stepped percent");
    EXPECT_DEATH(GlassDialInteraction::steppedPercent(INT64_MAX - 9, up, true), "programming error");
    EXPECT_DEATH(GlassDialInteraction::steppedPercent(INT64_MIN, down, false), "programming error");
    EXPECT_DEATH(GlassDialInteraction::steppedPercent(INT64_MIN + 9, down, true), "programming error");
}

TEST(GlassDialInteractionTest, isANamespaceOfFunctionsAndTheDirectionsStandInOrder)
{
    static_assert(!std::is_default_constructible_v<GlassDialInteraction>);
    static_assert(!std::is_default_constructible_v<MediaKeyTapActivationPolicy>);
    static_assert(static_cast<int>(GlassDialStepDirection::up) == 0);
    static_assert(static_cast<int>(GlassDialStepDirection::down) == 1);
}

TEST(MediaKeyTapActivationPolicyTest, theTapRunsWhileEnabledAndAccessibilityIsGranted)
{
    struct Row {
        bool isEnabled;
        PermissionStatus accessibility;
        bool runs;
    };
    const std::vector<Row> rows{
        {true, granted, true},
        {true, denied, false},
        {true, notDetermined, false},
        {false, granted, false},
        {false, denied, false},
        {false, notDetermined, false},
    };
    for (const Row& row : rows) {
        QuenstalState state = monitorState();
        state.isEnabled = row.isEnabled;
        state.permissions.accessibility = row.accessibility;
        EXPECT_EQ(MediaKeyTapActivationPolicy::shouldEnableTap(state), row.runs);
    }
}

TEST(MediaKeyTapActivationPolicyTest, modeOutputAndCapturePermissionDoNotMatter)
{
    QuenstalState state = monitorState();
    state.outputDevice.reset();
    state.displayTarget.reset();
    state.permissions.systemAudioCapture = denied;
    for (const ControlMode& mode : {ControlMode::unavailable(UnavailableReason::noOutputDevice),
             ControlMode::disabled(), ControlMode::softwareTap("")}) {
        state.mode = mode;
        EXPECT_TRUE(MediaKeyTapActivationPolicy::shouldEnableTap(state));
    }
}

} // namespace
} // namespace quenstal
