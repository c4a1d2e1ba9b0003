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
           "Makes the volume keys work for monitors that play sound. If Quenstal is already running, opens its panel.\n"
           "\n"
           "  --background  do not open the panel of a running instance\n"
           "  --tell        start, and print a report to standard output now and whenever it changes\n"
           "  --report      print the running instance's report and exit\n"
           "  -h, --help    print this help and exit\n"
           "  --version     print the version and exit\n";
}

} // namespace quenstal
