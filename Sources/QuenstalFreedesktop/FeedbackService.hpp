#pragma once

#include "QuenstalFreedesktop/SessionBus.hpp"
#include "QuenstalPlatform/Desktop.hpp"

#include <functional>
#include <optional>

#include <QDBusMessage>
#include <QDBusServiceWatcher>
#include <QObject>
#include <QString>
#include <QTimer>

namespace quenstal {

/// Key feedback by a desktop service. Only one call is pending at a time, and of the values that arrive meanwhile only
/// the last is sent: a held key never queues, however slow the service is. Main thread.
class FeedbackService : public QObject {
    Q_OBJECT

public:
    using Send = std::function<void(const QDBusMessage& call)>;
    /// Sends the call that shows a value, once, now or later. It may replace the one that the last answer named.
    using MakeCall = std::function<void(const KeyFeedback& feedback, const QDBusMessage& lastAnswer, Send send)>;
    /// A service that is started by its first call need not run yet.
    enum class Presence { onlyIfRunning, startedByCall };

    /// The bus outlives it.
    FeedbackService(SessionBus& bus, const QString& name, Presence presence, MakeCall makeCall);

    /// False while there is no service, and while it does not answer a call.
    bool isResponsive() const { return isThere_ && !isLate_; }
    void show(const KeyFeedback& feedback);

signals:
    /// The service did not show this value and is no longer responsive.
    void missed(const quenstal::KeyFeedback& feedback);

private:
    void lookFor(const QString& name, Presence presence);
    void askWhetherItRuns(const QString& name);
    void send(const KeyFeedback& feedback);
    void sendCall(const QDBusMessage& call);
    void answered(const QDBusMessage& answer);
    void beLate();
    void miss();

    SessionBus& bus_;
    MakeCall makeCall_;
    QDBusServiceWatcher watcher_;
    QTimer patience_;
    bool isThere_ = false;
    bool isLate_ = false;
    /// The value in the call that the service has not answered yet.
    std::optional<KeyFeedback> asked_;
    std::optional<KeyFeedback> next_;
    QDBusMessage lastAnswer_;
};

} // namespace quenstal
