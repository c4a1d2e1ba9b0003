#pragma once

#include "QuenstalCore/Ports.hpp"
#include "QuenstalPlatform/Trust.hpp"

namespace quenstal {

/// The two permissions as the platform tells them. Never asks the user.
class MacPermissionProvider final : public PermissionProviding {
public:
    explicit MacPermissionProvider(Trust& trust)
        : trust_(trust)
    {
    }

    PermissionState currentPermissionState() override
    {
        // There is no question to ask about audio capture: a missing permission shows when a tap cannot be created.
        return {trust_.isProcessTrusted() ? PermissionStatus::granted : PermissionStatus::denied,
            PermissionStatus::granted};
    }

private:
    Trust& trust_;
};

} // namespace quenstal
