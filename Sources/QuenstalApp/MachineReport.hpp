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
    /// Continues the sentence "captured"; empty when unknown.
    std::string wayOfCapture;
    /// What keeps the keys from being captured and what the user can do about it; empty when nothing does.
    std::string captureAdvice;
    std::vector<DisplayBusProblem> monitorProblems;
    std::optional<PreferencesProblem> preferencesProblem;
};

/// Commands that solve problems on this system. An empty one is not offered.
struct MendingCommands {
    /// Starts the sound server.
    std::string startSound;
    /// Gives the user access to monitors and keys.
    std::string giveAccess;
};

/// For a person at a terminal: the output, how its volume is controlled and why, the keys, and problems with the
/// commands that solve them. One line or more each, and a newline at the end. Contains nothing that a key press
/// changes.
std::string inPlainWords(const MachineReport& report, const MendingCommands& commands);

} // namespace quenstal
