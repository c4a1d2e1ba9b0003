#pragma once

#include "QuenstalPlatform/RunLoop.hpp"

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <utility>

namespace quenstal {

/// Handlers that wait for news. News is delivered on a later turn, to those who still wait then. Main thread.
template <typename... News>
class Notifier {
public:
    using Handler = std::function<void(News...)>;

    /// The run loop outlives it.
    explicit Notifier(RunLoop& runLoop)
        : runLoop_(runLoop)
    {
    }

    /// The handler waits until the result is destroyed, which may be after the notifier is.
    [[nodiscard]] Cancellation add(Handler handler)
    {
        handlers_->emplace(++lastKey_, std::move(handler));
        return std::make_unique<Registration>(handlers_, lastKey_);
    }

    void notify(News... news)
    {
        runLoop_.post([waiting = std::weak_ptr(handlers_), news...] {
            const auto handlers = waiting.lock();
            if (!handlers)
                return;
            // Any handler may add or cancel handlers, itself among them.
            for (auto next = handlers->begin(); next != handlers->end();) {
                const auto key = next->first;
                const Handler handler = next->second;
                handler(news...);
                next = handlers->upper_bound(key);
            }
        });
    }

private:
    using Handlers = std::map<std::uint64_t, Handler>;

    class Registration final : public Interface {
    public:
        Registration(const std::shared_ptr<Handlers>& handlers, std::uint64_t key)
            : handlers_(handlers)
            , key_(key)
        {
        }
        ~Registration() override
        {
            if (const auto handlers = handlers_.lock())
                handlers->erase(key_);
        }

    private:
        std::weak_ptr<Handlers> handlers_;
        std::uint64_t key_;
    };

    RunLoop& runLoop_;
    std::shared_ptr<Handlers> handlers_ = std::make_shared<Handlers>();
    std::uint64_t lastKey_ = 0;
};

} // namespace quenstal
