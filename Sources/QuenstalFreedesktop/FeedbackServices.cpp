#include "QuenstalFreedesktop/FeedbackServices.hpp"

namespace quenstal {

namespace {

const QString plasma = QStringLiteral("org.kde.plasmashell");

QDBusMessage callOfPlasma(const KeyFeedback& feedback)
{
    QDBusMessage call = QDBusMessage::createMethodCall(plasma, QStringLiteral("/org/kde/osdService"),
        QStringLiteral("org.kde.osdService"),
        feedback.percent ? QStringLiteral("volumeChanged") : QStringLiteral("showText"));
    if (feedback.percent)
        call << (isMuted(feedback) ? 0 : *feedback.percent);
    else
        call << QStringLiteral("audio-volume-muted") << QString::fromStdString(feedback.text);
    return call;
}

/// With the last notification's number and the hints, all values share one notification with a bar for the level.
QDBusMessage callOfNotifications(const KeyFeedback& feedback, const QDBusMessage& lastAnswer, const QString& body)
{
    QVariantMap hints{{QStringLiteral("x-canonical-private-synchronous"), QStringLiteral("volume")},
        {QStringLiteral("transient"), true}};
    if (feedback.percent)
        hints.insert(QStringLiteral("value"), *feedback.percent);
    QDBusMessage call = NotificationServer::call("Notify");
    call << QStringLiteral("Quenstal") << lastAnswer.arguments().value(0).toUInt()
         << (isMuted(feedback) ? QStringLiteral("audio-volume-muted") : QStringLiteral("audio-volume-high"))
         << (feedback.percent ? QString::fromStdString(feedback.title) : QStringLiteral("Quenstal")) << body
         << QStringList() << hints << static_cast<int>(keyFeedbackTime.count());
    return call;
}

} // namespace

bool isMuted(const KeyFeedback& feedback)
{
    return feedback.symbolName == "speaker.slash.fill";
}

PlasmaFeedback::PlasmaFeedback(SessionBus& bus)
    : FeedbackService(bus, plasma, Presence::onlyIfRunning,
        [](const KeyFeedback& feedback, const QDBusMessage&, const Send& send) { send(callOfPlasma(feedback)); })
{
}

NotificationFeedback::NotificationFeedback(SessionBus& bus, NotificationServer& server)
    : FeedbackService(bus, QLatin1String(NotificationServer::service), Presence::startedByCall,
        [&server](const KeyFeedback& feedback, const QDBusMessage& lastAnswer, const Send& send) {
            server.whenWritten(QString::fromStdString(feedback.text),
                [=](const QString& body) { send(callOfNotifications(feedback, lastAnswer, body)); });
        })
{
}

} // namespace quenstal
