#include "QuenstalApp/CommandLine.hpp"

#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace quenstal {
namespace {

using Request = CommandLine::Request;

struct Row {
    std::string name;
    std::vector<const char*> words;
    Request request;
    std::string unknown;
};

struct CommandLineTest : testing::TestWithParam<Row> { };

TEST_P(CommandLineTest, isReadAsInTheTable)
{
    const CommandLine line = readCommandLine(GetParam().words);
    EXPECT_EQ(line.request, GetParam().request);
    EXPECT_EQ(line.unknown, GetParam().unknown);
}

const std::vector<Row> rows{
    {"nothing", {}, Request::start, ""},
    {"background", {"--background"}, Request::startInBackground, ""},
    {"tell", {"--tell"}, Request::startAndTell, ""},
    {"report", {"--report"}, Request::report, ""},
    {"help", {"--help"}, Request::help, ""},
    {"shortHelp", {"-h"}, Request::help, ""},
    {"version", {"--version"}, Request::version, ""},
    {"theLastCounts", {"--tell", "--help"}, Request::help, ""},
    {"misspelt", {"--vresion"}, Request::start, "--vresion"},
    {"theFirstUnknownIsNamed", {"--one", "--two"}, Request::start, "--one"},
    {"aWord", {"loud"}, Request::start, "loud"},
    {"theToolkitsOption", {"-style", "fusion", "--tell"}, Request::startAndTell, ""},
    {"behindTheToolkitsValue", {"-style", "fusion", "loud"}, Request::start, "loud"},
    {"unknownBehindTheToolkitsOption", {"-reverse", "--loud"}, Request::start, "--loud"},
};

INSTANTIATE_TEST_SUITE_P(
    Words, CommandLineTest, testing::ValuesIn(rows), [](const auto& row) { return row.param.name; });

TEST(CommandLineHelpTest, namesEveryOption)
{
    for (const char* option : {"--background", "--tell", "--report", "--help", "--version"})
        EXPECT_NE(commandLineHelp().find(option), std::string_view::npos) << option;
}

} // namespace
} // namespace quenstal
