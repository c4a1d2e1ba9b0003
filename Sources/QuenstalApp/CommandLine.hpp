#pragma once

#include <string>
#include <string_view>

#include <span>

namespace quenstal {

/// What the user asked for when starting the program.
struct CommandLine {
    enum class Request {
        /// Start, or show the one that runs.
        start,
        /// Start, or leave the one that runs alone.
        startInBackground,
        /// Start, and say what was found.
        startAndTell,
        /// Say what the one that runs found.
        report,
        help,
        version
    };

    Request request = Request::start;
    /// The first word that is not understood; empty when all of them are.
    std::string unknown;

    bool operator==(const CommandLine&) const = default;
};

/// Reads the words after the program's name; the last request counts. An option that begins with one dash is the
/// toolkit's, and so is the word behind it.
CommandLine readCommandLine(std::span<const char* const> words);

/// The options, a line each.
std::string_view commandLineHelp();

} // namespace quenstal
