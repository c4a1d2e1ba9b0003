// Every kernel gives the bits of the scalar reference.

#include "QuenstalDDC/SignalProcessingComparison.hpp"
#include "QuenstalDDC/SignalProcessingFused.hpp"

#include <utility>

#include <gtest/gtest.h>

namespace quenstal {
namespace {

using namespace testing_support;

struct KernelTest : testing::TestWithParam<Layout> { };

TEST_P(KernelTest, givesTheBitsOfTheReference)
{
    EXPECT_EQ(firstDifference(availableKernels(), GetParam(), 4000), "");
}

INSTANTIATE_TEST_SUITE_P(Layouts, KernelTest, testing::ValuesIn(everyLayout()),
    [](const testing::TestParamInfo<Layout>& layout) { return layout.param.name(); });

/// The fastest kernels with two coefficients of one band in each other's place.
const QSSignalKernels swappedOperand{
    .name = "swapped operand",
    .process =
        [](QSSoftwareVolumeSession& session, QSCycle& cycle, const QSSampleRun& run) {
            std::swap(session.coefficients[3].b1, session.coefficients[3].b2);
            fastestKernels().process(session, cycle, run);
            std::swap(session.coefficients[3].b1, session.coefficients[3].b2);
        },
    .processPair = fastestKernels().processPair,
};

TEST(Comparison, findsASwappedOperand)
{
    const QSSignalKernels* const kernels[] = {&referenceKernels, &swappedOperand};
    EXPECT_NE(firstDifference(kernels, {QSSampleFormat::float32, false, 2}, 100), "");
}

TEST(Comparison, findsAFusedMultiplyAdd)
{
    if (!fusedKernels())
        GTEST_SKIP() << "no fused multiply-add here";
    const QSSignalKernels* const kernels[] = {&referenceKernels, fusedKernels()};
    for (const Layout& layout : {Layout{QSSampleFormat::float32, false, 2}, {QSSampleFormat::float32, true, 2}})
        EXPECT_NE(firstDifference(kernels, layout, 100), "") << layout.name();
}

/// One cycle of a mono buffer with the equalizer off.
template <class Sample>
std::vector<Sample> through(
    const QSSignalKernels& kernels, QSSampleFormat format, float gain, std::vector<Sample> samples)
{
    QSSoftwareVolumeSession session;
    QSSoftwareVolumeSessionPrepare(session, gain);
    session.sampleFormat = static_cast<std::uint32_t>(format);
    session.kernels = &kernels;
    AudioBuffer buffer{1, static_cast<std::uint32_t>(samples.size() * sizeof(Sample)), samples.data()};
    const AudioBufferList input{1, &buffer};
    AudioBufferList output{1, &buffer};
    QSSoftwareVolumeIOProc(0, nullptr, &input, nullptr, &output, nullptr, &session);
    return samples;
}

TEST(Kernels, theReferenceLeadsAndTheFastestIsTheLast)
{
    EXPECT_EQ(availableKernels().front(), &referenceKernels);
    EXPECT_EQ(availableKernels().back(), &fastestKernels());
    EXPECT_GE(availableKernels().size(), 2u) << "every supported processor has vectors";
}

TEST(Kernels, everySixteenBitSampleHasTheBitsOfTheReference)
{
    std::vector<std::int16_t> all;
    for (int value = INT16_MIN; value <= INT16_MAX; ++value)
        all.push_back(static_cast<std::int16_t>(value));
    for (const float gain : {1.0f, 0.7f, 0.5f, 0.001f}) {
        const auto expected = through(referenceKernels, QSSampleFormat::int16, gain, all);
        for (const QSSignalKernels* kernels : availableKernels())
            EXPECT_EQ(through(*kernels, QSSampleFormat::int16, gain, all), expected) << kernels->name << " " << gain;
    }
}

TEST(Kernels, thirtyTwoBitSamplesFromEndToEndHaveTheBitsOfTheReference)
{
    // A prime step: every low bit pattern comes up, and both ends.
    constexpr std::int64_t step = 9973;
    std::vector<std::int32_t> many{INT32_MAX};
    for (std::int64_t value = INT32_MIN; value <= INT32_MAX; value += step)
        many.push_back(static_cast<std::int32_t>(value));
    for (const float gain : {1.0f, 0.3f}) {
        const auto expected = through(referenceKernels, QSSampleFormat::int32, gain, many);
        for (const QSSignalKernels* kernels : availableKernels())
            EXPECT_EQ(through(*kernels, QSSampleFormat::int32, gain, many), expected) << kernels->name << " " << gain;
    }
}

} // namespace
} // namespace quenstal
