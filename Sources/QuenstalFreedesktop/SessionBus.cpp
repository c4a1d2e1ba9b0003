#include "QuenstalFreedesktop/SessionBus.hpp"

#include <utility>

namespace quenstal {

namespace {

constexpr const char* addressVariable = "DBUS_SESSION_BUS_ADDRESS";

} // namespace

SessionBus::SessionBus()
    : connection_(QDBusConnection::sessionBus())
{
}

void SessionBus::appearAt(const QString& address)
{
    if (isThere())
        return;
    // The toolkit's own connection has failed for good.
    connection_ = QDBusConnection::connectToBus(address, QStringLiteral("quenstal"));
    if (isThere())
        emit appeared();
}

HiddenSessionBus::HiddenSessionBus()
    : hadAddress_(qEnvironmentVariableIsSet(addressVariable))
    , address_(qgetenv(addressVariable))
{
    qputenv(addressVariable, "unix:path=/nonexistent/silent");
}

HiddenSessionBus::~HiddenSessionBus()
{
    // The toolkit makes its connection only once: from here on it has failed for every caller.
    QDBusConnection::sessionBus();
    if (hadAddress_)
        qputenv(addressVariable, address_);
    else
        qunsetenv(addressVariable);
}

void SessionBus::whenThere(QObject* receiver, std::function<void()> task)
{
    if (isThere())
        task();
    else
        connect(this, &SessionBus::appeared, receiver, std::move(task));
}

} // namespace quenstal
