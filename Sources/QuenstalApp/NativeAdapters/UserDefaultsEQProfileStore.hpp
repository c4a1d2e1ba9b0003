#pragma once

#include "QuenstalCore/Ports.hpp"
#include "QuenstalPlatform/Preferences.hpp"

#include <string>

namespace quenstal {

/// Keeps the equaliser settings of every output in the user's preferences. A profile that cannot be read counts as
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

} // namespace quenstal
