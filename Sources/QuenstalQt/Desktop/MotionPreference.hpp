#pragma once

#include <QDBusVariant>
#include <QObject>
#include <QString>

namespace quenstal {

/// Whether the user wants things to move, as the desktop's settings say. Motion is wanted until they are read. Main
/// thread.
class MotionPreference : public QObject {
    Q_OBJECT

public:
    MotionPreference();

    bool isWanted() const { return isWanted_; }

signals:
    void changed();

private slots:
    void settingChanged(const QString& area, const QString& key, const QDBusVariant& value);

private:
    void read();
    void set(bool isWanted);

    bool isWanted_ = true;
};

} // namespace quenstal
