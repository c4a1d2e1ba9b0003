#pragma once

#include "QuenstalPlatform/RunLoop.hpp"

#include <memory>
#include <utility>

namespace quenstal {

/// Posts tasks that run only while their owner lives: the owner keeps this among its members. Main thread.
class OwnedTasks {
public:
    explicit OwnedTasks(RunLoop& runLoop)
        : runLoop_(runLoop)
    {
    }

    /// A function for someone who may call it late: it does nothing once the owner is gone.
    template <typename Function>
    auto whileOwned(Function function)
    {
        return [owner = std::weak_ptr<char>(owner_), function = std::move(function)](auto... arguments) {
            if (!owner.expired())
                function(arguments...);
        };
    }

    void post(RunLoop::Task task) { runLoop_.post(whileOwned(std::move(task))); }

private:
    RunLoop& runLoop_;
    std::shared_ptr<char> owner_ = std::make_shared<char>();
};

} // namespace quenstal
