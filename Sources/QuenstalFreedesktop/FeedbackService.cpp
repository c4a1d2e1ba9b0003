#include "QuenstalFreedesktop/FeedbackService.hpp"

#include <chrono>
#include <utility>

#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>

namespace quenstal {

namespace {

/// Feedback for a key must appear within this time. A service that takes longer is skipped until it answers.
constexpr auto patience = std::chrono::milliseconds(250);

} // namespace

FeedbackService::FeedbackService(SessionBus& bus, const QString& name, Presence presence, MakeCall makeCall)
    : bus_(bus)
    , makeCall_(std::move(makeCall))
{
    patience_.setSingleShot(true);
    connect(&patience_, &QTimer::timeout, this, &FeedbackService::beLate);
    connect(&watcher_, &QDBusServiceWatcher::serviceRegistered, this, [this] {
        isThere_ = true;
        lastAnswer_ = {};
    });
    connect(&watcher_, &QDBusServiceWatcher::serviceUnregistered, this,
        [this, presence] { isThere_ = presence == Presence::startedByCall; });
    bus_.whenThere(this, [this, name, presence] { lookFor(name, presence); });
}

void FeedbackService::lookFor(const QString& name, Presence presence)
{
    isThere_ = presence == Presence::startedByCall;
    watcher_.setConnection(bus_.connection());
    watcher_.setWatchMode(QDBusServiceWatcher::WatchForOwnerChange);
    watcher_.addWatchedService(name);
    if (presence == Presence::onlyIfRunning)
        askWhetherItRuns(name);
}

void FeedbackService::askWhetherItRuns(const QString& name)
{
    QDBusMessage call = QDBusMessage::createMethodCall(QStringLiteral("org.freedesktop.DBus"),
        QStringLiteral("/org/freedesktop/DBus"), QStringLiteral("org.freedesktop.DBus"),
        QStringLiteral("NameHasOwner"));
    call << name;
    auto* pending = new QDBusPendingCallWatcher(bus_.connection().asyncCall(call), this);
    connect(pending, &QDBusPendingCallWatcher::finished, this, [this, pending] {
        pending->deleteLater();
        const QDBusPendingReply<bool> reply = *pending;
        if (reply.isValid() && reply.value())
            isThere_ = true;
    });
}

void FeedbackService::show(const KeyFeedback& feedback)
{
    if (asked_)
        next_ = feedback;
    else
        send(feedback);
}

void FeedbackService::send(const KeyFeedback& feedback)
{
    asked_ = feedback;
    patience_.start(patience);
    makeCall_(feedback, lastAnswer_, [this](const QDBusMessage& call) { sendCall(call); });
}

void FeedbackService::sendCall(const QDBusMessage& call)
{
    auto* pending = new QDBusPendingCallWatcher(bus_.connection().asyncCall(call), this);
    connect(pending, &QDBusPendingCallWatcher::finished, this, [this, pending] {
        pending->deleteLater();
        answered(pending->reply());
    });
}

void FeedbackService::answered(const QDBusMessage& answer)
{
    patience_.stop();
    const bool wasLate = std::exchange(isLate_, false);
    if (answer.type() == QDBusMessage::ErrorMessage) {
        // Until it appears again.
        isThere_ = false;
        if (!wasLate)
            miss();
        asked_.reset();
        return;
    }
    lastAnswer_ = answer;
    asked_.reset();
    if (const auto next = std::exchange(next_, std::nullopt))
        send(*next);
}

void FeedbackService::beLate()
{
    isLate_ = true;
    miss();
}

/// Only the newest value is to be shown elsewhere.
void FeedbackService::miss()
{
    const std::optional<KeyFeedback> next = std::exchange(next_, std::nullopt);
    emit missed(next ? *next : *asked_);
}

} // namespace quenstal
