#include "QuenstalLinux/Audio/InputRepair.hpp"

#include <cmath>
#include <cstring>
#include <limits>
#include <vector>

#include <gtest/gtest.h>

namespace quenstal {
namespace {

constexpr float infinity = std::numeric_limits<float>::infinity();
constexpr float notANumber = std::numeric_limits<float>::quiet_NaN();

TEST(InputRepair, eachBadSampleIsReplacedWhereverItStands)
{
    const struct {
        float sample;
        float repaired;
        bool bad;
    } rows[] = {
        {0.5F, 0.5F, false},
        {-0.0F, -0.0F, false},
        {std::numeric_limits<float>::denorm_min(), std::numeric_limits<float>::denorm_min(), false},
        {16, 16, false},
        {-16, -16, false},
        {std::nextafter(16.0F, 17.0F), 16, true},
        {-1e30F, -16, true},
        {infinity, 0, true},
        {-infinity, 0, true},
        {notANumber, 0, true},
    };
    for (const auto& row : rows) {
        for (std::size_t place = 0; place < 67; ++place) {
            std::vector<float> samples(67, 0.25F);
            samples[place] = row.sample;
            EXPECT_EQ(needsRepair(samples.data(), samples.size()), row.bad) << row.sample;
            std::vector<float> repaired(67, 9);
            EXPECT_EQ(copyRepaired(samples.data(), samples.size(), repaired.data()), row.bad ? 1u : 0u);
            samples[place] = row.repaired;
            EXPECT_EQ(std::memcmp(repaired.data(), samples.data(), samples.size() * sizeof(float)), 0) << row.sample;
        }
    }
}

TEST(InputRepair, noSamplesNeedNothing)
{
    EXPECT_FALSE(needsRepair(nullptr, 0));
    EXPECT_EQ(copyRepaired(nullptr, 0, nullptr), 0u);
}

} // namespace
} // namespace quenstal
