#pragma once

#include "QuenstalPlatform/RunLoop.hpp"

#include <QObject>

namespace quenstal {

/// The toolkit's event loop. Made on the main thread, after the application object. Posted tasks that have not run
/// when it is destroyed never run.
class QtRunLoop final : public RunLoop {
public:
    void post(Task task) override;
    [[nodiscard]] Cancellation after(Duration delay, Task task) override;
    [[nodiscard]] Cancellation repeat(Duration interval, Task task) override;
    [[nodiscard]] Cancellation watchReadable(int descriptor, Task task) override;
    SteadyTime steadyNow() const override { return std::chrono::steady_clock::now(); }
    WallTime wallNow() const override { return std::chrono::system_clock::now(); }
    bool isMainThread() const override;

private:
    /// Lives on the main thread and takes what is posted down with it.
    QObject context_;
};

} // namespace quenstal
