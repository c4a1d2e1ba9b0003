#pragma once

#include "QuenstalPlatform/Displays.hpp"

#include <algorithm>

namespace quenstal {

/// Displays as they were put there.
class SimulatedDisplays final : public Displays {
public:
    struct Display {
        DisplayID id = 0;
        bool isBuiltin = false;
    };

    std::vector<Display> displays;

    std::vector<DisplayID> onlineDisplays() const override
    {
        std::vector<DisplayID> ids;
        for (const Display& display : displays)
            ids.push_back(display.id);
        return ids;
    }

    bool isBuiltin(DisplayID display) const override
    {
        return std::ranges::any_of(
            displays, [display](const Display& candidate) { return candidate.id == display && candidate.isBuiltin; });
    }
};

} // namespace quenstal
