#pragma once

#include "QuenstalFreedesktop/SessionBus.hpp"

#include <functional>
#include <optional>
#include <vector>

#include <QDBusMessage>
#include <QDBusServiceWatcher>
#include <QObject>
#include <QString>

namespace quenstal {

/// The desktop's notification server, as far as it has to be known before it is told anything. Main thread.
class NotificationServer : public QObject {
    Q_OBJECT

public:
    static constexpr const char* service = "org.freedesktop.Notifications";

    /// The bus outlives it.
    explicit NotificationServer(SessionBus& bus);

    /// Hands over a plain text as the server takes it for the body of a notification: escaped where it reads markup. At
    /// once when that is known; else it is asked, which starts it, as soon as there is a bus.
    void whenWritten(const QString& text, std::function<void(const QString& body)> use);

    /// Shows a text to be read and closed.
    void notify(const QString& title, const QString& text);

    /// A call to the server without its arguments.
    static QDBusMessage call(const char* method);

private:
    void ask();
    void answered(std::optional<bool> readsMarkup);

    struct Waiting {
        QString text;
        std::function<void(const QString&)> use;
    };

    SessionBus& bus_;
    QDBusServiceWatcher watcher_;
    /// None until the one that runs has told.
    std::optional<bool> readsMarkup_;
    std::vector<Waiting> waiting_;
};

} // namespace quenstal
