#include "QuenstalFreedesktop/NotificationServer.hpp"

#include <utility>

#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>

namespace quenstal {

namespace {

QString written(const QString& text, bool readsMarkup)
{
    return readsMarkup ? text.toHtmlEscaped() : text;
}

} // namespace

NotificationServer::NotificationServer(SessionBus& bus)
    : bus_(bus)
{
    bus_.whenThere(this, [this] {
        watcher_.setConnection(bus_.connection());
        watcher_.setWatchMode(QDBusServiceWatcher::WatchForOwnerChange);
        watcher_.addWatchedService(QLatin1String(service));
    });
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
        bus_.whenThere(this, [this] { ask(); });
}

void NotificationServer::notify(const QString& title, const QString& text)
{
    whenWritten(text, [this, title](const QString& body) {
        constexpr int untilClosed = 0;
        QDBusMessage notice = call("Notify");
        notice << QStringLiteral("Quenstal") << 0U << QStringLiteral("dialog-information") << title << body
               << QStringList() << QVariantMap() << untilClosed;
        bus_.connection().asyncCall(notice);
    });
}

void NotificationServer::ask()
{
    const auto question = bus_.connection().asyncCall(call("GetCapabilities"));
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
    // A server that does not answer may read markup.
    const bool mayReadMarkup = readsMarkup.value_or(true);
    for (const Waiting& waiting : std::exchange(waiting_, {}))
        waiting.use(written(waiting.text, mayReadMarkup));
}

} // namespace quenstal
