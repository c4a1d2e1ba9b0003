#include "QuenstalCore/MenuPresenter/MenuSnapshot.hpp"
#include "QuenstalCore/MenuPresenter/States.hpp"
#include "QuenstalCore/Printing.hpp"

#include <functional>
#include <type_traits>
#include <vector>

#include <gtest/gtest.h>

namespace quenstal {
namespace {

using namespace test;
using enum PermissionStatus;

/// A monitor output that nothing but the missing capture permission keeps from being controlled.
QuenstalState blockedByCapture()
{
    QuenstalState state = monitorState();
    state.permissions.systemAudioCapture = notDetermined;
    state.mode = ControlMode::unavailable(UnavailableReason::systemAudioCapturePermissionMissing);
    return state;
}

TEST(MenuSnapshotTest, theDeviceNameIsTheOutputsOrNoOutputAndNeverTheDisplays)
{
    QuenstalState state = monitorState();
    EXPECT_EQ(MenuSnapshot(state).deviceName, "LG UltraFine");
    state.outputDevice->name = "";
    EXPECT_EQ(MenuSnapshot(state).deviceName, "");
    state.outputDevice.reset();
    EXPECT_EQ(MenuSnapshot(state).deviceName, "No Output");
}

TEST(MenuSnapshotTest, needsAccessibilityWhileEnabledAndNotGranted)
{
    struct Row {
        PermissionStatus accessibility;
        bool isEnabled;
        bool needed;
    };
    const std::vector<Row> rows{
        {granted, true, false},
        {denied, true, true},
        {notDetermined, true, true},
        {granted, false, false},
        {denied, false, false},
        {notDetermined, false, false},
    };
    for (const Row& row : rows) {
        QuenstalState state = monitorState();
        state.permissions.accessibility = row.accessibility;
        state.isEnabled = row.isEnabled;
        EXPECT_EQ(MenuSnapshot(state).needsAccessibilityPermission, row.needed) << rawValue(row.accessibility);
    }
}

TEST(MenuSnapshotTest, needsCapturePermissionOnlyWhenThatIsWhatBlocksAMonitor)
{
    struct Row {
        const char* name;
        std::function<void(QuenstalState&)> change;
        bool needed;
    };
    const std::vector<Row> rows{
        {"as it is", [](QuenstalState&) {}, true},
        {"denied", [](QuenstalState& state) { state.permissions.systemAudioCapture = denied; }, true},
        {"DisplayPort", [](QuenstalState& state) { state.outputDevice->transport = AudioTransport::displayPort; },
            true},
        {"granted", [](QuenstalState& state) { state.permissions.systemAudioCapture = granted; }, false},
        {"disabled", [](QuenstalState& state) { state.isEnabled = false; }, false},
        {"no output", [](QuenstalState& state) { state.outputDevice.reset(); }, false},
        {"built in", [](QuenstalState& state) { state.outputDevice->transport = AudioTransport::builtIn; }, false},
        {"aggregate", [](QuenstalState& state) { state.outputDevice->transport = AudioTransport::aggregate; }, false},
        {"another reason",
            [](QuenstalState& state) {
                state.mode = ControlMode::unavailable(UnavailableReason::softwareFallbackUnavailable);
            },
            false},
        {"software mode", [](QuenstalState& state) { state.mode = ControlMode::softwareTap("42"); }, false},
        {"disabled mode", [](QuenstalState& state) { state.mode = ControlMode::disabled(); }, false},
    };
    for (const Row& row : rows) {
        QuenstalState state = blockedByCapture();
        row.change(state);
        EXPECT_EQ(MenuSnapshot(state).needsSystemAudioCapturePermission, row.needed) << row.name;
    }
}

TEST(MenuSnapshotTest, disabledAndMutedIsOffWithoutDiagnosticAndWithoutNeeds)
{
    QuenstalState state = blockedByCapture();
    state.permissions = {denied, denied};
    state.diagnostics = {issue(DiagnosticSeverity::error, "A")};
    state.volume.isMuted = true;
    state.isEnabled = false;
    const MenuSnapshot menu(state);
    EXPECT_EQ(menu.title, "Off");
    EXPECT_EQ(menu.primaryDiagnostic, std::nullopt);
    EXPECT_FALSE(menu.needsAccessibilityPermission);
    EXPECT_FALSE(menu.needsSystemAudioCapturePermission);
}

TEST(MenuSnapshotTest, isMadeFromAStateOnlyAndComparesEveryField)
{
    static_assert(!std::is_default_constructible_v<MenuSnapshot>);
    static_assert(!std::is_convertible_v<QuenstalState, MenuSnapshot>);
    const MenuSnapshot menu(monitorState());
    EXPECT_TRUE(menu == MenuSnapshot(monitorState()));
    const std::vector<std::function<void(MenuSnapshot&)>> changes{
        [](MenuSnapshot& other) { other.title = "?"; },
        [](MenuSnapshot& other) { other.deviceName = "?"; },
        [](MenuSnapshot& other) { other.modeName = "?"; },
        [](MenuSnapshot& other) { ++other.levelPercent; },
        [](MenuSnapshot& other) { other.isMuted = !other.isMuted; },
        [](MenuSnapshot& other) { other.isEnabled = !other.isEnabled; },
        [](MenuSnapshot& other) { other.needsAccessibilityPermission = true; },
        [](MenuSnapshot& other) { other.needsSystemAudioCapturePermission = true; },
        [](MenuSnapshot& other) { other.primaryDiagnostic = ""; },
    };
    for (const auto& change : changes) {
        MenuSnapshot other = menu;
        change(other);
        EXPECT_FALSE(menu == other);
    }
}

} // namespace
} // namespace quenstal
