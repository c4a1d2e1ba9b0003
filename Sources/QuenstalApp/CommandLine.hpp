#pragma once

#include <string>
#include <string_view>

#include <span>

namespace quenstal {

/// What the user asked for when starting the program.
struct CommandLine {
    enum class Request {
        /// Start, or open the running instance's panel.
        start,
        /// Start, or leave a running instance alone.
        startInBackground,
        /// Start, and print a report whenever it changes.
        startAndTell,
        /// Print the running instance's report.
        report,
        help,
        version
    };

    Request request = Request::start;
    /// The first unexpected word; empty when there is none.
    std::string unknown;

    bool operator==(const CommandLine&) const = default;
};

/// Reads the words after the program's name; the last request counts. An option that begins with one dash is the
/// toolkit's, and so is the word behind it.
CommandLine readCommandLine(std::span<const char* const> words);

/// The options, a line each.
std::string_view commandLineHelp();

} // namespace quenstal
