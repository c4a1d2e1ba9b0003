#include "QuenstalFreedesktop/StatusNotifierItem.hpp"

#include <algorithm>

#include <QCoreApplication>
#include <QDBusArgument>
#include <QDBusMessage>
#include <QDBusMetaType>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <qendian.h>

namespace quenstal {

namespace {

constexpr const char* watcherService = "org.kde.StatusNotifierWatcher";
constexpr const char* watcherPath = "/StatusNotifierWatcher";
constexpr const char* itemPath = "/StatusNotifierItem";

/// Compositors' tokens have some 40 to 120. A longer one than a message to the compositor can hold would end the
/// connection to it.
constexpr qsizetype longestToken = 512;

bool isToken(const QString& text)
{
    const auto isPrintable = [](QChar c) { return c > u' ' && c <= u'~'; };
    return !text.isEmpty() && text.size() <= longestToken && std::all_of(text.begin(), text.end(), isPrintable);
}

NotifierPixmap pixmapOf(const QImage& image)
{
    const QImage argb = image.convertToFormat(QImage::Format_ARGB32);
    NotifierPixmap pixmap{argb.width(), argb.height(), QByteArray(argb.sizeInBytes(), Qt::Uninitialized)};
    qToBigEndian<quint32>(argb.constBits(), argb.sizeInBytes() / 4, pixmap.bytes.data());
    return pixmap;
}

} // namespace

// Found by the bus through the types' own namespace.
static QDBusArgument& operator<<(QDBusArgument& argument, const NotifierPixmap& pixmap)
{
    argument.beginStructure();
    argument << pixmap.width << pixmap.height << pixmap.bytes;
    argument.endStructure();
    return argument;
}

static const QDBusArgument& operator>>(const QDBusArgument& argument, NotifierPixmap& pixmap)
{
    argument.beginStructure();
    argument >> pixmap.width >> pixmap.height >> pixmap.bytes;
    argument.endStructure();
    return argument;
}

static QDBusArgument& operator<<(QDBusArgument& argument, const NotifierToolTip& toolTip)
{
    argument.beginStructure();
    argument << toolTip.iconName << toolTip.icon << toolTip.title << toolTip.text;
    argument.endStructure();
    return argument;
}

static const QDBusArgument& operator>>(const QDBusArgument& argument, NotifierToolTip& toolTip)
{
    argument.beginStructure();
    argument >> toolTip.iconName >> toolTip.icon >> toolTip.title >> toolTip.text;
    argument.endStructure();
    return argument;
}

StatusNotifierItem::StatusNotifierItem(SessionBus& bus)
    : bus_(bus)
    , serviceName_(QStringLiteral("org.kde.StatusNotifierItem-%1-1").arg(QCoreApplication::applicationPid()))
{
    qDBusRegisterMetaType<NotifierPixmap>();
    qDBusRegisterMetaType<NotifierPixmaps>();
    qDBusRegisterMetaType<NotifierToolTip>();
    connect(&watcher_, &QDBusServiceWatcher::serviceRegistered, this, [this] { registerWithWatcher(); });
    connect(&watcher_, &QDBusServiceWatcher::serviceUnregistered, this, [this] { forgetWatcher(); });
    bus_.whenThere(this, [this] { appearOnBus(); });
}

StatusNotifierItem::~StatusNotifierItem()
{
    QDBusConnection connection = bus_.connection();
    connection.unregisterObject(QLatin1String(itemPath));
    tellBusOfName("ReleaseName", {serviceName_});
}

void StatusNotifierItem::appearOnBus()
{
    QDBusConnection connection = bus_.connection();
    connection.registerObject(QLatin1String(itemPath), this,
        QDBusConnection::ExportScriptableSlots | QDBusConnection::ExportScriptableSignals
            | QDBusConnection::ExportAllProperties);
    constexpr uint withoutQueue = 4;
    tellBusOfName("RequestName", {serviceName_, withoutQueue});
    watcher_.setConnection(connection);
    watcher_.setWatchMode(QDBusServiceWatcher::WatchForOwnerChange);
    watcher_.addWatchedService(QLatin1String(watcherService));
    registerWithWatcher();
}

/// The toolkit's own functions for this wait for an answer that is not needed.
void StatusNotifierItem::tellBusOfName(const char* member, const QVariantList& arguments)
{
    const QString bus = QStringLiteral("org.freedesktop.DBus");
    QDBusMessage call
        = QDBusMessage::createMethodCall(bus, QStringLiteral("/org/freedesktop/DBus"), bus, QLatin1String(member));
    call.setArguments(arguments);
    bus_.connection().send(call);
}

/// Asks without waiting: a bus without a watcher answers at once, a busy one later.
void StatusNotifierItem::registerWithWatcher()
{
    QDBusMessage call = QDBusMessage::createMethodCall(QLatin1String(watcherService), QLatin1String(watcherPath),
        QLatin1String(watcherService), QStringLiteral("RegisterStatusNotifierItem"));
    call << serviceName_;
    call.setAutoStartService(false);
    auto* pending = new QDBusPendingCallWatcher(bus_.connection().asyncCall(call), this);
    connect(pending, &QDBusPendingCallWatcher::finished, this, [this, pending] {
        pending->deleteLater();
        const bool isTaken = !pending->isError();
        isRegistered_ = isTaken;
        if (isTaken)
            emit registered();
        else
            emit unregistered();
    });
}

void StatusNotifierItem::forgetWatcher()
{
    isRegistered_ = false;
    emit unregistered();
}

void StatusNotifierItem::setIcon(const QList<QImage>& images)
{
    icon_.clear();
    for (const QImage& image : images)
        icon_ << pixmapOf(image);
    emit NewIcon();
}

void StatusNotifierItem::setTexts(const QString& label, const QString& toolTip)
{
    if (label != label_) {
        label_ = label;
        emit XAyatanaNewLabel(label_, labelGuide());
    }
    if (toolTip != toolTip_) {
        toolTip_ = toolTip;
        emit NewToolTip();
    }
}

void StatusNotifierItem::SecondaryActivate(int, int)
{
    emit secondaryActivated();
}

void StatusNotifierItem::ProvideXdgActivationToken(const QString& token)
{
    if (isToken(token))
        emit activationTokenProvided(token.toLatin1());
}

/// Hosts report 120 per notch; smooth wheels report fractions of it, and some hosts 1 per notch.
void StatusNotifierItem::Scroll(int delta, const QString& orientation)
{
    if (orientation.compare(QLatin1String("vertical"), Qt::CaseInsensitive) != 0)
        return;
    const bool isWholeNotch = delta == 1 || delta == -1;
    if (const int notches = wheel_.turn(isWholeNotch ? delta * WheelNotches::parts : delta))
        emit scrolled(notches);
}

} // namespace quenstal
