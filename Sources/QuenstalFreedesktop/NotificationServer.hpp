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

/// The desktop's notification server, and what has to be known about it before anything is sent. Main thread.
class NotificationServer : public QObject {
    Q_OBJECT

public:
    static constexpr const char* service = "org.freedesktop.Notifications";

    /// The bus outlives it.
    explicit NotificationServer(SessionBus& bus);

    /// Passes on plain text as the server expects it in the body of a notification: escaped where it reads markup. At
    /// once when that is known; otherwise the server is asked, which starts it, as soon as there is a bus.
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
    /// None until the running server has answered.
    std::optional<bool> readsMarkup_;
    std::vector<Waiting> waiting_;
};

} // namespace quenstal
