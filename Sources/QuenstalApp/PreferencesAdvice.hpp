#pragma once

#include "QuenstalPlatform/Preferences.hpp"

#include <array>

namespace quenstal {

/// What the user is told when preferences are not kept. Fixed texts, which the toolkit translates.
struct PreferencesAdvice {
    static constexpr const char* title = "Quenstal's preferences";
    static constexpr const char* notValid
        = "The file with your preferences is not valid. Quenstal starts with its defaults and keeps the old file as "
          "preferences.json.broken.";
    static constexpr const char* notReadable
        = "The file with your preferences cannot be read. Quenstal leaves it as it is and tries again; until then, "
          "changes last only until Quenstal quits.";
    static constexpr const char* notSaved
        = "Your preferences cannot be saved. Quenstal tries again; until then, changes last only until Quenstal quits.";

    static constexpr std::array all{title, notValid, notReadable, notSaved};

    static constexpr const char* textFor(PreferencesProblem::Kind kind)
    {
        switch (kind) {
        case PreferencesProblem::Kind::notValid:
            return notValid;
        case PreferencesProblem::Kind::notReadable:
            return notReadable;
        case PreferencesProblem::Kind::notSaved:
            break;
        }
        return notSaved;
    }
};

} // namespace quenstal
