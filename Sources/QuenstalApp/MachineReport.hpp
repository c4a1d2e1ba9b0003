#pragma once

#include "QuenstalCore/Models/State.hpp"
#include "QuenstalPlatform/DisplayBuses.hpp"
#include "QuenstalPlatform/Preferences.hpp"

#include <optional>
#include <string>
#include <vector>

namespace quenstal {

/// What the program found on this machine.
struct MachineReport {
    QuenstalState state;
    bool areKeysCaptured = false;
    /// As it continues "captured"; empty when it is not known.
    std::string wayOfCapture;
    /// What keeps the keys from being captured and what the user can do about it; empty when nothing does.
    std::string captureAdvice;
    std::vector<DisplayBusProblem> monitorProblems;
    std::optional<PreferencesProblem> preferencesProblem;
};

/// Commands that mend what may be missing, as this system spells them. An empty one is not offered.
struct MendingCommands {
    /// Starts the sound server.
    std::string startSound;
    /// Gives the user the access to monitors and keys that is missing.
    std::string giveAccess;
};

/// For a person at a terminal: the output, the path that its volume takes and why, the keys, and what is missing with
/// the command that mends it. One line or more each, the last one ended. Says nothing that a key press changes.
std::string inPlainWords(const MachineReport& report, const MendingCommands& commands);

} // namespace quenstal
