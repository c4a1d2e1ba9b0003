#pragma once

#include <functional>

#include <QByteArray>
#include <QDBusConnection>
#include <QObject>
#include <QString>

namespace quenstal {

/// The session's message bus for the parts that talk to the desktop. A bus that does not greet at the start may do so
/// later; until then there is none, and nothing waits for it. Main thread.
class SessionBus : public QObject {
    Q_OBJECT

public:
    SessionBus();

    bool isThere() const { return connection_.isConnected(); }
    const QDBusConnection& connection() const { return connection_; }
    /// The bus has greeted only now, at this address.
    void appearAt(const QString& address);
    /// Runs the task now, or as soon as the bus is there while the receiver lives.
    void whenThere(QObject* receiver, std::function<void()> task);

signals:
    void appeared();

private:
    QDBusConnection connection_;
};

/// While this lives, the toolkit finds no session bus, and it does not look for one afterwards: it would wait for a
/// silent one. To be destroyed once the application object exists.
class HiddenSessionBus {
public:
    HiddenSessionBus();
    HiddenSessionBus(const HiddenSessionBus&) = delete;
    HiddenSessionBus& operator=(const HiddenSessionBus&) = delete;
    ~HiddenSessionBus();

private:
    bool hadAddress_;
    QByteArray address_;
};

} // namespace quenstal
