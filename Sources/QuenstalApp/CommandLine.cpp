#include "QuenstalApp/CommandLine.hpp"

#include <algorithm>
#include <array>
#include <utility>

namespace quenstal {

namespace {

using Request = CommandLine::Request;

constexpr std::array<std::pair<std::string_view, Request>, 6> options{{
    {"--background", Request::startInBackground},
    {"--tell", Request::startAndTell},
    {"--report", Request::report},
    {"--help", Request::help},
    {"-h", Request::help},
    {"--version", Request::version},
}};

} // namespace

CommandLine readCommandLine(std::span<const char* const> words)
{
    CommandLine line;
    bool isToolkitsValue = false;
    for (const std::string_view word : words) {
        const bool isValue = std::exchange(isToolkitsValue, false);
        const auto option = std::ranges::find(options, word, [](const auto& row) { return row.first; });
        if (option != options.end())
            line.request = option->second;
        else if (word.starts_with('-') && !word.starts_with("--"))
            isToolkitsValue = true;
        else if ((!isValue || word.starts_with('-')) && line.unknown.empty())
            line.unknown = word;
    }
    return line;
}

std::string_view commandLineHelp()
{
    return "Usage: quenstal [OPTION]\n"
           "Volume keys for monitors that play sound. Starting it again opens the panel of the one that runs.\n"
           "\n"
           "  --background  leave the one that runs alone\n"
           "  --tell        start, and say on standard output what was found, whenever that changes\n"
           "  --report      say what the one that runs found, and end\n"
           "  -h, --help    show this and end\n"
           "  --version     show the version and end\n";
}

} // namespace quenstal
