#include "QuenstalQt/Feedback/KeyFeedbackPresenter.hpp"

#include "QuenstalQt/Desktop/Views.hpp"
#include "QuenstalQt/Panel/PanelModel.hpp"

#include <chrono>

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusPendingCall>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
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

const QString plasma = QStringLiteral("org.kde.plasmashell");
const QString notifications = QStringLiteral("org.freedesktop.Notifications");

QString text(const std::string& text)
{
    return PanelModel::shown(text);
}

} // namespace

KeyFeedbackPresenter::KeyFeedbackPresenter(WindowSystem* windowSystem)
    : windowSystem_(windowSystem)
{
    hide_.setSingleShot(true);
    connect(&hide_, &QTimer::timeout, this, [this] { window_->hide(); });
    chooseService();
}

KeyFeedbackPresenter::~KeyFeedbackPresenter() = default;

void KeyFeedbackPresenter::chooseService()
{
    if (!windowSystem_)
        service_ = Service::notifications;
    QDBusMessage call = QDBusMessage::createMethodCall(QStringLiteral("org.freedesktop.DBus"),
        QStringLiteral("/org/freedesktop/DBus"), QStringLiteral("org.freedesktop.DBus"),
        QStringLiteral("NameHasOwner"));
    call << plasma;
    auto* pending = new QDBusPendingCallWatcher(QDBusConnection::sessionBus().asyncCall(call), this);
    connect(pending, &QDBusPendingCallWatcher::finished, this, [this, pending] {
        pending->deleteLater();
        const QDBusPendingReply<bool> reply = *pending;
        if (reply.isValid() && reply.value())
            service_ = Service::plasma;
    });
}

void KeyFeedbackPresenter::show(const KeyFeedback& feedback)
{
    switch (service_) {
    case Service::plasma:
        showOnPlasma(feedback);
        break;
    case Service::notifications:
        showAsNotification(feedback);
        break;
    case Service::none:
        showBar(feedback);
        break;
    }
}

void KeyFeedbackPresenter::showOnPlasma(const KeyFeedback& feedback)
{
    QDBusMessage call = QDBusMessage::createMethodCall(plasma, QStringLiteral("/org/kde/osdService"),
        QStringLiteral("org.kde.osdService"),
        feedback.percent ? QStringLiteral("volumeChanged") : QStringLiteral("showText"));
    const bool isMuted = feedback.symbolName == "speaker.slash.fill";
    if (feedback.percent)
        call << (isMuted ? 0 : *feedback.percent);
    else
        call << QStringLiteral("audio-volume-muted") << text(feedback.text);
    QDBusConnection::sessionBus().asyncCall(call);
}

/// The hints make one bubble of all of them, with a bar for the level.
void KeyFeedbackPresenter::showAsNotification(const KeyFeedback& feedback)
{
    QVariantMap hints{{QStringLiteral("x-canonical-private-synchronous"), QStringLiteral("volume")},
        {QStringLiteral("transient"), true}};
    if (feedback.percent)
        hints.insert(QStringLiteral("value"), *feedback.percent);
    const bool isMuted = feedback.symbolName == "speaker.slash.fill";
    QDBusMessage call = QDBusMessage::createMethodCall(
        notifications, QStringLiteral("/org/freedesktop/Notifications"), notifications, QStringLiteral("Notify"));
    call << QStringLiteral("Quenstal") << notification_
         << (isMuted ? QStringLiteral("audio-volume-muted") : QStringLiteral("audio-volume-high"))
         << (feedback.percent ? text(feedback.title) : QStringLiteral("Quenstal")) << text(feedback.text)
         << QStringList() << hints << static_cast<int>(shownFor.count());
    auto* pending = new QDBusPendingCallWatcher(QDBusConnection::sessionBus().asyncCall(call), this);
    connect(pending, &QDBusPendingCallWatcher::finished, this, [this, pending] {
        pending->deleteLater();
        const QDBusPendingReply<unsigned int> reply = *pending;
        if (reply.isValid())
            notification_ = reply.value();
    });
}

void KeyFeedbackPresenter::showBar(const KeyFeedback& feedback)
{
    if (!bar_)
        loadBar();
    bar_->setProperty("symbol", QString::fromStdString(feedback.symbolName));
    bar_->setProperty("title", text(feedback.title));
    bar_->setProperty("text", text(feedback.text));
    bar_->setProperty("percent", feedback.percent.value_or(-1));
    bar_->setProperty("muted", feedback.symbolName == "speaker.slash.fill");
    if (!window_->isVisible()) {
        const bool isComposited = !windowSystem_ || windowSystem_->isCompositing();
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
