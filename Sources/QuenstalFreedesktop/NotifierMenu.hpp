#pragma once

#include "QuenstalFreedesktop/SessionBus.hpp"

#include <functional>
#include <optional>
#include <utility>

#include <QDBusContext>
#include <QDBusVariant>
#include <QList>
#include <QObject>
#include <QString>
#include <QStringList>
#include <QVariantMap>

namespace quenstal {

/// An entry with those of its properties that were asked for.
struct NotifierMenuItem {
    int id = 0;
    QVariantMap properties;
};

/// An entry with those below it, as deep as was asked for.
struct NotifierMenuLayout {
    int id = 0;
    QVariantMap properties;
    QList<NotifierMenuLayout> children;
};

/// What a host reports of an entry.
struct NotifierMenuEvent {
    int id = 0;
    QString name;
    QDBusVariant data;
    uint time = 0;
};

/// The status item's menu on the session bus, by the protocol com.canonical.dbusmenu: the host draws it, and tells what
/// was chosen. One level; entries count from 1, and 0 is the menu itself. Main thread.
class NotifierMenu : public QObject, protected QDBusContext {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "com.canonical.dbusmenu")
    Q_PROPERTY(uint Version READ version)
    Q_PROPERTY(QString Status READ status)
    Q_PROPERTY(QString TextDirection READ textDirection)
    Q_PROPERTY(QStringList IconThemePath READ iconThemePath)

public:
    struct Entry {
        /// In the user's language, with an underscore before the mnemonic. Empty for a separator.
        QString label;
        std::function<void()> chosen;
        /// None for an entry without a checkmark.
        std::optional<bool> isChecked;
    };

    static constexpr const char* path = "/StatusNotifierItem/Menu";

    /// The bus outlives it.
    explicit NotifierMenu(SessionBus& bus);
    ~NotifierMenu() override;

    /// Replaces what is there; hosts are told of what is different.
    void show(const QList<Entry>& entries);

    uint version() const { return 3; }
    QString status() const { return QStringLiteral("normal"); }
    QString textDirection() const;
    QStringList iconThemePath() const { return {}; }

public slots:
    /// A negative depth is all of it. No names are all properties.
    Q_SCRIPTABLE uint GetLayout(
        int parent, int depth, const QStringList& names, quenstal::NotifierMenuLayout& layout) const;
    /// No entries are all of them.
    Q_SCRIPTABLE QList<quenstal::NotifierMenuItem> GetGroupProperties(
        const QList<int>& ids, const QStringList& names) const;
    Q_SCRIPTABLE QDBusVariant GetProperty(int id, const QString& name) const;
    Q_SCRIPTABLE void Event(int id, const QString& name, const QDBusVariant& data, uint time);
    /// Answers with the entries that there are not.
    Q_SCRIPTABLE QList<int> EventGroup(const QList<quenstal::NotifierMenuEvent>& events);
    /// Whether the host has to read the menu again: it hears of every change.
    Q_SCRIPTABLE bool AboutToShow(int id) const;
    Q_SCRIPTABLE QList<int> AboutToShowGroup(const QList<int>& ids, QList<int>& unknown) const;

signals:
    Q_SCRIPTABLE void ItemsPropertiesUpdated(
        const QList<quenstal::NotifierMenuItem>& updated, const QList<quenstal::NotifierMenuItem>& removed);
    Q_SCRIPTABLE void LayoutUpdated(uint revision, int parent);

private:
    bool isThere(int id) const { return id >= 0 && id <= entries_.size(); }
    bool isKnown(int id) const;
    QVariantMap properties(int id, const QStringList& names = {}) const;
    void choose(int id);

    SessionBus& bus_;
    QList<Entry> entries_;
    uint revision_ = 0;
};

} // namespace quenstal

Q_DECLARE_METATYPE(quenstal::NotifierMenuItem)
Q_DECLARE_METATYPE(quenstal::NotifierMenuLayout)
Q_DECLARE_METATYPE(quenstal::NotifierMenuEvent)
