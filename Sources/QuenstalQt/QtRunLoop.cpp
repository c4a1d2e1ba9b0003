#include "QuenstalQt/QtRunLoop.hpp"

#include <utility>

#include <QMetaObject>
#include <QSocketNotifier>
#include <QThread>
#include <QTimer>

namespace quenstal {

namespace {

/// Owns an object of the toolkit that calls a task. It may be destroyed from within that task.
template <typename Object>
class Owner final : public Interface {
public:
    explicit Owner(Object* object)
        : object_(object)
    {
    }
    ~Owner() override
    {
        object_->disconnect();
        if constexpr (std::is_same_v<Object, QTimer>)
            object_->stop();
        else
            object_->setEnabled(false);
        object_->deleteLater();
    }

private:
    Object* object_;
};

Cancellation startTimer(RunLoop::Duration interval, bool isSingleShot, RunLoop::Task task)
{
    auto* timer = new QTimer;
    timer->setTimerType(Qt::PreciseTimer);
    timer->setSingleShot(isSingleShot);
    QObject::connect(timer, &QTimer::timeout, [task = std::move(task)] {
        // A copy: the task may cancel its own timer.
        const RunLoop::Task running = task;
        running();
    });
    // Up, so that it never fires early.
    timer->start(std::chrono::ceil<std::chrono::milliseconds>(interval));
    return std::make_unique<Owner<QTimer>>(timer);
}

} // namespace

void QtRunLoop::post(Task task)
{
    QMetaObject::invokeMethod(&context_, std::move(task), Qt::QueuedConnection);
}

Cancellation QtRunLoop::after(Duration delay, Task task)
{
    return startTimer(delay, true, std::move(task));
}

Cancellation QtRunLoop::repeat(Duration interval, Task task)
{
    return startTimer(interval, false, std::move(task));
}

Cancellation QtRunLoop::watchReadable(int descriptor, Task task)
{
    auto* notifier = new QSocketNotifier(descriptor, QSocketNotifier::Read);
    QObject::connect(notifier, &QSocketNotifier::activated, [task = std::move(task)] {
        const Task running = task;
        running();
    });
    return std::make_unique<Owner<QSocketNotifier>>(notifier);
}

bool QtRunLoop::isMainThread() const
{
    return QThread::currentThread() == context_.thread();
}

} // namespace quenstal
