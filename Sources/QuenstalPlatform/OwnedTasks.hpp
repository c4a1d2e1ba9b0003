#pragma once

#include "QuenstalPlatform/RunLoop.hpp"

#include <functional>
#include <memory>
#include <mutex>
#include <utility>

namespace quenstal {

/// Tasks on the main thread that run only while their owner lives: the owner keeps this among its members, and it is
/// destroyed on the main thread, before the run loop.
class OwnedTasks {
public:
    explicit OwnedTasks(RunLoop& runLoop)
        : gate_(std::make_shared<Gate>(runLoop))
    {
    }
    ~OwnedTasks() { close(); }
    OwnedTasks(const OwnedTasks&) = delete;
    OwnedTasks& operator=(const OwnedTasks&) = delete;

    /// A function that may be called late, on the main thread: once the owner is gone it does nothing, and returns an
    /// empty value.
    template <typename Function>
    auto whileOwned(Function function) const
    {
        return [gate = gate_, function = std::move(function)](auto&&... arguments) {
            using Answer = decltype(function(arguments...));
            return gate->loop ? function(arguments...) : Answer();
        };
    }

    /// Any thread.
    void post(RunLoop::Task task) const { gate_->post(std::move(task)); }

    /// `post` for a thread that may outlive the owner, and the run loop with it.
    std::function<void(RunLoop::Task)> poster() const
    {
        return [gate = gate_](RunLoop::Task task) { gate->post(std::move(task)); };
    }

    /// As if the owner were gone. Main thread.
    void close()
    {
        const std::lock_guard lock(gate_->mutex);
        gate_->loop = nullptr;
    }

private:
    struct Gate : std::enable_shared_from_this<Gate> {
        explicit Gate(RunLoop& runLoop)
            : loop(&runLoop)
        {
        }

        void post(RunLoop::Task task)
        {
            const std::lock_guard lock(mutex);
            if (!loop)
                return;
            loop->post([gate = shared_from_this(), task = std::move(task)] {
                if (gate->loop)
                    task();
            });
        }

        std::mutex mutex;
        /// Written on the main thread only, under the mutex; null once the owner is gone.
        RunLoop* loop;
    };

    std::shared_ptr<Gate> gate_;
};

} // namespace quenstal
