#include "QuenstalQt/Desktop/SingleInstance.hpp"

#include <chrono>

#include <QDBusConnection>
#include <QDBusMessage>

namespace quenstal {

namespace {

const QString name = QStringLiteral("app.quenstal.Quenstal");
const QString path = QStringLiteral("/app/quenstal/Quenstal");

/// A first program that hangs must not make the second one hang.
constexpr auto patience = std::chrono::seconds(2);

void tellFirst(const QDBusConnection& bus)
{
    QDBusMessage call = QDBusMessage::createMethodCall(
        name, path, QStringLiteral("org.freedesktop.Application"), QStringLiteral("Activate"));
    call << QVariantMap();
    bus.call(call, QDBus::Block, static_cast<int>(std::chrono::milliseconds(patience).count()));
}

} // namespace

SingleInstance::SingleInstance()
{
    QDBusConnection bus = QDBusConnection::sessionBus();
    if (!bus.isConnected())
        return;
    bus.registerObject(path, this, QDBusConnection::ExportScriptableSlots);
    isFirst_ = bus.registerService(name);
    if (!isFirst_)
        tellFirst(bus);
}

SingleInstance::~SingleInstance()
{
    QDBusConnection bus = QDBusConnection::sessionBus();
    bus.unregisterObject(path);
    if (isFirst_)
        bus.unregisterService(name);
}

void SingleInstance::Activate(const QVariantMap&)
{
    if (onSecondStart)
        onSecondStart();
}

} // namespace quenstal
