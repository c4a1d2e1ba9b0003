// The floating-point mode: set for the filters, given back to the caller, and no business of the result.

#include "QuenstalDDC/SoftwareVolumeTap.hpp"
#include "QuenstalDDC/SoftwareVolumeTap/FloatingPointMode.hpp"
#include "QuenstalDDC/SoftwareVolumeTap/Kernels.hpp"

#include <cfenv>
#include <cmath>
#include <vector>

#include <gtest/gtest.h>

namespace quenstal {
namespace {

/// A noise that is the same every time.
float noise(std::size_t i)
{
    return static_cast<float>(i * 2654435761u % 2000001) / 1000000.0f - 1.0f;
}

struct FloatingPointTest : testing::Test {
    FloatingPointTest()
    {
        QSSoftwareVolumeSessionPrepare(session, 0.5f);
        loud.resize(2 * 512);
        for (std::size_t i = 0; i < loud.size(); ++i)
            loud[i] = noise(i);
    }
    ~FloatingPointTest() override
    {
        setFloatingPointMode(ieeeMode);
        std::fesetround(FE_TONEAREST);
    }

    void setEQ(bool enabled)
    {
        const QSSoftwareEQProfile profile{.enabled = enabled,
            .preampDB = 3,
            .bandCount = 5,
            .bands = {{60, 12}, {250, -6}, {1000, 3}, {4000, 2}, {12000, 6}}};
        QSSoftwareVolumeSessionSetEQProfile(&session, &profile);
    }

    std::vector<float> cycle(std::vector<float> samples)
    {
        AudioBuffer buffer{2, static_cast<std::uint32_t>(samples.size() * sizeof(float)), samples.data()};
        const AudioBufferList input{1, &buffer};
        AudioBufferList output{1, &buffer};
        QSSoftwareVolumeIOProc(0, nullptr, &input, nullptr, &output, nullptr, &session);
        return samples;
    }

    std::size_t subnormalsInState() const
    {
        std::size_t count = 0;
        for (const auto& row : session.filterState) {
            for (const QSBiquadState& state : row) {
                for (const float value : {state.x1, state.x2, state.y1, state.y2})
                    count += std::size_t{std::fpclassify(value) == FP_SUBNORMAL};
            }
        }
        return count;
    }

    QSSoftwareVolumeSession session;
    std::vector<float> loud;
};

// A filter that rings out among subnormal numbers never leaves them, and each is many times as slow as another number.
TEST_F(FloatingPointTest, aFilterThatRingsOutHoldsNoSubnormalNumbers)
{
    for (const QSSignalKernels* kernels : availableKernels()) {
        session.kernels = kernels;
        setEQ(true);
        cycle(loud);
        for (int i = 0; i < 400; ++i) {
            cycle(std::vector<float>(loud.size(), 0));
            ASSERT_EQ(subnormalsInState(), 0u) << kernels->name << ", cycle " << i;
        }
        EXPECT_EQ(session.filterState[0][4].y1, 0) << kernels->name << ": silent in the end";
    }
}

TEST_F(FloatingPointTest, subnormalSamplesPassWhileTheEqualizerIsOff)
{
    const std::vector<float> faint{2e-40f, -2e-40f};
    const std::vector<float> halved{1e-40f, -1e-40f};
    for (const std::uint64_t mode : {ieeeMode, flushingMode}) {
        setFloatingPointMode(mode);
        const std::vector<float> result = cycle(faint);
        // Compared in a mode that can tell them from zero.
        setFloatingPointMode(ieeeMode);
        EXPECT_EQ(result, halved);
    }
}

TEST_F(FloatingPointTest, theCallersModeSurvives)
{
    for (const bool enabled : {true, false}) {
        setEQ(enabled);
        for (const std::uint64_t mode : {ieeeMode, flushingMode}) {
            setFloatingPointMode(mode);
            cycle(loud);
            EXPECT_EQ(floatingPointMode(), mode);
        }
        for (const int rounding : {FE_UPWARD, FE_DOWNWARD, FE_TOWARDZERO, FE_TONEAREST}) {
            ASSERT_EQ(std::fesetround(rounding), 0);
            cycle(loud);
            EXPECT_EQ(std::fegetround(), rounding);
        }
    }
}

TEST_F(FloatingPointTest, theCallersModeDoesNotChangeTheResult)
{
    for (const bool enabled : {true, false}) {
        setEQ(enabled);
        const QSSoftwareVolumeSession before = session;
        const std::vector<float> expected = cycle(loud);
        for (const int rounding : {FE_UPWARD, FE_DOWNWARD, FE_TOWARDZERO}) {
            session = before;
            ASSERT_EQ(std::fesetround(rounding), 0);
            const std::vector<float> result = cycle(loud);
            std::fesetround(FE_TONEAREST);
            EXPECT_EQ(result, expected) << rounding;
        }
    }
}

} // namespace
} // namespace quenstal
