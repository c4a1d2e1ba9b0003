#include "QuenstalQt/Panel/PanelModel.hpp"

#include "QuenstalQt/Panel/EqualizerPlot.hpp"
#include "QuenstalQt/Panel/MonitorAdvice.hpp"

#include <algorithm>

#include <QCoreApplication>

namespace quenstal {

namespace {

using Property = GlassDialViewState::Property;

constexpr std::string_view outputSummarySeparator = " - ";

QString fromView(std::string_view text)
{
    return QString::fromUtf8(text.data(), static_cast<qsizetype>(text.size()));
}

/// What the equalizer screen draws, apart from the meters.
bool sameExceptLevels(GlassDialSnapshot left, const GlassDialSnapshot& right)
{
    left.eqLevels = right.eqLevels;
    return left == right;
}

} // namespace

PanelModel::PanelModel(GlassDialViewState& state, QObject* parent)
    : QObject(parent)
    , state_(state)
    , announced_(state.snapshot())
{
    state_.addObserver(*this);
}

PanelModel::~PanelModel()
{
    state_.removeObserver(*this);
}

void PanelModel::propertyWillChange(Property property)
{
    if (property == Property::snapshot)
        announced_ = state_.snapshot();
}

void PanelModel::propertyDidChange(Property property)
{
    switch (property) {
    case Property::snapshot:
        announceSnapshot();
        break;
    case Property::setupSnapshot:
    case Property::permissionNeeds:
        emit setupChanged();
        break;
    case Property::screen:
        emit screenChanged();
        break;
    case Property::showsMoreActions:
        emit moreActionsChanged();
        break;
    case Property::mediaKeyCaptureActive:
    case Property::lastMediaKeyCaptureDescription:
    case Property::captureAdvice:
        emit captureChanged();
        break;
    case Property::monitorProblems:
        emit monitorAdviceChanged();
        break;
    case Property::focusedEQBandID:
        emit focusedBandChanged();
        break;
    }
}

/// Ten times a second only the meters move: nothing else is evaluated then.
void PanelModel::announceSnapshot()
{
    if (announced_.eqLevels != snapshot().eqLevels)
        emit levelsChanged();
    if (announced_.eqProfile != snapshot().eqProfile)
        emit profileChanged();
    if (!sameExceptLevels(announced_, snapshot()))
        emit snapshotChanged();
}

QString PanelModel::outputName() const
{
    return shownText(snapshot().outputName);
}

QString PanelModel::modeKind() const
{
    switch (snapshot().modeKind) {
    case GlassDialModeKind::software:
        return QStringLiteral("software");
    case GlassDialModeKind::hardware:
        return QStringLiteral("hardware");
    case GlassDialModeKind::system:
        return QStringLiteral("system");
    case GlassDialModeKind::disabled:
        return QStringLiteral("disabled");
    case GlassDialModeKind::unavailable:
        break;
    }
    return QStringLiteral("unavailable");
}

QString PanelModel::eqUnavailableReason() const
{
    return shownText(snapshot().eqUnavailableReason);
}

QStringList PanelModel::presetNames()
{
    QStringList names;
    for (const EQPresetName preset : allCases<EQPresetName>())
        names << shownText(std::string(displayName(preset)));
    return names;
}

int PanelModel::presetIndex() const
{
    constexpr auto presets = allCases<EQPresetName>();
    const auto found = std::ranges::find(presets, snapshot().eqProfile.preset);
    return static_cast<int>(found - presets.begin());
}

QList<int> PanelModel::bandIDs() const
{
    QList<int> ids;
    for (const EQBand& band : snapshot().eqProfile.bands)
        ids << static_cast<int>(band.id);
    return ids;
}

QStringList PanelModel::bandHertz() const
{
    QStringList hertz;
    for (const EQBand& band : snapshot().eqProfile.bands)
        hertz << QString::fromStdString(band.hzLabel());
    return hertz;
}

QStringList PanelModel::bandLabels() const
{
    QStringList labels;
    for (const EQBand& band : snapshot().eqProfile.bands)
        labels << shownText(band.label);
    return labels;
}

QList<qreal> PanelModel::bandGains() const
{
    QList<qreal> gains;
    for (const EQBand& band : snapshot().eqProfile.bands)
        gains << band.gainDB;
    return gains;
}

QList<qreal> PanelModel::response() const
{
    return plottedResponse(snapshot().eqProfile);
}

qreal PanelModel::levelL() const
{
    return meterPosition(snapshot().eqLevels.levelL);
}

qreal PanelModel::levelR() const
{
    return meterPosition(snapshot().eqLevels.levelR);
}

qreal PanelModel::peakL() const
{
    return meterPosition(snapshot().eqLevels.peakL);
}

qreal PanelModel::peakR() const
{
    return meterPosition(snapshot().eqLevels.peakR);
}

/// The output's name is the user's, the mode after it a text of ours.
QString PanelModel::outputSummary() const
{
    const std::string& summary = setup().outputSummary;
    const std::size_t split = summary.rfind(outputSummarySeparator);
    if (split == std::string::npos)
        return shownText(summary);
    return shownText(summary.substr(0, split)) + fromView(outputSummarySeparator)
        + shownText(summary.substr(split + outputSummarySeparator.size()));
}

bool PanelModel::hasCapturedKey() const
{
    return state_.lastMediaKeyCaptureDescription() != noMediaKeyCapturedDescription;
}

/// "F11 volume down at 14:03:27": the key is a text of ours, the time is not.
QString PanelModel::lastCapture() const
{
    constexpr std::string_view separator = " at ";
    const std::string& description = state_.lastMediaKeyCaptureDescription();
    const std::size_t split = description.rfind(separator);
    if (split == std::string::npos)
        return shownText(description);
    //: %1 is a key, %2 the time of day
    return QCoreApplication::translate("Core", "%1 at %2")
        .arg(shownText(description.substr(0, split)),
            QString::fromStdString(description.substr(split + separator.size())));
}

QString PanelModel::monitorAdvice() const
{
    return quenstal::monitorAdvice(state_.monitorProblems());
}

QString PanelModel::screen() const
{
    switch (state_.screen()) {
    case GlassDialViewState::Screen::setup:
        return QStringLiteral("setup");
    case GlassDialViewState::Screen::equalizer:
        return QStringLiteral("equalizer");
    case GlassDialViewState::Screen::dial:
        break;
    }
    return QStringLiteral("dial");
}

void PanelModel::setMotion(bool motion)
{
    if (motion_ == motion)
        return;
    motion_ = motion;
    emit motionChanged();
}

void PanelModel::setKeyboardInUse(bool inUse)
{
    if (keyboardInUse_ == inUse)
        return;
    keyboardInUse_ = inUse;
    emit keyboardInUseChanged();
}

GlassArcDial PanelModel::dial()
{
    GlassArcDial dial;
    dial.volume = {
        [this] { return snapshot().levelPercent; }, [this](std::int64_t percent) { state_.setVolumePercent(percent); }};
    dial.muted = snapshot().isMuted;
    dial.enabled = snapshot().isEnabled;
    dial.controllable = snapshot().isControllable;
    dial.hardware = snapshot().modeKind == GlassDialModeKind::hardware;
    return dial;
}

void PanelModel::pressDial(qreal x, qreal y)
{
    gesture_.press(dial(), {x, y});
}

void PanelModel::moveOnDial(qreal x, qreal y)
{
    gesture_.move(dial(), {x, y});
}

void PanelModel::releaseDial()
{
    gesture_.release();
}

void PanelModel::stepDial(bool up)
{
    dial().adjust(up ? AccessibilityAdjustment::increment : AccessibilityAdjustment::decrement);
}

void PanelModel::setVolumePercent(int percent)
{
    dial().setPercent(percent);
}

void PanelModel::scrollDial(int notches)
{
    const std::int64_t percent = snapshot().levelPercent + notches * GlassArcDial::adjustmentStep;
    dial().setPercent(std::clamp<std::int64_t>(percent, 0, 100));
}

void PanelModel::refreshOutput()
{
    state_.hideMoreActions();
    state_.refreshOutput();
}

void PanelModel::audioCaptureAction()
{
    if (snapshot().eqCanSwitchToSoftware)
        state_.switchToSoftwareProcessing();
    else
        state_.openAudioSettings();
}

} // namespace quenstal
