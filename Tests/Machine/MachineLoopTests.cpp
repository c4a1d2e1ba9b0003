// Limits that follow the machine's speed. Runs on this machine, which is told to be three times slower than usual.

#include "Machine/MachineLoop.hpp"

#include <gtest/gtest.h>

namespace quenstal {
namespace {

using namespace std::chrono_literals;

TEST(MachineLoop, aLimitIsAsManyTimesLonger)
{
    EXPECT_EQ(slowed(20s), 60s);
}

TEST(MachineLoop, aLimitThatIsMetSaysHowLongItWas)
{
    MachineLoop loop;
    const testing::AssertionResult result = loop.runUntil([] { return false; }, 10ms);
    EXPECT_FALSE(result);
    EXPECT_STREQ(result.message(), "gave up after 0.03 s (3 times the usual 0.01 s: this machine is slow)");
}

TEST(MachineLoop, whatComesAboutInTimeIsASuccess)
{
    MachineLoop loop;
    int turns = 0;
    EXPECT_TRUE(loop.runUntil([&] { return ++turns == 3; }));
}

} // namespace
} // namespace quenstal
