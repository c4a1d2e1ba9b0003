#pragma once

#include "QuenstalPlatform/RunLoop.hpp"

#include <utility>

#include <QCoreApplication>
#include <QSocketNotifier>
#include <QThread>
#include <QTimer>

namespace quenstal {

/// The toolkit's loop for the stand: just enough of one.
class StandRunLoop final : public RunLoop {
public:
    void post(Task task) override
    {
        QMetaObject::invokeMethod(QCoreApplication::instance(), std::move(task), Qt::QueuedConnection);
    }
    Cancellation after(Duration delay, Task task) override { return timer(delay, std::move(task), true); }
    Cancellation repeat(Duration interval, Task task) override { return timer(interval, std::move(task), false); }
    Cancellation watchReadable(int descriptor, Task task) override
    {
        auto watch = std::make_unique<Owned<QSocketNotifier>>(descriptor, QSocketNotifier::Read);
        QObject::connect(&watch->object, &QSocketNotifier::activated, std::move(task));
        return watch;
    }
    SteadyTime steadyNow() const override { return std::chrono::steady_clock::now(); }
    WallTime wallNow() const override { return std::chrono::system_clock::now(); }
    bool isMainThread() const override { return QThread::currentThread() == QCoreApplication::instance()->thread(); }

private:
    template <typename T>
    struct Owned final : Interface {
        template <typename... Arguments>
        explicit Owned(Arguments... arguments)
            : object(arguments...)
        {
        }
        T object;
    };

    static Cancellation timer(Duration delay, Task task, bool once)
    {
        auto timer = std::make_unique<Owned<QTimer>>();
        timer->object.setSingleShot(once);
        QObject::connect(&timer->object, &QTimer::timeout, std::move(task));
        timer->object.start(std::chrono::duration_cast<std::chrono::milliseconds>(delay));
        return timer;
    }
};

} // namespace quenstal
