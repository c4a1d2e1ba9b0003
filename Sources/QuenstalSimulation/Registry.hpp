#pragma once

#include "QuenstalPlatform/Interface.hpp"
#include "QuenstalPlatform/RunLoop.hpp"

#include <cstdint>
#include <map>
#include <memory>
#include <utility>

namespace quenstal {

/// Handlers that stay registered until their Cancellation goes. The registry outlives the cancellations.
template <typename Handler>
class Registry {
public:
    [[nodiscard]] Cancellation add(Handler handler)
    {
        handlers_.emplace(++lastKey_, std::move(handler));
        return std::make_unique<Registration>(handlers_, lastKey_);
    }

    /// Calls every handler that was registered when the call began and still is. Handlers may cancel themselves.
    template <typename... Arguments>
    void call(const Arguments&... arguments) const
    {
        const std::map<std::uint64_t, Handler> present = handlers_;
        for (const auto& [key, handler] : present) {
            if (handlers_.contains(key))
                handler(arguments...);
        }
    }

    std::size_t size() const { return handlers_.size(); }
    /// The handler registered last; null when there is none.
    Handler newest() const { return handlers_.empty() ? Handler() : handlers_.rbegin()->second; }

private:
    class Registration final : public Interface {
    public:
        Registration(std::map<std::uint64_t, Handler>& handlers, std::uint64_t key)
            : handlers_(handlers)
            , key_(key)
        {
        }
        ~Registration() override { handlers_.erase(key_); }

    private:
        std::map<std::uint64_t, Handler>& handlers_;
        std::uint64_t key_;
    };

    std::map<std::uint64_t, Handler> handlers_;
    std::uint64_t lastKey_ = 0;
};

} // namespace quenstal
