// Names that others chose, at every place where the program shows them.

#include "Journeys/JourneyTest.hpp"
#include "QuenstalApp/MachineReport.hpp"

#include <string>
#include <vector>

namespace quenstal {
namespace {

/// Goes on in lines of its own, moves the cursor of a terminal, turns the direction, and is no UTF-8 in places.
const std::string hostile
    = "B&O <b>27</b>\nKeys:     captured\r\x1B[2J\u009B31m\u202Etfel\u2066\u2028\uFEFF \xFF\xE2\x82\uFFFE"
    + std::string(5000, 'x');

/// Whether nothing of it is left but what can be seen.
testing::AssertionResult isHarmless(const std::string& text)
{
    for (const char* mark : {"\n", "\r", "\x1B", "\u009B", "\u202E", "\u2066", "\u2028", "\uFEFF", "\xFF", "\uFFFE"}) {
        if (text.find(mark) != std::string::npos)
            return testing::AssertionFailure() << "there is " << testing::PrintToString(std::string(mark)) << " in it";
    }
    constexpr std::size_t longest = 1000;
    return text.size() <= longest ? testing::AssertionSuccess() : testing::AssertionFailure() << "it is too long";
}

std::vector<std::string> linesOf(const std::string& text)
{
    std::vector<std::string> lines;
    for (std::size_t begin = 0; begin < text.size();) {
        const std::size_t end = text.find('\n', begin);
        lines.push_back(text.substr(begin, end - begin));
        begin = end == std::string::npos ? text.size() : end + 1;
    }
    return lines;
}

struct OutsideTextTest : JourneyTest {
    void SetUp() override
    {
        machine.audio.addOutput({.name = hostile,
            .transport = AudioTransportCode::builtIn,
            .uid = "uid",
            .volumes = {{audioElementMain, {.value = 0.5F, .settable = true}}}});
        machine.monitorWatch.setProblems({{DisplayBusProblem::Kind::accessDenied, "/dev/i2c-5\n\x1B[m", hostile, ""}});
        machine.preferences.setProblem(PreferencesProblem{PreferencesProblem::Kind::notSaved, "/home/" + hostile});
        machine.launch();
    }
};

TEST_F(OutsideTextTest, isHarmlessInKeyFeedback)
{
    machine.press(AuxiliaryButton::soundUp);
    ASSERT_EQ(machine.desktop.keyFeedback().size(), 1u);
    const KeyFeedback& feedback = machine.desktop.keyFeedback().front();
    EXPECT_TRUE(isHarmless(feedback.text)) << feedback.text;
    EXPECT_TRUE(feedback.text.starts_with("B&O <b>27</b> Keys:     captured"));
    EXPECT_TRUE(isHarmless(feedback.title));
}

TEST_F(OutsideTextTest, isHarmlessOnTheIcon)
{
    EXPECT_TRUE(isHarmless(machine.desktop.statusButton()->title));
    EXPECT_TRUE(isHarmless(machine.desktop.statusButton()->accessibilityDescription));
}

TEST_F(OutsideTextTest, isHarmlessOnEveryScreenOfThePanel)
{
    EXPECT_TRUE(isHarmless(machine.view().snapshot().outputName));
    EXPECT_TRUE(isHarmless(machine.view().setupSnapshot().outputSummary));
    ASSERT_EQ(machine.view().monitorProblems().size(), 1u);
    EXPECT_TRUE(isHarmless(machine.view().monitorProblems().front().monitor));
    EXPECT_EQ(machine.view().monitorProblems().front().device, "/dev/i2c-5  [m");
}

TEST_F(OutsideTextTest, forgesNoLineOfTheCopiedReport)
{
    machine.view().copyDiagnosticsFromMore();
    for (const std::string& line : linesOf(machine.desktop.pasteboard().value())) {
        EXPECT_TRUE(isHarmless(line)) << line;
        EXPECT_TRUE(line.starts_with("[")) << line;
    }
}

TEST_F(OutsideTextTest, forgesNoLineOfWhatIsFound)
{
    const auto lines = linesOf(inPlainWords(machine.delegate->machineReport(), {}));
    const std::vector<std::string> headings{"Output:", "Volume:", "Keys:", "Problems:", "   "};
    ASSERT_EQ(lines.size(), headings.size());
    for (std::size_t line = 0; line < lines.size(); ++line) {
        EXPECT_TRUE(isHarmless(lines[line])) << lines[line];
        EXPECT_TRUE(lines[line].starts_with(headings[line])) << lines[line];
    }
}

TEST_F(OutsideTextTest, isHarmlessInANotice)
{
    machine.preferences.setProblem(PreferencesProblem{PreferencesProblem::Kind::notReadable, hostile});
    for (const std::string& notice : machine.desktop.notices())
        EXPECT_TRUE(isHarmless(notice)) << notice;
    EXPECT_FALSE(machine.desktop.notices().empty());
}

} // namespace
} // namespace quenstal
