// The panel's views, touched by pointer and keyboard.

#include "ViewFixture.hpp"

#include <algorithm>
#include <cmath>
#include <limits>
#include <vector>

#include <QWheelEvent>

namespace quenstal {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;

constexpr int margin = gallery::shadowMargin;
/// Where the dial's square begins in the window, when no notice is shown.
constexpr QPointF dialOrigin(margin + (344 - 166) / 2.0, margin + 94);

class PanelViews : public testing::Test {
protected:
    void open(const std::string& scene)
    {
        stage_ = std::make_unique<gallery::Stage>(sharedEngine(), sceneNamed(scene));
        stage_->viewState().onVolumeChange = [this](std::int64_t percent) { percents_.push_back(percent); };
        stage_->viewState().onToggleMute = [this] { calls_.emplace_back("mute"); };
        stage_->viewState().onToggleEnable = [this] { calls_.emplace_back("enable"); };
        stage_->viewState().onQuit = [this] { calls_.emplace_back("quit"); };
        stage_->viewState().onCopyDiagnostics = [this] { calls_.emplace_back("copy"); };
        stage_->viewState().onFinishSetup = [this] { calls_.emplace_back("finish"); };
        stage_->viewState().onRequestAccessibility = [this] { calls_.emplace_back("accessibility"); };
        stage_->viewState().onOpenAudioSettings = [this] { calls_.emplace_back("audio settings"); };
        stage_->viewState().onSwitchToSoftwareProcessing = [this] { calls_.emplace_back("software"); };
        stage_->viewState().onDismissBoostHint = [this] { calls_.emplace_back("dismiss"); };
        stage_->viewState().onEQReset = [this](bool confirm) { calls_.emplace_back(confirm ? "reset?" : "reset"); };
        stage_->viewState().onEQToggle = [this](bool on) { calls_.emplace_back(on ? "eq on" : "eq off"); };
        stage_->viewState().onEQPreset
            = [this](EQPresetName preset) { calls_.emplace_back(std::string(rawValue(preset))); };
        stage_->viewState().onEQBandChange = [this](std::int64_t id, double gain) { gains_.emplace_back(id, gain); };
        stage_->viewState().onEQPreampChange = [this](double gain) { gains_.emplace_back(-1, gain); };
        ASSERT_TRUE(QTest::qWaitForWindowExposed(&stage_->window()));
    }

    void click(QPointF place) { QTest::mouseClick(&stage_->window(), Qt::LeftButton, {}, place.toPoint()); }
    /// A shown control by the name that assistive technology reads.
    QQuickItem* control(const QString& name)
    {
        for (QQuickItem* item : shownItems(stage_->root())) {
            if (item->property("accessibleName").toString() == name)
                return item;
        }
        return nullptr;
    }
    void clickControl(const QString& name)
    {
        const QQuickItem* item = control(name);
        ASSERT_NE(item, nullptr) << qPrintable(name);
        click(item->mapToScene(QPointF(item->width() / 2, item->height() / 2)));
    }
    /// In eighths of a degree; a notch is 120.
    void turnWheel(QPointF place, QPoint angle)
    {
        QWheelEvent wheel(
            place, stage_->window().mapToGlobal(place), {}, angle, Qt::NoButton, {}, Qt::NoScrollPhase, false);
        QGuiApplication::sendEvent(&stage_->window(), &wheel);
    }
    void key(Qt::Key key, Qt::KeyboardModifiers modifiers = {}) { QTest::keyClick(&stage_->window(), key, modifiers); }
    QString focused()
    {
        const QQuickItem* item = stage_->window().activeFocusItem();
        return item
            ? item->property("accessibleName").toString() + item->objectName() + item->property("hertz").toString()
            : QString();
    }
    void replaceSnapshot(const std::function<void(QuenstalState&)>& change, const std::string& scene)
    {
        QuenstalState state = sceneNamed(scene).state;
        change(state);
        stage_->viewState().update(GlassDialSnapshot(state));
    }

