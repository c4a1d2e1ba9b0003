#include "QuenstalQt/Desktop/MotionPreference.hpp"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>

namespace quenstal {

namespace {

const QString service = QStringLiteral("org.freedesktop.portal.Desktop");
const QString path = QStringLiteral("/org/freedesktop/portal/desktop");
const QString interface = QStringLiteral("org.freedesktop.portal.Settings");
const QString settingsArea = QStringLiteral("org.gnome.desktop.interface");
const QString settingsKey = QStringLiteral("enable-animations");

} // namespace

MotionPreference::MotionPreference()
{
    QDBusConnection::sessionBus().connect(service, path, interface, QStringLiteral("SettingChanged"), this,
        SLOT(settingChanged(QString, QString, QDBusVariant)));
    read();
}

/// Asks only a settings service that runs already: starting one would cost more than the answer is worth.
void MotionPreference::read()
{
    QDBusMessage call = QDBusMessage::createMethodCall(service, path, interface, QStringLiteral("Read"));
    call << settingsArea << settingsKey;
    call.setAutoStartService(false);
    auto* pending = new QDBusPendingCallWatcher(QDBusConnection::sessionBus().asyncCall(call), this);
    connect(pending, &QDBusPendingCallWatcher::finished, this, [this, pending] {
        pending->deleteLater();
        const QDBusPendingReply<QDBusVariant> reply = *pending;
        if (!reply.isValid())
            return;
        // The answer is wrapped twice.
        const QVariant inner = reply.value().variant();
        set(inner.canConvert<QDBusVariant>() ? inner.value<QDBusVariant>().variant().toBool() : inner.toBool());
    });
}

void MotionPreference::settingChanged(const QString& area, const QString& key, const QDBusVariant& value)
{
    if (area == settingsArea && key == settingsKey)
        set(value.variant().toBool());
}

void MotionPreference::set(bool isWanted)
{
    if (isWanted_ == isWanted)
        return;
    isWanted_ = isWanted;
    emit changed();
}

} // namespace quenstal
