#include "QuenstalQt/Feedback/KeyFeedbackPresenter.hpp"

#include "QuenstalQt/Desktop/Screens.hpp"
#include "QuenstalQt/Desktop/Views.hpp"
#include "QuenstalQt/Panel/CoreTexts.hpp"

#include <QGuiApplication>
#include <QScreen>

namespace quenstal {

namespace {

constexpr int barWidth = 300;
constexpr int barHeight = 60;
constexpr int shadowMargin = 26;
/// Free space below the bar, in parts of the screen's height.
constexpr double below = 0.12;

} // namespace

KeyFeedbackPresenter::KeyFeedbackPresenter(
    WindowSystem* windowSystem, SessionBus& bus, NotificationServer& notificationServer)
    : windowSystem_(windowSystem)
    , plasma_(bus)
    , notifications_(bus, notificationServer)
{
    hide_.setSingleShot(true);
    connect(&hide_, &QTimer::timeout, this, [this] { window_->hide(); });
    connect(&plasma_, &FeedbackService::missed, this, &KeyFeedbackPresenter::showOtherwise);
}

KeyFeedbackPresenter::~KeyFeedbackPresenter() = default;

void KeyFeedbackPresenter::show(const KeyFeedback& english)
{
    KeyFeedback feedback = english;
    feedback.title = shownText(english.title).toStdString();
    feedback.text = shownText(english.text).toStdString();
    if (!plasma_.isResponsive()) {
        showOtherwise(feedback);
        return;
    }
    // Never two displays of the same.
    if (window_)
        window_->hide();
    plasma_.show(feedback);
}

void KeyFeedbackPresenter::showOtherwise(const KeyFeedback& feedback)
{
    if (windowSystem_)
        showBar(feedback);
    else if (notifications_.isResponsive())
        notifications_.show(feedback);
}

void KeyFeedbackPresenter::showBar(const KeyFeedback& feedback)
{
    if (!canShowWindows())
        return;
    if (!bar_)
        loadBar();
    bar_->setProperty("symbol", QString::fromStdString(feedback.symbolName));
    bar_->setProperty("title", QString::fromStdString(feedback.title));
    bar_->setProperty("text", QString::fromStdString(feedback.text));
    bar_->setProperty("percent", feedback.percent.value_or(-1));
    bar_->setProperty("muted", isMuted(feedback));
    if (!window_->isVisible()) {
        const bool isComposited = windowSystem_->isCompositing();
        const int margin = isComposited ? shadowMargin : 0;
        bar_->setProperty("margin", margin);
        bar_->setProperty("translucent", isComposited);
        const QRect screen = QGuiApplication::primaryScreen()->availableGeometry();
        const QPoint place(screen.center().x() - barWidth / 2,
            screen.bottom() - barHeight - static_cast<int>(screen.height() * below));
        window_->setGeometry(QRect(place, QSize(barWidth, barHeight)).adjusted(-margin, -margin, margin, margin));
        bar_->setSize(window_->size());
        window_->show();
    }
    hide_.start(keyFeedbackTime);
}

void KeyFeedbackPresenter::loadBar()
{
    window_ = std::make_unique<QQuickWindow>();
    window_->setFlags(Qt::ToolTip | Qt::FramelessWindowHint | Qt::WindowStaysOnTopHint | Qt::WindowDoesNotAcceptFocus
        | Qt::WindowTransparentForInput | Qt::X11BypassWindowManagerHint);
    window_->setColor(Qt::transparent);
    window_->setTitle(QStringLiteral("Quenstal volume"));
    engine_ = std::make_unique<QQmlEngine>();
    bar_ = createView(*engine_, "KeyFeedback", {});
    bar_->setParentItem(window_->contentItem());
}

} // namespace quenstal
