// The equalizer heard through its response: sines in, decibels out.

#include "QuenstalDDC/SignalProcessingResponse.hpp"

#include <gtest/gtest.h>

namespace quenstal {
namespace {

using namespace testing_support;

struct Curve {
    const char* name;
    float preampDB;
    float gainsDB[softwareEQBandCount];
};

constexpr Curve curves[] = {
    {"flat", 0, {0, 0, 0, 0, 0}},
    {"voice", 0, {-3, -1, 4, 3, 0}},
    {"movie", 0, {4, 2, -1, 1, 3}},
    {"music", 0, {3, 1, 0, 2, 4}},
    {"night", 0, {2, 0, 0, -1, -3}},
    {"everything up", -12, {12, 12, 12, 12, 12}},
    {"everything down", 6, {-12, -12, -12, -12, -12}},
};

TEST(Response, isTheAnalyticOneAtAndBetweenTheBands)
{
    constexpr double tolerance = 0.01;
    constexpr float bandsHz[softwareEQBandCount] = {60, 250, 1000, 4000, 12000};
    for (const Curve& curve : curves) {
        QSSoftwareEQProfile profile{.enabled = true, .preampDB = curve.preampDB, .bandCount = 5};
        for (std::size_t k = 0; k < softwareEQBandCount; ++k)
            profile.bands[k] = {bandsHz[k], curve.gainsDB[k]};
        for (const double frequency : {20, 60, 125, 250, 500, 1000, 2000, 4000, 7000, 12000, 18000}) {
            EXPECT_NEAR(measuredGainDB(profile, frequency), analyticGainDB(profile, frequency), tolerance)
                << curve.name << " at " << frequency << " Hz";
        }
    }
}

} // namespace
} // namespace quenstal
