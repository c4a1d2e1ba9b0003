// Input that nobody should hand in: never a crash, never a sample or a byte where it does not belong.

#include "QuenstalDDC/SignalProcessingHostile.hpp"

#include <random>
#include <vector>

#include <gtest/gtest.h>

namespace quenstal {
namespace {

TEST(HostileInput, randomListsBreakNothing)
{
    constexpr int scripts = 5000;
    std::mt19937 random(7);
    for (int i = 0; i < scripts; ++i) {
        std::vector<std::uint8_t> script(40 + random() % 400);
        for (std::uint8_t& byte : script)
            byte = static_cast<std::uint8_t>(random());
        ASSERT_EQ(testing_support::faultOfCycles(script), "") << "script " << i;
    }
}

TEST(HostileInput, anEmptyScriptBreaksNothing)
{
    EXPECT_EQ(testing_support::faultOfCycles({}), "");
}

} // namespace
} // namespace quenstal