    std::unique_ptr<gallery::Stage> stage_;
    std::vector<std::int64_t> percents_;
    std::vector<std::string> calls_;
    std::vector<std::pair<std::int64_t, double>> gains_;
};

TEST_F(PanelViews, aPressOnTheTopOfTheArcAsksForHalfTheVolume)
{
    open("dial-software");
    click(dialOrigin + QPointF(83, 9));
    EXPECT_THAT(percents_, ElementsAre(50));
}

TEST_F(PanelViews, aClickOnTheReadOutChangesNothing)
{
    open("dial-software");
    click(dialOrigin + QPointF(83, 70));
    EXPECT_THAT(percents_, IsEmpty());
}

TEST_F(PanelViews, aDialThatIsNotControllableTakesNoPresses)
{
    open("dial-disabled");
    click(dialOrigin + QPointF(83, 9));
    EXPECT_THAT(percents_, IsEmpty());
}

TEST_F(PanelViews, theWheelStepsTheDialByTwo)
{
    open("dial-software");
    turnWheel(dialOrigin + QPointF(83, 83), {0, 120});
    EXPECT_THAT(percents_, ElementsAre(44));
}

TEST_F(PanelViews, aWheelThatIsSaidToHaveTurnedFarTurnsTheDialByFourNotches)
{
    open("dial-software");
    turnWheel(dialOrigin + QPointF(83, 83), {0, std::numeric_limits<int>::max()});
    turnWheel(dialOrigin + QPointF(83, 83), {0, std::numeric_limits<int>::min()});
    EXPECT_THAT(percents_, ElementsAre(50, 34));
}

TEST_F(PanelViews, aValueBeyondTheDialIsItsEndAndOneThatIsNoNumberIsNone)
{
    open("dial-software");
    auto* dial = stage_->root().findChild<QQuickItem*>("dial");
    for (const double value : {1e300, -1e300, 4294967396.0, std::numeric_limits<double>::quiet_NaN()})
        dial->setProperty("value", value);
    EXPECT_THAT(percents_, ElementsAre(100, 0, 100));
    EXPECT_EQ(dial->property("value").toInt(), 42);
}

TEST_F(PanelViews, aGainBeyondTheSliderIsItsEndAndOneThatIsNoNumberIsNone)
{
    open("equalizer");
    const auto items = shownItems(stage_->root());
    const auto found = std::ranges::find_if(items, [](auto* item) { return item->property("hertz") == "60"; });
    ASSERT_NE(found, items.end());
    QQuickItem* band = *found;
    const double gain = band->property("value").toDouble();
    for (const double value : {1e300, -std::numeric_limits<double>::infinity(), std::nan("")})
        band->setProperty("value", value);
    EXPECT_THAT(gains_, ElementsAre(Pair(0, 12), Pair(0, -12)));
    EXPECT_EQ(band->property("value").toDouble(), gain);
}

TEST_F(PanelViews, aValueWrittenByAssistiveTechnologyIsAskedForAndShownOnlyWhenItHolds)
{
    open("dial-software");
    auto* dial = stage_->root().findChild<QQuickItem*>("dial");
    dial->setProperty("value", 77);
    EXPECT_THAT(percents_, ElementsAre(77));
    EXPECT_EQ(dial->property("value").toInt(), 42);
    replaceSnapshot([](auto& state) { state.volume = VolumeSnapshot(0.77, false); }, "dial-software");
    EXPECT_EQ(dial->property("value").toInt(), 77);
    EXPECT_EQ(percents_.size(), 1u);
}

TEST_F(PanelViews, theReadOutNeverLagsBehindTheLevel)
{
    open("dial-software");
    replaceSnapshot([](auto& state) { state.volume = VolumeSnapshot(0.08, false); }, "dial-software");
    QString digits;
    for (const QQuickItem* item : shownItems(stage_->root())) {
        if (isText(item) && item->property("font").value<QFont>().pixelSize() == 48)
            digits += item->property("text").toString();
    }
    EXPECT_EQ(digits, "8");
}

struct ControlRow {
    std::string scene;
    QString control;
    std::string call;
};

class PanelControls : public PanelViews, public testing::WithParamInterface<ControlRow> { };

TEST_P(PanelControls, callByPointer)
{
    open(GetParam().scene);
    clickControl(GetParam().control);
    EXPECT_THAT(calls_, ElementsAre(GetParam().call));
}

TEST_P(PanelControls, callByKeyboard)
{
    open(GetParam().scene);
    QQuickItem* item = control(GetParam().control);
    ASSERT_NE(item, nullptr);
    for (int step = 0; step < 30 && stage_->window().activeFocusItem() != item; ++step)
        key(Qt::Key_Tab);
    ASSERT_EQ(stage_->window().activeFocusItem(), item);
    key(Qt::Key_Space);
    key(Qt::Key_Return);
    EXPECT_THAT(calls_, testing::Contains(GetParam().call));
}

INSTANTIATE_TEST_SUITE_P(All, PanelControls,
    testing::Values(
        // clang-format off
        ControlRow{"dial-software", "Mute", "mute"},
        ControlRow{"dial-software", "Quenstal", "enable"},
        ControlRow{"dial-more", "Copy Diagnostics", "copy"},
        ControlRow{"dial-more", "Quit Quenstal", "quit"},
        ControlRow{"equalizer", "Voice", "voice"},
        ControlRow{"equalizer", "Equalizer", "eq off"},
        ControlRow{"equalizer", "Reset", "reset?"},
        ControlRow{"equalizer-hint", "Dismiss", "dismiss"},
        ControlRow{"equalizer-hardware", "Try Software Mode", "software"},
        ControlRow{"equalizer-system", "Sound Settings", "audio settings"},
        ControlRow{"setup-start", "Accessibility Settings", "accessibility"},
        ControlRow{"setup-start", "Try Software Mode", "software"},
        ControlRow{"setup-built-in", "Open Sound Settings", "audio settings"},
        ControlRow{"setup-done", "Done", "finish"} // clang-format on
        ));

TEST_F(PanelViews, tabWalksTheDialScreenFromTopToBottom)
{
    open("dial-software");
    QStringList order;
    for (int step = 0; step < 5; ++step) {
        key(Qt::Key_Tab);
        order << focused();
    }
    EXPECT_EQ(order, QStringList({"Quenstal", "dial", "Mute", "EQ", "More"})) << qPrintable(order.join(", "));
}

TEST_F(PanelViews, theTrayTakesTheFocusFromWhatLiesBehindIt)
{
    open("dial-more");
    for (int step = 0; step < 8; ++step) {
        key(Qt::Key_Tab);
        EXPECT_NE(focused(), "Mute");
        EXPECT_NE(focused(), "dial");
    }
}

TEST_F(PanelViews, aClickBesideTheTrayClosesIt)
{
    open("dial-more");
    click(QPointF(margin + 20, margin + 120));
    EXPECT_FALSE(stage_->viewState().showsMoreActions());
    EXPECT_THAT(percents_, IsEmpty());
}

TEST_F(PanelViews, aProblemOfAMonitorIsShownWithWhatHelpsSaidOnce)
{
    using Kind = DisplayBusProblem::Kind;
    open("setup-done");
    const auto facts = [this] {
        QStringList texts;
        for (const QQuickItem* item : shownItems(stage_->root())) {
            if (isText(item) && item->property("text").toString().contains("i2c"))
                texts << item->property("text").toString();
        }
        return texts.join('|').toStdString();
    };
    struct Row {
        std::vector<DisplayBusProblem> problems;
        const char* text;
    };
    const char* const module = "Load the kernel module i2c-dev.";
    const Row rows[]{
        // clang-format off
        {{{Kind::stuck, "/dev/i2c-3", "Left", "Do it."}}, "Left: the driver for /dev/i2c-3 is not responding. Do it."},
        {{{Kind::accessDenied, "/dev/i2c-3", "Left", "Do it."}, {Kind::accessDenied, "/dev/i2c-4", "Right", "Do it."}}, "Left: no access to /dev/i2c-3. Right: no access to /dev/i2c-4. Do it."},
        {{{Kind::writesRefused, "/dev/i2c-3", "Left", ""}, {Kind::notAnswering, "/dev/i2c-4", "Right", "Do it."}}, "Left does not accept volume changes on /dev/i2c-3. Right does not report its volume on /dev/i2c-4. Do it."},
        {{{Kind::notAnswering, "", "Left", module}}, "Left cannot be reached over DDC/CI. Load the kernel module i2c-dev."},
        {{{Kind::unknownBuses, "/dev/i2c-3 (some bus)", "Left", ""}}, "Left cannot be reached over DDC/CI. Left alone because not known to lead to a display: /dev/i2c-3 (some bus)."},
        {{}, ""},
        // clang-format on
    };
    for (const Row& row : rows) {
        stage_->viewState().setMonitorProblems(row.problems);
        EXPECT_EQ(facts(), row.text);
    }
}

TEST_F(PanelViews, theEqChipShowsTheEqualizerAndBackTheDial)
{
    open("dial-software");
    clickControl("EQ");
    EXPECT_EQ(stage_->viewState().screen(), GlassDialViewState::Screen::equalizer);
    clickControl("Back");
    EXPECT_EQ(stage_->viewState().screen(), GlassDialViewState::Screen::dial);
}

TEST_F(PanelViews, leftAndRightMoveBetweenBands)
{
    open("equalizer");
    for (int step = 0; step < 30 && focused() != "60"; ++step)
        key(Qt::Key_Tab);
    ASSERT_EQ(focused(), "60");
    EXPECT_EQ(stage_->viewState().focusedEQBandID(), 0);
    key(Qt::Key_Right);
    EXPECT_EQ(focused(), "250");
    EXPECT_EQ(stage_->viewState().focusedEQBandID(), 1);
    key(Qt::Key_Left);
    EXPECT_EQ(focused(), "60");
    key(Qt::Key_Left);
    EXPECT_EQ(focused(), "60");
}

TEST_F(PanelViews, aBandFollowsThePointerInHalfDecibels)
{
    open("equalizer");
    // The first column's middle; the plot begins 106 + 28 points below the glass's upper edge, 190 points are 30 dB.
    const QPointF zero(margin + 14 + 38 + 22.5, margin + 106 + 28 + 95);
    const auto at = [&](double gain) { return (zero - QPointF(0, gain * 190 / 30)).toPoint(); };
    QTest::mousePress(&stage_->window(), Qt::LeftButton, {}, at(-5));
    QTest::mouseMove(&stage_->window(), at(-7.5));
    QTest::mouseMove(&stage_->window(), at(-20));
    QTest::mouseRelease(&stage_->window(), Qt::LeftButton, {}, at(-20));
    EXPECT_THAT(gains_, ElementsAre(Pair(0, -5), Pair(0, -7.5), Pair(0, -12)));
}

TEST_F(PanelViews, theWheelStepsABandAndThePreampByHalfADecibelANotch)
{
    open("equalizer");
    const QPointF band(margin + 14 + 38 + 22.5, margin + 106 + 28 + 95);
    const QPointF preamp(margin + 14 + 72 + 86, margin + 378 + 23);
    const double gain = stage_->viewState().snapshot().eqProfile.bands.front().gainDB;
    turnWheel(band, {0, 120});
    turnWheel(preamp, {0, -120});
    EXPECT_THAT(gains_, ElementsAre(Pair(0, gain + 0.5), Pair(-1, -3.5)));
}

TEST_F(PanelViews, aSmoothWheelStepsASliderOnceANotchAndASidewardsOneNever)
{
    open("equalizer");
    const QPointF preamp(margin + 14 + 72 + 86, margin + 378 + 23);
    turnWheel(preamp, {120, 0});
    for (int part = 0; part < 4; ++part)
        turnWheel(preamp, {0, 30});
    EXPECT_THAT(gains_, ElementsAre(Pair(-1, -2.5)));
}

TEST_F(PanelViews, aWheelThatIsSaidToHaveTurnedFarTurnsASliderByFourNotches)
{
    open("equalizer");
    const QPointF preamp(margin + 14 + 72 + 86, margin + 378 + 23);
    turnWheel(preamp, {0, 119});
    turnWheel(preamp, {0, std::numeric_limits<int>::max()});
    turnWheel(preamp, {0, std::numeric_limits<int>::min()});
    EXPECT_THAT(gains_, ElementsAre(Pair(-1, -1), Pair(-1, -4.5)));
}

TEST_F(PanelViews, thePreampTakesArrowKeys)
{
    open("equalizer");
    const auto isPreamp = [this] {
        const QQuickItem* item = stage_->window().activeFocusItem();
        return item && item->property("maximumValue").toInt() == 6;
    };
    for (int step = 0; step < 30 && !isPreamp(); ++step)
        key(Qt::Key_Tab);
    ASSERT_TRUE(isPreamp());
    key(Qt::Key_Right);
    key(Qt::Key_Left);
    EXPECT_THAT(gains_, ElementsAre(Pair(-1, -2.5), Pair(-1, -3.5)));
}

TEST_F(PanelViews, aNewMeterReadingTouchesNothingButTheMeters)
{
    open("equalizer");
    int others = 0;
    int meters = 0;
    const auto* model = stage_->root().property("panel").value<PanelModel*>();
    QObject::connect(model, &PanelModel::snapshotChanged, model, [&] { ++others; });
    QObject::connect(model, &PanelModel::profileChanged, model, [&] { ++others; });
    QObject::connect(model, &PanelModel::levelsChanged, model, [&] { ++meters; });
    replaceSnapshot(
        [](auto& state) { state.audioProcessing.levels = SoundLevelSnapshot(0.5, 0.5, 0.6, 0.6, false); }, "equalizer");
    EXPECT_EQ(meters, 1);
    EXPECT_EQ(others, 0);
}

TEST_F(PanelViews, aQuestionIsAnsweredByItsButtonsAndByEscape)
{
    open("dial-software");
    std::vector<int> answers;
    const auto ask = [&] {
        auto* question = new Question(
            "Reset equalizer?", "Text", {"Reset", "Cancel"}, [&](int button) { answers.push_back(button); });
        stage_->root().setProperty("question", QVariant::fromValue<QObject*>(question));
        return std::unique_ptr<Question>(question);
    };
    auto question = ask();
    clickControl("Cancel");
    stage_->root().setProperty("question", QVariant::fromValue<QObject*>(nullptr));
    question = ask();
    key(Qt::Key_Return);
    stage_->root().setProperty("question", QVariant::fromValue<QObject*>(nullptr));
    question = ask();
    key(Qt::Key_Escape);
    stage_->root().setProperty("question", QVariant::fromValue<QObject*>(nullptr));
    EXPECT_THAT(answers, ElementsAre(1, 0, 1));
    EXPECT_THAT(percents_, IsEmpty());
}

} // namespace
} // namespace quenstal
