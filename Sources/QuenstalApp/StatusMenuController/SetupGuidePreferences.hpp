#pragma once

#include "QuenstalPlatform/Preferences.hpp"

#include <string_view>

namespace quenstal {

/// Whether the user has finished the setup guide.
class SetupGuidePreferences {
public:
    static constexpr std::string_view key = "Quenstal.SetupGuideCompleted";

    explicit SetupGuidePreferences(Preferences& userDefaults)
        : userDefaults_(userDefaults)
    {
    }

    bool isCompleted() const { return userDefaults_.boolean(key); }
    void setCompleted() { userDefaults_.setBoolean(key, true); }

private:
    Preferences& userDefaults_;
};

} // namespace quenstal
