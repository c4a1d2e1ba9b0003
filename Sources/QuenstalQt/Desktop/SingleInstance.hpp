#pragma once

#include <functional>

#include <QObject>

namespace quenstal {

/// One program a session, by a name on the session bus. A second start tells the first one and ends. Without a session
/// bus every start is the first. Main thread.
class SingleInstance : public QObject {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.freedesktop.Application")

public:
    /// Takes the name, or tells the program that has it.
    SingleInstance();
    ~SingleInstance() override;

    bool isFirst() const { return isFirst_; }

    /// The program was started again.
    std::function<void()> onSecondStart;

public slots:
    // The bus's standard interface for that.
    Q_SCRIPTABLE void Activate(const QVariantMap& platformData);

private:
    bool isFirst_ = true;
};

} // namespace quenstal
