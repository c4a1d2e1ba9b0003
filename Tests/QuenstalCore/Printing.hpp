#pragma once

// How a failed expectation shows the models: as their JSON. Every source of a suite includes this or none does.

#include "QuenstalCore/ModeSelector.hpp"
#include "QuenstalCore/Models/Json.hpp"
#include "QuenstalCore/VolumeReducer.hpp"

#include <concepts>
#include <ostream>

namespace quenstal {

template <typename T>
concept HasJSONForm = requires(Json& json, const T& value)
{
    {
        to_json(json, value)
        } -> std::same_as<void>;
};

template <HasJSONForm T>
void PrintTo(const T& value, std::ostream* stream)
try {
    *stream << encodeJSON(value);
} catch (const EncodingError& error) {
    *stream << error.what();
}

inline void PrintTo(const VolumeCommand& command, std::ostream* stream)
{
    command.match([&](const VolumeCommand::SetLevel& set) { *stream << "setLevel(" << set.level << ")"; },
        [&](const VolumeCommand::SetMuted& set) { *stream << "setMuted(" << set.muted << ")"; },
        [&](const VolumeCommand::StepUp&) { *stream << "stepUp"; },
        [&](const VolumeCommand::StepDown&) { *stream << "stepDown"; },
        [&](const VolumeCommand::ToggleMute&) { *stream << "toggleMute"; });
}

inline void PrintTo(const VolumeReducer::Result& result, std::ostream* stream)
{
    PrintTo(result.next, stream);
    *stream << ", last audible " << result.lastAudibleLevel;
}

inline void PrintTo(const ModeSelection& selection, std::ostream* stream)
{
    PrintTo(selection.mode, stream);
    for (const DiagnosticIssue& issue : selection.diagnostics) {
        *stream << "\n  ";
        PrintTo(issue, stream);
    }
}

} // namespace quenstal
