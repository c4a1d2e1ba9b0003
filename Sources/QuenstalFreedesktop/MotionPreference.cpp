#include "QuenstalFreedesktop/MotionPreference.hpp"

#include <array>

#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>

namespace quenstal {

namespace {

const QString service = QStringLiteral("org.freedesktop.portal.Desktop");
const QString path = QStringLiteral("/org/freedesktop/portal/desktop");
const QString interface = QStringLiteral("org.freedesktop.portal.Settings");
/// Where each desktop stores the preference.
struct Wish {
    const char* area;
    const char* key;
    bool (*isForLess)(const QVariant& value);
};

constexpr std::array<Wish, MotionPreference::wishCount> wishes{{
    {"org.freedesktop.appearance", "reduced-motion", [](const QVariant& value) { return value.toULongLong() == 1; }},
    {"org.gnome.desktop.interface", "enable-animations",
        [](const QVariant& value) { return value.typeId() == QMetaType::Bool && !value.toBool(); }},
    // A factor for the duration of animations, as text.
    {"org.kde.kdeglobals.KDE", "AnimationDurationFactor",
        [](const QVariant& value) {
            bool isNumber = false;
            return value.toDouble(&isNumber) == 0 && isNumber;
        }},
}};

/// Answers are wrapped once or twice.
QVariant unwrapped(QVariant value)
{
    while (value.canConvert<QDBusVariant>())
        value = value.value<QDBusVariant>().variant();
    return value;
}

} // namespace

MotionPreference::MotionPreference(SessionBus& bus)
    : bus_(bus)
{
    // The bus knows the slot's types by their names, and this one only once it was used.
    qRegisterMetaType<QDBusVariant>();
    // At login the service may start after us.
    connect(&watcher_, &QDBusServiceWatcher::serviceRegistered, this, &MotionPreference::readAll);
    bus_.whenThere(this, [this] { follow(); });
}

void MotionPreference::follow()
{
    QDBusConnection connection = bus_.connection();
    connection.connect(service, path, interface, QStringLiteral("SettingChanged"), this,
        SLOT(settingChanged(QString, QString, QDBusVariant)));
    watcher_.setConnection(connection);
    watcher_.setWatchMode(QDBusServiceWatcher::WatchForRegistration);
    watcher_.addWatchedService(service);
    readAll();
}

void MotionPreference::readAll()
{
    for (std::size_t wish = 0; wish < wishes.size(); ++wish)
        read(wish);
}

/// Asks only a settings service that is already running: starting one would cost more than the answer is worth.
void MotionPreference::read(std::size_t wish)
{
    QDBusMessage call = QDBusMessage::createMethodCall(service, path, interface, QStringLiteral("Read"));
    call << QLatin1String(wishes[wish].area) << QLatin1String(wishes[wish].key);
    call.setAutoStartService(false);
    auto* pending = new QDBusPendingCallWatcher(bus_.connection().asyncCall(call), this);
    connect(pending, &QDBusPendingCallWatcher::finished, this, [this, pending, wish] {
        pending->deleteLater();
        const QDBusPendingReply<QDBusVariant> reply = *pending;
        if (reply.isValid())
            set(wish, reply.value().variant());
    });
}

void MotionPreference::settingChanged(const QString& area, const QString& key, const QDBusVariant& value)
{
    for (std::size_t wish = 0; wish < wishes.size(); ++wish) {
        if (area == QLatin1String(wishes[wish].area) && key == QLatin1String(wishes[wish].key))
            set(wish, value.variant());
    }
}

void MotionPreference::set(std::size_t wish, const QVariant& value)
{
    const bool wasWanted = isWanted();
    isForLess_.set(wish, wishes[wish].isForLess(unwrapped(value)));
    if (isWanted() != wasWanted)
        emit changed();
}

} // namespace quenstal
