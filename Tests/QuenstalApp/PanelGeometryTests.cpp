#include "QuenstalApp/PrintGeometry.hpp"
#include "QuenstalApp/StatusMenuController/PanelGeometry.hpp"
#include "QuenstalApp/StatusMenuController/QuenstalPanel.hpp"

#include <gtest/gtest.h>

namespace quenstal {

namespace {

using BarSide = PanelGeometry::BarSide;
using Screen = GlassDialViewState::Screen;

constexpr Size dialSize{344, 383};

DesktopScreen screenWithBar(BarSide side)
{
    const Rect frame{0, 0, 1440, 900};
    switch (side) {
    case BarSide::top:
        return {frame, {0, 24, 1440, 876}};
    case BarSide::bottom:
        return {frame, {0, 0, 1440, 860}};
    case BarSide::left:
        return {frame, {48, 0, 1392, 900}};
    case BarSide::right:
        break;
    }
    return {frame, {0, 0, 1392, 900}};
}

TEST(PanelGeometryTest, theSizeFollowsTheScreen)
{
    struct Row {
        const char* what;
        Screen screen;
        bool eqAvailable;
        bool boostHint;
        Size size;
    };
    const Row rows[]{
        {"dial", Screen::dial, false, false, {344, 383}},
        {"dial with an equalizer", Screen::dial, true, true, {344, 383}},
        {"setup", Screen::setup, false, false, {344, 481}},
        {"equalizer, unavailable", Screen::equalizer, false, false, {344, 311}},
        {"equalizer, unavailable, with the hint", Screen::equalizer, false, true, {344, 311}},
        {"equalizer", Screen::equalizer, true, false, {344, 475}},
        {"equalizer with the hint", Screen::equalizer, true, true, {344, 513}},
    };
    for (const Row& row : rows) {
        QuenstalState state;
        state.audioProcessing.diagnostic = row.eqAvailable ? AudioProcessingDiagnostic::softwareAvailable
                                                           : AudioProcessingDiagnostic::systemVolumeMode;
        state.audioProcessing.boostHintVisible = row.boostHint;
        EXPECT_EQ(PanelGeometry::windowSize(row.screen, GlassDialSnapshot(state)), row.size) << row.what;
    }
}

TEST(PanelGeometryTest, thePanelOpensAwayFromTheBarAndStaysOnItsScreen)
{
    struct Row {
        const char* what;
        BarSide bar;
        Rect anchor;
        Rect frame;
    };
    const Row rows[]{
        {"under the icon", BarSide::top, {700, 0, 24, 24}, {540, 24, 344, 383}},
        {"at the far right edge", BarSide::top, {1416, 0, 24, 24}, {1088, 24, 344, 383}},
        {"at the far left edge", BarSide::top, {0, 0, 24, 24}, {8, 24, 344, 383}},
        {"an icon taller than the bar", BarSide::top, {700, 0, 24, 30}, {540, 30, 344, 383}},
        {"above a bottom bar", BarSide::bottom, {700, 866, 28, 28}, {542, 477, 344, 383}},
        {"in the corner of a bottom bar", BarSide::bottom, {1412, 866, 28, 28}, {1088, 477, 344, 383}},
        {"beside a left bar", BarSide::left, {8, 300, 32, 32}, {48, 124.5, 344, 383}},
        {"at the foot of a left bar", BarSide::left, {8, 868, 32, 32}, {48, 509, 344, 383}},
        {"beside a right bar", BarSide::right, {1400, 300, 32, 32}, {1048, 124.5, 344, 383}},
        {"at the head of a right bar", BarSide::right, {1400, 0, 32, 32}, {1048, 8, 344, 383}},
    };
    for (const Row& row : rows) {
        const auto placement = PanelGeometry::placement(row.anchor, screenWithBar(row.bar), dialSize);
        EXPECT_EQ(placement.frame, row.frame) << row.what;
        EXPECT_EQ(placement.side, row.bar) << row.what;
    }
}

TEST(PanelGeometryTest, aBarThatTakesNoRoomIsFoundByTheNearestEdge)
{
    struct Row {
        const char* what;
        Rect anchor;
        BarSide side;
    };
    const DesktopScreen screen{{0, 0, 1440, 900}, {0, 0, 1440, 900}};
    const Row rows[]{
        {"top", {700, 2, 20, 20}, BarSide::top},
        {"bottom", {700, 870, 20, 20}, BarSide::bottom},
        {"left", {2, 400, 20, 20}, BarSide::left},
        {"right", {1418, 400, 20, 20}, BarSide::right},
        {"corner of a bottom bar", {1430, 870, 10, 20}, BarSide::bottom},
        {"corner of a top bar", {0, 10, 10, 20}, BarSide::top},
    };
    for (const Row& row : rows)
        EXPECT_EQ(PanelGeometry::barSide(row.anchor, screen), row.side) << row.what;
}

TEST(PanelGeometryTest, onAScreenNarrowerThanThePanelTheRightMarginWins)
{
    const DesktopScreen narrow{{0, 0, 300, 900}, {0, 24, 300, 876}};
    EXPECT_EQ(PanelGeometry::placement({100, 0, 24, 24}, narrow, dialSize).frame.x, 300 - 344 - 8);
}

TEST(PanelGeometryTest, onAScreenLowerThanThePanelTheBottomMarginWins)
{
    const DesktopScreen low{{0, 0, 1440, 300}, {0, 24, 1440, 276}};
    EXPECT_EQ(PanelGeometry::placement({700, 0, 24, 24}, low, dialSize).frame.y, 300 - 383 - 8);
}

TEST(PanelGeometryTest, withoutAnyScreenTheVisibleFrameIsEmpty)
{
    EXPECT_EQ(PanelGeometry::placement({700, 0, 24, 24}, std::nullopt, dialSize).frame, (Rect{-352, -391, 344, 383}));
}

TEST(PanelGeometryTest, thePanelIsOnTheScreenOfItsIcon)
{
    const DesktopScreen main{{0, 0, 1440, 900}, {0, 24, 1440, 876}};
    const DesktopScreen second{{1440, -200, 1920, 1080}, {1440, -176, 1920, 1056}};
    EXPECT_EQ(PanelGeometry::screenOf({3000, -200, 24, 24}, {main, second}), second);
    EXPECT_EQ(PanelGeometry::screenOf({700, 0, 24, 24}, {main, second}), main);
    EXPECT_EQ(PanelGeometry::screenOf({9000, 9000, 24, 24}, {main, second}), main);
    EXPECT_EQ(PanelGeometry::screenOf({700, 0, 24, 24}, {}), std::nullopt);
    EXPECT_EQ(PanelGeometry::placement({3330, -200, 24, 24}, second, dialSize).frame, (Rect{3008, -176, 344, 383}));
}

TEST(PanelGeometryTest, withoutAnyAnchorThePanelIsInTheUpperRightCorner)
{
    EXPECT_EQ(PanelGeometry::unanchoredPlacement(screenWithBar(BarSide::top), dialSize),
        (PanelGeometry::Placement{{1088, 32, 344, 383}, BarSide::top}));
}

TEST(PanelGeometryTest, onResizeTheEdgeNextToTheBarAndTheCentreStay)
{
    struct Row {
        const char* what;
        BarSide bar;
        Rect from;
        Size size;
        Rect to;
    };
    const Row rows[]{
        {"grows downwards from a top bar", BarSide::top, {540, 24, 344, 383}, {344, 513}, {540, 24, 344, 513}},
        {"keeps its middle", BarSide::top, {540, 24, 344, 383}, {364, 383}, {530, 24, 364, 383}},
        {"is pushed up to stay on the screen", BarSide::top, {540, 500, 344, 383}, {344, 481}, {540, 411, 344, 481}},
        {"grows upwards from a bottom bar", BarSide::bottom, {540, 477, 344, 383}, {344, 513}, {540, 347, 344, 513}},
        {"shrinks towards a bottom bar", BarSide::bottom, {540, 347, 344, 513}, {344, 311}, {540, 549, 344, 311}},
        {"keeps the left edge at a left bar", BarSide::left, {48, 200, 344, 383}, {344, 483}, {48, 150, 344, 483}},
        {"keeps the right edge at a right bar", BarSide::right, {1048, 200, 344, 383}, {354, 383},
            {1038, 200, 354, 383}},
    };
    for (const Row& row : rows)
        EXPECT_EQ(PanelGeometry::resized(row.from, row.size, row.bar, screenWithBar(row.bar)), row.to) << row.what;
}

TEST(QuenstalPanelTest, theWindowIsMadeAsAFloatingGlassPanel)
{
    const PanelSettings settings = QuenstalPanel::settings(dialSize);
    EXPECT_EQ(settings.contentRect, (Rect{0, 0, 344, 383}));
    EXPECT_EQ(settings.styleMask, 32896u);
    EXPECT_TRUE(settings.isBuffered);
    EXPECT_FALSE(settings.isDeferred);
    EXPECT_TRUE(settings.hasClearBackground);
    EXPECT_FALSE(settings.isOpaque);
    EXPECT_TRUE(settings.hasShadow);
    EXPECT_TRUE(settings.isFloatingPanel);
    EXPECT_FALSE(settings.isReleasedWhenClosed);
    EXPECT_FALSE(settings.hidesOnDeactivate);
    EXPECT_EQ(settings.windowLevel, 101);
    EXPECT_EQ(settings.collectionBehavior, 328u);
    EXPECT_TRUE(settings.canBecomeKey);
    EXPECT_FALSE(settings.canBecomeMain);
}

} // namespace
} // namespace quenstal
