#pragma once

#include "QuenstalPlatform/Interface.hpp"

#include <cstdint>
#include <vector>

namespace quenstal {

using DisplayID = std::uint32_t;

/// The displays that are connected. Main thread.
class Displays : public Interface {
public:
    /// In a stable order. A display keeps its identifier while it stays connected.
    virtual std::vector<DisplayID> onlineDisplays() const = 0;
    /// Whether the display is part of the machine. An unknown identifier is not.
    virtual bool isBuiltin(DisplayID display) const = 0;
};

} // namespace quenstal
