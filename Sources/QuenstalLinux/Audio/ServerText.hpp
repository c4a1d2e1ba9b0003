#pragma once

// Texts as the sound server tells them, within `ServerLimits`.

#include "QuenstalLinux/Audio/AudioGraph.hpp"

#include <string>

struct spa_dict;

namespace quenstal {

struct TakenProperties {
    AudioProperties properties;
    /// Nothing was cut or left out.
    bool areWhole = true;
};

/// Null stands for none.
TakenProperties takenProperties(const spa_dict* dictionary);

/// The text under "name" of a JSON object; empty when there is none, or one that no node can have.
std::string nameIn(const char* json);

/// The text as a string of a JSON object: whoever names an output may use any character.
std::string quotedForJson(const std::string& text);

} // namespace quenstal
