#pragma once

#include "QuenstalPlatform/Handlers.hpp"
#include "QuenstalPlatform/RunLoop.hpp"

#include <functional>
#include <memory>
#include <utility>

namespace quenstal {

/// Handlers waiting for a notification, which arrives on a later turn, if they are still waiting then. Main thread.
template <typename... News>
class Notifier {
public:
    using Handler = std::function<void(News...)>;

    /// The run loop outlives it.
    explicit Notifier(RunLoop& runLoop)
        : runLoop_(runLoop)
    {
    }

    /// The handler waits until the result is destroyed, which may outlive the notifier.
    [[nodiscard]] Cancellation add(Handler handler) { return handlers_->add(std::move(handler)); }

    void notify(News... news)
    {
        runLoop_.post([waiting = std::weak_ptr(handlers_), news...] {
            if (const auto handlers = waiting.lock())
                handlers->call(news...);
        });
    }

private:
    RunLoop& runLoop_;
    std::shared_ptr<Handlers<Handler>> handlers_ = std::make_shared<Handlers<Handler>>();
};

} // namespace quenstal
