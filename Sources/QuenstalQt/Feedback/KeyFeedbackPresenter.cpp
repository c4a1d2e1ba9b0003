#include "QuenstalQt/Feedback/KeyFeedbackPresenter.hpp"

#include "QuenstalQt/Desktop/Screens.hpp"
#include "QuenstalQt/Desktop/Views.hpp"
#include "QuenstalQt/Panel/CoreTexts.hpp"

#include <chrono>

#include <QDBusMessage>
#include <QGuiApplication>
#include <QScreen>

namespace quenstal {

namespace {

constexpr auto shownFor = std::chrono::milliseconds(1500);
constexpr int barWidth = 300;
constexpr int barHeight = 60;
constexpr int shadowMargin = 26;
/// Free space below the bar, in parts of the screen's height.
constexpr double below = 0.12;

bool isMuted(const KeyFeedback& feedback)
{
    return feedback.symbolName == "speaker.slash.fill";
}

const QString plasma = QStringLiteral("org.kde.plasmashell");

QDBusMessage callOfPlasma(const KeyFeedback& feedback)
{
    QDBusMessage call = QDBusMessage::createMethodCall(plasma, QStringLiteral("/org/kde/osdService"),
        QStringLiteral("org.kde.osdService"),
        feedback.percent ? QStringLiteral("volumeChanged") : QStringLiteral("showText"));
    if (feedback.percent)
        call << (isMuted(feedback) ? 0 : *feedback.percent);
    else
        call << QStringLiteral("audio-volume-muted") << shownText(feedback.text);
    return call;
}

/// The number of the last bubble and the hints make one bubble of all of them, with a bar for the level.
QDBusMessage callOfNotifications(const KeyFeedback& feedback, const QDBusMessage& lastAnswer, const QString& body)
{
    QVariantMap hints{{QStringLiteral("x-canonical-private-synchronous"), QStringLiteral("volume")},
        {QStringLiteral("transient"), true}};
    if (feedback.percent)
        hints.insert(QStringLiteral("value"), *feedback.percent);
    QDBusMessage call = NotificationServer::call("Notify");
    call << QStringLiteral("Quenstal") << lastAnswer.arguments().value(0).toUInt()
         << (isMuted(feedback) ? QStringLiteral("audio-volume-muted") : QStringLiteral("audio-volume-high"))
         << (feedback.percent ? shownText(feedback.title) : QStringLiteral("Quenstal")) << body << QStringList()
         << hints << static_cast<int>(shownFor.count());
    return call;
}

} // namespace

KeyFeedbackPresenter::KeyFeedbackPresenter(WindowSystem* windowSystem, NotificationServer& notificationServer)
    : windowSystem_(windowSystem)
    , plasma_(plasma, FeedbackService::Presence::onlyIfRunning,
          [](const auto& feedback, const QDBusMessage&, const auto& send) { send(callOfPlasma(feedback)); })
    , notifications_(QLatin1String(NotificationServer::service), FeedbackService::Presence::startedByCall,
          [&notificationServer](const auto& feedback, const QDBusMessage& lastAnswer, const auto& send) {
              notificationServer.whenWritten(shownText(feedback.text),
                  [=](const QString& body) { send(callOfNotifications(feedback, lastAnswer, body)); });
          })
{
    hide_.setSingleShot(true);
    connect(&hide_, &QTimer::timeout, this, [this] { window_->hide(); });
    connect(&plasma_, &FeedbackService::missed, this, &KeyFeedbackPresenter::showOtherwise);
}

KeyFeedbackPresenter::~KeyFeedbackPresenter() = default;

void KeyFeedbackPresenter::show(const KeyFeedback& feedback)
{
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
    bar_->setProperty("title", shownText(feedback.title));
    bar_->setProperty("text", shownText(feedback.text));
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
    hide_.start(shownFor);
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
