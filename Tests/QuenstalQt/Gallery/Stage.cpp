#include "Gallery/Stage.hpp"

#include "QuenstalApp/StatusMenuController/PanelGeometry.hpp"
#include "QuenstalQt/Desktop/Views.hpp"
#include "QuenstalQt/Panel/CoreTexts.hpp"

#include <algorithm>
#include <cstdlib>

#include <QGuiApplication>

namespace quenstal::gallery {

namespace {

QImage pictureOn(QQuickWindow& window, const QColor& background)
{
    window.setColor(background);
    return window.grabWindow().convertToFormat(QImage::Format_RGB32);
}

/// A window without a screen has no transparency of its own: it follows from the pictures on black and on white.
QImage transparentPicture(QQuickWindow& window)
{
    const QImage onBlack = pictureOn(window, Qt::black);
    const QImage onWhite = pictureOn(window, Qt::white);
    QImage picture(onBlack.size(), QImage::Format_ARGB32_Premultiplied);
    picture.setDevicePixelRatio(onBlack.devicePixelRatio());
    for (int y = 0; y < picture.height(); ++y) {
        for (int x = 0; x < picture.width(); ++x) {
            const QRgb black = onBlack.pixel(x, y);
            const int alpha = 255 - std::clamp(qGreen(onWhite.pixel(x, y)) - qGreen(black), 0, 255);
            const auto limited = [alpha](int channel) { return std::min(channel, alpha); };
            picture.setPixel(x, y, qRgba(limited(qRed(black)), limited(qGreen(black)), limited(qBlue(black)), alpha));
        }
    }
    return picture.convertToFormat(QImage::Format_ARGB32);
}

} // namespace

void prepareEnvironment(double scale)
{
    qputenv("QT_QPA_PLATFORM", "offscreen");
    qputenv("QT_SCALE_FACTOR", QByteArray::number(scale));
    qputenv("QT_QUICK_BACKEND", "software");
    qputenv("FONTCONFIG_FILE", QUENSTAL_TEST_FONTS);
}

Stage::Stage(QQmlEngine& engine, const Scene& scene)
    : margin_(scene.hasCompositor ? shadowMargin : 0)
    , viewState_(GlassDialSnapshot(scene.state), SetupGuideSnapshot(scene.state))
    , model_(viewState_)
{
    viewState_.setPermissionNeeds(permissionNeeds(scene.state));
    if (scene.arrange)
        scene.arrange(viewState_);
    model_.setMotion(false);
    model_.setKeyboardInUse(scene.showsFocus);
    if (scene.alert) {
        QStringList buttons;
        for (const std::string& button : scene.alert->buttons)
            buttons << shownText(button);
        question_ = std::make_unique<Question>(
            shownText(scene.alert->message), shownText(scene.alert->informativeText), buttons, nullptr);
    }
    root_ = createView(engine, "PanelRoot",
        {{"panel", QVariant::fromValue(&model_)}, {"margin", margin_}, {"translucent", scene.hasCompositor},
            {"question", QVariant::fromValue<QObject*>(question_.get())}});
    window_.resize(size());
    root_->setParentItem(window_.contentItem());
    root_->setSize(window_.size());
    window_.show();
    if (scene.showsFocus) {
        if (auto* dial = root_->findChild<QQuickItem*>("dial"))
            dial->forceActiveFocus(Qt::TabFocusReason);
    }
    QGuiApplication::processEvents();
}

Stage::~Stage() = default;

QSize Stage::size() const
{
    const Size glass = PanelGeometry::windowSize(viewState_.screen(), viewState_.snapshot());
    return {qRound(glass.width) + 2 * margin_, qRound(glass.height) + 2 * margin_};
}

QImage Stage::picture()
{
    return transparentPicture(window_);
}

FeedbackStage::FeedbackStage(QQmlEngine& engine, const KeyFeedback& feedback)
    : root_(createView(engine, "KeyFeedback",
        {{"margin", shadowMargin}, {"symbol", QString::fromStdString(feedback.symbolName)},
            {"title", shownText(feedback.title)}, {"text", shownText(feedback.text)},
            {"percent", feedback.percent.value_or(-1)}, {"muted", feedback.symbolName == "speaker.slash.fill"}}))
{
    window_.resize(300 + 2 * shadowMargin, 60 + 2 * shadowMargin);
    root_->setParentItem(window_.contentItem());
    root_->setSize(window_.size());
    window_.show();
    QGuiApplication::processEvents();
}

QImage FeedbackStage::picture()
{
    return transparentPicture(window_);
}

} // namespace quenstal::gallery
