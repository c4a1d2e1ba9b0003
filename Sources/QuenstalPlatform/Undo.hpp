#pragma once

#include "QuenstalPlatform/RunLoop.hpp"

#include <functional>
#include <memory>
#include <utility>

namespace quenstal {

/// A cancellation that runs what ends the thing it stands for.
class Undo final : public Interface {
public:
    explicit Undo(std::function<void()> undo)
        : undo_(std::move(undo))
    {
    }
    ~Undo() override { undo_(); }

private:
    std::function<void()> undo_;
};

} // namespace quenstal
