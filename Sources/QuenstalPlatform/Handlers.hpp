#pragma once

#include "QuenstalPlatform/Undo.hpp"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <utility>

namespace quenstal {

/// Handlers in the order they were added, each until its cancellation is destroyed, which may outlive this. One thread.
template <typename Handler>
class Handlers {
public:
    [[nodiscard]] Cancellation add(Handler handler)
    {
        list_->emplace(++lastKey_, std::move(handler));
        return std::make_unique<Undo>([list = std::weak_ptr(list_), key = lastKey_] {
            if (const auto present = list.lock())
                present->erase(key);
        });
    }

    /// Calls every handler that was there when the call began and still is. Any of them may add or cancel handlers, or
    /// end the owner of this.
    template <typename... Arguments>
    void call(const Arguments&... arguments) const
    {
        const std::shared_ptr<List> list = list_;
        const List present = *list;
        for (const auto& [key, handler] : present) {
            if (list->contains(key))
                handler(arguments...);
        }
    }

    /// Calls one handler after the other until one of them returns true, and returns that.
    template <typename... Arguments>
    bool anyOf(const Arguments&... arguments) const
    {
        const std::shared_ptr<List> list = list_;
        const List present = *list;
        return std::ranges::any_of(
            present, [&](const auto& entry) { return list->contains(entry.first) && entry.second(arguments...); });
    }

    std::size_t size() const { return list_->size(); }
    /// The handler that was added last; null when there is none.
    Handler newest() const { return list_->empty() ? Handler() : list_->rbegin()->second; }

private:
    using List = std::map<std::uint64_t, Handler>;

    std::shared_ptr<List> list_ = std::make_shared<List>();
    std::uint64_t lastKey_ = 0;
};

} // namespace quenstal
