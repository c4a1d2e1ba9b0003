#pragma once

#include "QuenstalFreedesktop/SessionBus.hpp"

#include <bitset>
#include <cstddef>

#include <QDBusServiceWatcher>
#include <QDBusVariant>
#include <QObject>
#include <QString>

namespace quenstal {

/// Whether the user wants animations, according to the desktop's settings. Assumed until they have been read. Main
/// thread.
class MotionPreference : public QObject {
    Q_OBJECT

public:
    /// The bus outlives it.
    explicit MotionPreference(SessionBus& bus);

    /// The number of places where desktops store the wish for less motion; one of them is enough.
    static constexpr std::size_t wishCount = 3;

    bool isWanted() const { return isForLess_.none(); }

signals:
    void changed();

private slots:
    void settingChanged(const QString& area, const QString& key, const QDBusVariant& value);

private:
    void follow();
    void readAll();
    void read(std::size_t wish);
    void set(std::size_t wish, const QVariant& value);

    SessionBus& bus_;
    QDBusServiceWatcher watcher_;
    std::bitset<wishCount> isForLess_;
};

} // namespace quenstal
