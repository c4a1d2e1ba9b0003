#include "QuenstalFreedesktop/NotifierMenu.hpp"

#include <algorithm>

#include <QDBusArgument>
#include <QDBusError>
#include <QDBusMetaType>
#include <QGuiApplication>

namespace quenstal {

namespace {

constexpr int menuItself = 0;

QVariantMap propertiesOf(const NotifierMenu::Entry& entry)
{
    if (entry.label.isEmpty())
        return {{QStringLiteral("type"), QStringLiteral("separator")}};
    QVariantMap properties{{QStringLiteral("label"), entry.label}};
    if (entry.isChecked) {
        properties.insert(QStringLiteral("toggle-type"), QStringLiteral("checkmark"));
        properties.insert(QStringLiteral("toggle-state"), *entry.isChecked ? 1 : 0);
    }
    return properties;
}

/// Hosts ask for these of every entry; they go without saying otherwise.
QVariant customary(const QString& name)
{
    if (name == QLatin1String("visible") || name == QLatin1String("enabled"))
        return true;
    if (name == QLatin1String("type"))
        return QStringLiteral("standard");
    return {};
}

} // namespace

// Found by the bus through the types' own namespace. A host only reads entries, and only sends events.
static QDBusArgument& operator<<(QDBusArgument& argument, const NotifierMenuItem& item)
{
    argument.beginStructure();
    argument << item.id << item.properties;
    argument.endStructure();
    return argument;
}

static const QDBusArgument& operator>>(const QDBusArgument& argument, NotifierMenuItem& item)
{
    argument.beginStructure();
    argument >> item.id >> item.properties;
    argument.endStructure();
    return argument;
}

static QDBusArgument& operator<<(QDBusArgument& argument, const NotifierMenuLayout& layout)
{
    argument.beginStructure();
    argument << layout.id << layout.properties;
    argument.beginArray(QMetaType::fromType<QDBusVariant>());
    for (const NotifierMenuLayout& child : layout.children)
        argument << QDBusVariant(QVariant::fromValue(child));
    argument.endArray();
    argument.endStructure();
    return argument;
}

static const QDBusArgument& operator>>(const QDBusArgument& argument, NotifierMenuLayout& layout)
{
    argument.beginStructure();
    argument >> layout.id >> layout.properties;
    QList<QDBusVariant> children;
    argument >> children;
    argument.endStructure();
    return argument;
}

static QDBusArgument& operator<<(QDBusArgument& argument, const NotifierMenuEvent& event)
{
    argument.beginStructure();
    argument << event.id << event.name << event.data << event.time;
    argument.endStructure();
    return argument;
}

static const QDBusArgument& operator>>(const QDBusArgument& argument, NotifierMenuEvent& event)
{
    argument.beginStructure();
    argument >> event.id >> event.name >> event.data >> event.time;
    argument.endStructure();
    return argument;
}

NotifierMenu::NotifierMenu(SessionBus& bus)
    : bus_(bus)
{
    qDBusRegisterMetaType<NotifierMenuItem>();
    qDBusRegisterMetaType<QList<NotifierMenuItem>>();
    qDBusRegisterMetaType<NotifierMenuLayout>();
    qDBusRegisterMetaType<NotifierMenuEvent>();
    qDBusRegisterMetaType<QList<NotifierMenuEvent>>();
    bus_.whenThere(this, [this] {
        QDBusConnection connection = bus_.connection();
        connection.registerObject(QLatin1String(path), this,
            QDBusConnection::ExportScriptableSlots | QDBusConnection::ExportScriptableSignals
                | QDBusConnection::ExportAllProperties);
    });
}

NotifierMenu::~NotifierMenu()
{
    QDBusConnection connection = bus_.connection();
    connection.unregisterObject(QLatin1String(path));
}

void NotifierMenu::show(const QList<Entry>& entries)
{
    const QList<Entry> before = std::exchange(entries_, entries);
    bool isSameLayout = entries.size() == before.size();
    QList<NotifierMenuItem> updated;
    for (int id = 1; isSameLayout && id <= entries.size(); ++id) {
        const QVariantMap was = propertiesOf(before[id - 1]);
        const QVariantMap is = properties(id);
        isSameLayout = was.keys() == is.keys();
        if (was != is)
            updated << NotifierMenuItem{id, is};
    }
    if (!isSameLayout)
        emit LayoutUpdated(++revision_, menuItself);
    else if (!updated.isEmpty())
        emit ItemsPropertiesUpdated(updated, {});
}

QString NotifierMenu::textDirection() const
{
    return QGuiApplication::layoutDirection() == Qt::RightToLeft ? QStringLiteral("rtl") : QStringLiteral("ltr");
}

bool NotifierMenu::isKnown(int id) const
{
    if (!isThere(id))
        sendErrorReply(QDBusError::InvalidArgs, QStringLiteral("The menu has no entry %1.").arg(id));
    return isThere(id);
}

QVariantMap NotifierMenu::properties(int id, const QStringList& names) const
{
    QVariantMap properties = id == menuItself
        ? QVariantMap{{QStringLiteral("children-display"), QStringLiteral("submenu")}}
        : propertiesOf(entries_[id - 1]);
    if (!names.isEmpty())
        properties.removeIf([&](const auto& property) { return !names.contains(property.key()); });
    return properties;
}

uint NotifierMenu::GetLayout(int parent, int depth, const QStringList& names, NotifierMenuLayout& layout) const
{
    if (!isKnown(parent))
        return 0;
    layout = {parent, properties(parent, names), {}};
    if (parent == menuItself && depth != 0) {
        for (int id = 1; id <= entries_.size(); ++id)
            layout.children << NotifierMenuLayout{id, properties(id, names), {}};
    }
    return revision_;
}

/// However often an entry is named, it is answered once.
QList<NotifierMenuItem> NotifierMenu::GetGroupProperties(const QList<int>& ids, const QStringList& names) const
{
    QList<NotifierMenuItem> items;
    for (int id = menuItself; id <= entries_.size(); ++id) {
        if (ids.isEmpty() || ids.contains(id))
            items << NotifierMenuItem{id, properties(id, names)};
    }
    return items;
}

QDBusVariant NotifierMenu::GetProperty(int id, const QString& name) const
{
    // A reply that is not an error needs some value.
    if (!isKnown(id))
        return QDBusVariant(false);
    const QVariant value = properties(id).value(name, customary(name));
    if (!value.isValid()) {
        sendErrorReply(QDBusError::InvalidArgs, QStringLiteral("Entry %1 has no such property.").arg(id));
        return QDBusVariant(false);
    }
    return QDBusVariant(value);
}

void NotifierMenu::Event(int id, const QString& name, const QDBusVariant&, uint)
{
    if (isKnown(id) && name == QLatin1String("clicked"))
        choose(id);
}

/// One message chooses each entry once at most, whatever it holds.
QList<int> NotifierMenu::EventGroup(const QList<NotifierMenuEvent>& events)
{
    QList<int> unknown;
    QList<int> chosen;
    for (const NotifierMenuEvent& event : events) {
        if (!isThere(event.id))
            unknown << event.id;
        else if (event.name == QLatin1String("clicked") && !chosen.contains(event.id))
            chosen << event.id;
    }
    for (const int id : chosen)
        choose(id);
    return unknown;
}

bool NotifierMenu::AboutToShow(int id) const
{
    isKnown(id);
    return false;
}

QList<int> NotifierMenu::AboutToShowGroup(const QList<int>& ids, QList<int>& unknown) const
{
    std::copy_if(ids.begin(), ids.end(), std::back_inserter(unknown), [this](int id) { return !isThere(id); });
    return {};
}

void NotifierMenu::choose(int id)
{
    if (id == menuItself || !entries_[id - 1].chosen)
        return;
    // What is chosen may replace the entries.
    const std::function<void()> chosen = entries_[id - 1].chosen;
    chosen();
    // Some hosts tick an entry by themselves, also when the command had no effect.
    if (isThere(id) && entries_[id - 1].isChecked)
        emit ItemsPropertiesUpdated({{id, properties(id)}}, {});
}

} // namespace quenstal
