#include "QuenstalFreedesktop/NotificationServer.hpp"

#include <utility>

#include <QDBusConnection>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>

namespace quenstal {

namespace {

QString written(const QString& text, bool readsMarkup)
{
    return readsMarkup ? text.toHtmlEscaped() : text;
}

} // namespace

NotificationServer::NotificationServer()
    : watcher_(QLatin1String(service), QDBusConnection::sessionBus(), QDBusServiceWatcher::WatchForOwnerChange)
{
    connect(&watcher_, &QDBusServiceWatcher::serviceOwnerChanged, this, [this] { readsMarkup_.reset(); });
}

QDBusMessage NotificationServer::call(const char* method)
{
    return QDBusMessage::createMethodCall(QLatin1String(service), QStringLiteral("/org/freedesktop/Notifications"),
        QLatin1String(service), QLatin1String(method));
}

void NotificationServer::whenWritten(const QString& text, std::function<void(const QString& body)> use)
{
    if (readsMarkup_) {
        use(written(text, *readsMarkup_));
        return;
    }
    waiting_.push_back({text, std::move(use)});
    if (waiting_.size() == 1)
        ask();
}

void NotificationServer::notify(const QString& title, const QString& text)
{
    whenWritten(text, [title](const QString& body) {
        constexpr int untilClosed = 0;
        QDBusMessage notice = call("Notify");
        notice << QStringLiteral("Quenstal") << 0U << QStringLiteral("dialog-information") << title << body
               << QStringList() << QVariantMap() << untilClosed;
        QDBusConnection::sessionBus().asyncCall(notice);
    });
}

void NotificationServer::ask()
{
    const auto question = QDBusConnection::sessionBus().asyncCall(call("GetCapabilities"));
    auto* pending = new QDBusPendingCallWatcher(question, this);
    connect(pending, &QDBusPendingCallWatcher::finished, this, [this, pending] {
        pending->deleteLater();
        const QDBusPendingReply<QStringList> reply = *pending;
        answered(reply.isValid() ? std::optional(reply.value().contains(QLatin1String("body-markup"))) : std::nullopt);
    });
}

void NotificationServer::answered(std::optional<bool> readsMarkup)
{
    readsMarkup_ = readsMarkup;
    // One that does not tell may read it.
    const bool mayReadMarkup = readsMarkup.value_or(true);
    for (const Waiting& waiting : std::exchange(waiting_, {}))
        waiting.use(written(waiting.text, mayReadMarkup));
}

} // namespace quenstal
