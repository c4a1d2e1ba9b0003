#pragma once

// What the user has allowed and chosen.

#include "QuenstalCore/Ports.hpp"
#include "QuenstalPlatform/CapturePermission.hpp"
#include "QuenstalPlatform/Preferences.hpp"

#include <string>

namespace quenstal {

/// Keeps the equalizer settings of every output in the user's preferences. A profile that cannot be read counts as
/// none, and stays as it is; one that cannot be encoded is not saved.
class UserDefaultsEQProfileStore final : public EQProfileStoring {
public:
    explicit UserDefaultsEQProfileStore(Preferences& userDefaults)
        : userDefaults_(userDefaults)
    {
    }

    std::optional<EQProfile> profile(std::string_view key) override;
    void saveProfile(const EQProfile& profile, std::string_view key) override;
    bool softwareProcessingPreferred(std::string_view key) override;
    void setSoftwareProcessingPreferred(bool preferred, std::string_view key) override;

private:
    Preferences& userDefaults_;
};

/// The two permissions as the platform tells them. Never asks the user.
class MacPermissionProvider final : public PermissionProviding {
public:
    explicit MacPermissionProvider(CapturePermission& permission)
        : permission_(permission)
    {
    }

    PermissionState currentPermissionState() override
    {
        // There is no question to ask about audio capture: a missing permission shows when a tap cannot be created.
        return {permission_.mayCaptureKeys() ? PermissionStatus::granted : PermissionStatus::denied,
            PermissionStatus::granted};
    }

private:
    CapturePermission& permission_;
};

} // namespace quenstal
