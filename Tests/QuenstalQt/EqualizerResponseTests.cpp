// The drawn response against what the audio callback does to sines.

#include "QuenstalApp/StatusMenuController/EqualizerResponse.hpp"

#include <cmath>
#include <numbers>
#include <vector>

#include <gmock/gmock.h>

namespace quenstal {
namespace {

constexpr double sampleRate = 48000;

/// The gain in decibels of a quiet sine that has gone through the callback for a second; its first half is let ring
/// out.
double heardDecibels(const EQProfile& profile, double frequency)
{
    constexpr std::size_t frames = 48000;
    constexpr float amplitude = 0.01F;
    std::vector<float> input(frames);
    for (std::size_t i = 0; i < frames; ++i)
        input[i] = amplitude
            * static_cast<float>(std::sin(2 * std::numbers::pi * frequency * static_cast<double>(i) / sampleRate));
    std::vector<float> output(frames);

    QSSoftwareVolumeSession session;
    QSSoftwareVolumeSessionPrepare(session, 1);
    session.channelCount = 1;
    QSSoftwareEQProfile handed{.enabled = true, .bandCount = 5};
    for (std::size_t band = 0; band < 5; ++band)
        handed.bands[band]
            = {static_cast<float>(profile.bands[band].frequencyHz), static_cast<float>(profile.bands[band].gainDB)};
    QSSoftwareVolumeSessionSetEQProfile(&session, &handed);
    const auto bytes = static_cast<std::uint32_t>(frames * sizeof(float));
    AudioBuffer in{1, bytes, input.data()};
    AudioBuffer out{1, bytes, output.data()};
    const AudioBufferList inputs{1, &in};
    AudioBufferList outputs{1, &out};
    QSSoftwareVolumeIOProc(0, nullptr, &inputs, nullptr, &outputs, nullptr, &session);

    double before = 0;
    double after = 0;
    for (std::size_t i = frames / 2; i < frames; ++i) {
        before += double{input[i]} * double{input[i]};
        after += double{output[i]} * double{output[i]};
    }
    return 10 * std::log10(after / before);
}

struct Row {
    EQPresetName preset;
    double frequency;
};

class Response : public testing::TestWithParam<Row> { };

TEST_P(Response, isWhatTheCallbackDoesToASine)
{
    const EQProfile profile(true, GetParam().preset, 0);
    EXPECT_NEAR(EqualizerResponse(profile).decibelsAt(GetParam().frequency),
        heardDecibels(profile, GetParam().frequency), 0.02);
}

INSTANTIATE_TEST_SUITE_P(Presets, Response,
    testing::Values(
        // clang-format off
        Row{EQPresetName::movie, 40},
        Row{EQPresetName::movie, 60},
        Row{EQPresetName::movie, 500},
        Row{EQPresetName::movie, 12000},
        Row{EQPresetName::night, 60},
        Row{EQPresetName::night, 16000},
        Row{EQPresetName::voice, 250},
        Row{EQPresetName::voice, 1000},
        Row{EQPresetName::music, 8000} // clang-format on
        ));

TEST(ResponseOfAFlatProfile, isZeroEverywhere)
{
    const EqualizerResponse response(EQProfile(true, EQPresetName::flat, 0));
    for (const double frequency : {20.0, 60.0, 1000.0, 20000.0})
        EXPECT_NEAR(response.decibelsAt(frequency), 0, 1e-9);
}

TEST(ResponseOfOneBand, reachesItsGainAtItsFrequency)
{
    const EqualizerResponse response(EQProfile().settingBand(2, -7.5));
    EXPECT_NEAR(response.decibelsAt(1000), -7.5, 0.001);
}

TEST(ResponseOfOneBand, doesNotDependOnThePreampOrTheSwitch)
{
    const EQProfile profile = EQProfile().settingBand(1, 5);
    const double plain = EqualizerResponse(profile).decibelsAt(250);
    EXPECT_EQ(EqualizerResponse(profile.settingPreamp(-6).settingEnabled(true)).decibelsAt(250), plain);
}

} // namespace
} // namespace quenstal
