#pragma once

#include "QuenstalPlatform/Preferences.hpp"

#include <array>

namespace quenstal {

/// What the user is told when preferences are not kept. Fixed texts, which the toolkit translates.
struct PreferencesAdvice {
    static constexpr const char* title = "Quenstal's preferences";
    static constexpr const char* notValid = "Your preferences file is not valid. Quenstal is using its defaults and "
                                            "has kept the old file as preferences.json.broken.";
    static constexpr const char* notReadable = "Your preferences file cannot be read. Quenstal will leave it unchanged "
                                               "and try again; until then, changes are lost when Quenstal quits.";
    static constexpr const char* notSaved = "Your preferences cannot be saved. Quenstal will try again; until then, "
                                            "changes are lost when Quenstal quits.";

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
