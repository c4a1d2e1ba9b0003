// The procedure against the scalar reference, against the latency of its own recursion, and against equalizers of
// others, all in one run and in random order.

#include "Ladspa.hpp"
#include "QuenstalDDC/SoftwareVolumeTap.hpp"
#include "QuenstalDDC/SoftwareVolumeTap/FloatingPointMode.hpp"
#include "QuenstalDDC/SoftwareVolumeTap/Kernels.hpp"
#include "QuenstalDDC/SoftwareVolumeTap/Samples.hpp"
#include "Ratios.hpp"
#include "ResponsePlot.hpp"

#include <cstdio>
#include <filesystem>
#include <list>
#include <random>

namespace quenstal {
namespace {

enum class Equalizer { off, flat, music };

struct Case {
    const char* name;
    Equalizer equalizer;
    std::uint32_t channels;
    bool planar;
    QSSampleFormat format;
    std::uint32_t frames;
    /// What the fastest kernels are to reach against the reference; 0 where nothing is set.
    double atLeast;
};

using enum QSSampleFormat;

constexpr Case cases[] = {
    {"stereo, 1024 frames", Equalizer::music, 2, false, float32, 1024, 8.5},
    {"stereo, 64 frames", Equalizer::music, 2, false, float32, 64, 7},
    {"stereo, 4096 frames", Equalizer::music, 2, false, float32, 4096, 8.5},
    {"stereo apart, 1024 frames", Equalizer::music, 2, true, float32, 1024, 8.5},
    {"stereo apart, 256 frames", Equalizer::music, 2, true, float32, 256, 0},
    {"stereo apart, 64 frames", Equalizer::music, 2, true, float32, 64, 7},
    {"mono, 1024 frames", Equalizer::music, 1, false, float32, 1024, 4.3},
    {"4 channels, 1024 frames", Equalizer::music, 4, false, float32, 1024, 0},
    {"6 channels, 1024 frames", Equalizer::music, 6, false, float32, 1024, 0},
    {"8 channels, 1024 frames", Equalizer::music, 8, false, float32, 1024, 11},
    {"stereo int16, 1024 frames", Equalizer::music, 2, false, int16, 1024, 0},
    {"stereo int32, 1024 frames", Equalizer::music, 2, false, int32, 1024, 0},
    {"stereo float64, 1024 frames", Equalizer::music, 2, false, float64, 1024, 0},
    {"flat, stereo, 1024 frames", Equalizer::flat, 2, false, float32, 1024, 0},
    {"off, float32, 1024 frames", Equalizer::off, 2, false, float32, 1024, 11},
    {"off, int16, 1024 frames", Equalizer::off, 2, false, int16, 1024, 9},
    {"off, float64, 1024 frames", Equalizer::off, 2, false, float64, 1024, 6.5},
    {"off, int32, 1024 frames", Equalizer::off, 2, false, int32, 1024, 6},
};

/// What the fastest kernels may take of long blocks, in terms of the recursion alone.
constexpr double mostOverFloor = 1.12;

/// Half as loud as can be, the same every time.
float noise()
{
    static std::mt19937 random(1);
    return static_cast<float>(static_cast<std::int32_t>(random())) * 0x1p-32f;
}

/// A session and the buffers of its cycle.
class Rig {
public:
    Rig(const Case& given, const QSSignalKernels& kernels)
        : bufferBytes_(given.frames * (given.planar ? 1 : given.channels) * bytesPerSample(given.format))
        , frames_(given.frames)
        , input_(bufferBytes_ * (given.planar ? given.channels : 1))
        , output_(input_.size())
    {
        withFormat(given.format, [&](auto format) {
            for (std::size_t i = 0; i < input_.size() / bytesPerSample(given.format); ++i)
                encodeAt<decltype(format)>(input_.data(), i, noise());
        });
        QSSoftwareVolumeSessionPrepare(session_, 0.7f);
        session_.kernels = &kernels;
        session_.sampleFormat = static_cast<std::uint32_t>(given.format);
        session_.nonInterleaved = given.planar;
        setEqualizer(given.equalizer);
        for (std::size_t at = 0; at < input_.size(); at += bufferBytes_) {
            const std::uint32_t channels = given.planar ? 1 : given.channels;
            inputs_.push_back({channels, bufferBytes_, input_.data() + at});
            outputs_.push_back({channels, bufferBytes_, output_.data() + at});
        }
    }

    void silence() { std::ranges::fill(input_, std::byte{0}); }

    void cycle()
    {
        const AudioBufferList input{static_cast<std::uint32_t>(inputs_.size()), inputs_.data()};
        AudioBufferList output{static_cast<std::uint32_t>(outputs_.size()), outputs_.data()};
        QSSoftwareVolumeIOProc(0, nullptr, &input, nullptr, &output, nullptr, &session_);
    }

    void measure(benchmark::State& state)
    {
        for (auto unused : state) {
            static_cast<void>(unused);
            cycle();
            benchmark::ClobberMemory();
        }
        state.counters["frames"] = frames_;
    }

private:
    void setEqualizer(Equalizer equalizer)
    {
        QSSoftwareEQProfile profile{.enabled = equalizer != Equalizer::off, .preampDB = -3, .bandCount = 5};
        if (equalizer == Equalizer::music) {
            constexpr QSSoftwareEQBand bands[] = {{60, 4}, {250, -3}, {1000, 2.5f}, {4000, -2}, {12000, 5}};
            std::ranges::copy(bands, profile.bands);
        }
        QSSoftwareVolumeSessionSetEQProfile(&session_, &profile);
    }

    std::uint32_t bufferBytes_;
    std::uint32_t frames_;
    std::vector<std::byte> input_;
    std::vector<std::byte> output_;
    std::vector<AudioBuffer> inputs_;
    std::vector<AudioBuffer> outputs_;
    QSSoftwareVolumeSession session_;
};

std::string nameOf(const Case& given, const QSSignalKernels& kernels)
{
    return std::string(given.name) + ": " + kernels.name;
}

constexpr const char* floorName = "the recursion alone";
constexpr const char* signalName = "signal";
constexpr const char* silenceName = "silence after signal";

/// y = (x − a1·y1) − a2·y2, each result waiting for the last: no order of the same operations is faster.
void measureFloor(benchmark::State& state)
{
    const FloatingPointModeScope scope(flushingMode);
    constexpr int frames = 1024;
    float x = 0.1f;
    float a1 = -1.6f;
    float a2 = 0.8f;
    benchmark::DoNotOptimize(x);
    benchmark::DoNotOptimize(a1);
    benchmark::DoNotOptimize(a2);
    float y1 = 0;
    float y2 = 0;
    for (auto unused : state) {
        static_cast<void>(unused);
        for (int i = 0; i < frames; ++i) {
            const float y = x - a1 * y1 - a2 * y2;
            y2 = y1;
            y1 = y;
        }
        benchmark::DoNotOptimize(y1);
    }
    state.counters["frames"] = frames;
}

void registerOwn(std::list<Rig>& rigs)
{
    for (const Case& given : cases) {
        for (const QSSignalKernels* kernels : availableKernels()) {
            Rig& rig = rigs.emplace_back(given, *kernels);
            benchmark::RegisterBenchmark(
                nameOf(given, *kernels).c_str(), [&rig](benchmark::State& state) { rig.measure(state); });
        }
    }
    Rig& loud = rigs.emplace_back(cases[0], fastestKernels());
    benchmark::RegisterBenchmark(signalName, [&loud](benchmark::State& state) { loud.measure(state); });
    Rig& silent = rigs.emplace_back(cases[0], fastestKernels());
    silent.cycle();
    silent.silence();
    benchmark::RegisterBenchmark(silenceName, [&silent](benchmark::State& state) { silent.measure(state); });
    benchmark::RegisterBenchmark(floorName, measureFloor);
}

struct Peer {
    const char* name;
    LadspaChoice choice;
};

std::vector<Peer> peers()
{
    std::vector<std::pair<std::string, float>> bells{
        {"Input gain (G)", 1}, {"Output gain (G)", 1}, {"Shift gain (G)", 1}};
    constexpr float bands[5][2] = {{60, 1.58f}, {250, 0.71f}, {1000, 1.33f}, {4000, 0.79f}, {12000, 1.78f}};
    for (int i = 0; i < 5; ++i) {
        const std::string number = std::to_string(i);
        bells.insert(bells.end(),
            {{"Filter type " + number, 1.0f}, {"Frequency " + number + " (Hz)", bands[i][0]},
                {"Gain " + number + " (G)", bands[i][1]}, {"Quality factor " + number, 1.0f}});
    }
    return {
        {"swh triplePara (5 biquads)",
            {"/usr/lib/ladspa/triple_para_1204.so", "triplePara", false,
                {{"Low-shelving gain (dB)", 4}, {"Low-shelving frequency (Hz)", 60}, {"Low-shelving slope", 0.5f},
                    {"Band 1 gain (dB)", -3}, {"Band 1 frequency (Hz)", 250}, {"Band 1 bandwidth (octaves)", 1.4f},
                    {"Band 2 gain (dB)", 2.5f}, {"Band 2 frequency (Hz)", 1000}, {"Band 2 bandwidth (octaves)", 1.4f},
                    {"Band 3 gain (dB)", -2}, {"Band 3 frequency (Hz)", 4000}, {"Band 3 bandwidth (octaves)", 1.4f},
                    {"High-shelving gain (dB)", 5}, {"High-shelving frequency (Hz)", 12000},
                    {"High-shelving slope", 0.5f}}}},
        {"lsp para_equalizer_x16 (5 of 16 in use)",
            {"/usr/lib/ladspa/lsp-plugins-ladspa-1.2.5.so",
                "http://lsp-plug.in/plugins/ladspa/para_equalizer_x16_stereo", true, bells}},
    };
}

/// The peers' memory, and the peers that there are.
class Peers {
public:
    void registerAll()
    {
        for (auto& side : samples_) {
            side.resize(frames);
            std::ranges::generate(side, noise);
        }
        float* input[2] = {samples_[0].data(), samples_[1].data()};
        float* output[2] = {samples_[2].data(), samples_[3].data()};
        for (const Peer& peer : peers()) {
            std::string reason;
            if (auto equalizer = loadLadspa(peer.choice, input, output, reason)) {
                LadspaEqualizer& loaded = *loaded_.emplace_back(std::move(equalizer));
                benchmark::RegisterBenchmark(peer.name, [&loaded](benchmark::State& state) { measure(state, loaded); });
            } else {
                std::printf("skipped: %s: %s\n", peer.name, reason.c_str());
            }
        }
    }

private:
    static constexpr std::uint32_t frames = 1024;

    static void measure(benchmark::State& state, LadspaEqualizer& equalizer)
    {
        const FloatingPointModeScope scope(flushingMode);
        for (auto unused : state) {
            static_cast<void>(unused);
            equalizer.run(frames);
            benchmark::ClobberMemory();
        }
        state.counters["frames"] = frames;
    }

    std::vector<float> samples_[4];
    std::vector<std::unique_ptr<LadspaEqualizer>> loaded_;
};

/// One line; nothing for what a filter left out.
bool print(const char* name, const char* what, const std::vector<double>& times, const Spread& ratio)
{
    if (times.empty())
        return false;
    std::printf("%-40s %-10s %8.3f   %6.2f  %6.2f  %6.2f", name, what, spreadOf(times).median, ratio.least,
        ratio.median, ratio.largest);
    return true;
}

void printOwn(const RatioReporter& reporter)
{
    std::printf("\n%-40s %-10s %8s   %s\n", "Against the scalar reference", "kernels", "ns/frame",
        "times as fast: least, median, most");
    for (const Case& given : cases) {
        const auto& reference = reporter.times(nameOf(given, referenceKernels));
        for (const QSSignalKernels* kernels : availableKernels()) {
            const auto& times = reporter.times(nameOf(given, *kernels));
            const Spread ratio = ratioOf(reference, times);
            if (!print(given.name, kernels->name, times, ratio))
                continue;
            const bool judged = kernels == &fastestKernels() && given.atLeast > 0;
            if (judged)
                std::printf("   %s %.1f", ratio.median >= given.atLeast ? "reaches" : "MISSES", given.atLeast);
            std::printf("\n");
        }
    }
}

void printOthers(const RatioReporter& reporter)
{
    const QSSignalKernels& fastest = fastestKernels();
    const auto& stereo = reporter.times(nameOf(cases[0], fastest));
    std::printf("\n%-40s %-10s %8s   %s\n", "Against the others, stereo, 1024 frames", "", "ns/frame",
        "times as long as ours: least, median, most");
    for (const Peer& peer : peers()) {
        const auto& times = reporter.times(peer.name);
        if (print(peer.name, "", times, ratioOf(times, stereo)))
            std::printf("\n");
    }
    std::printf("\n%-40s %-10s %8s   %s\n", "Against the recursion's latency", "", "ns/frame", "ours in terms of it");
    const auto& floor = reporter.times(floorName);
    for (const Case* given : {&cases[0], &cases[2], &cases[3]}) {
        const auto& times = reporter.times(nameOf(*given, fastest));
        const Spread ratio = ratioOf(times, floor);
        if (print(given->name, fastest.name, times, ratio))
            std::printf("   %s %.2f\n", ratio.median <= mostOverFloor ? "reaches" : "MISSES", mostOverFloor);
    }
    const auto& silence = reporter.times(silenceName);
    std::printf("\n%-40s %-10s %8s   %s\n", "Silence after a signal", "", "ns/frame", "in terms of the signal");
    if (print(silenceName, fastest.name, silence, ratioOf(silence, reporter.times(signalName))))
        std::printf("\n");
}

} // namespace
} // namespace quenstal

int main(int argc, char** argv)
{
    using namespace quenstal;
    // Ratios are taken repetition by repetition, so there must be enough of them, and each must be reported.
    char repetitions[] = "--benchmark_repetitions=15";
    char everyOne[] = "--benchmark_report_aggregates_only=false";
    char interleaved[] = "--benchmark_enable_random_interleaving=true";
    char shortRuns[] = "--benchmark_min_time=0.02";
    std::vector<char*> arguments(argv, argv + 1);
    arguments.insert(arguments.end(), {shortRuns});
    arguments.insert(arguments.end(), argv + 1, argv + argc);
    arguments.insert(arguments.end(), {repetitions, everyOne, interleaved});
    int count = static_cast<int>(arguments.size());
    benchmark::Initialize(&count, arguments.data());

    std::list<Rig> rigs;
    registerOwn(rigs);
    Peers others;
    others.registerAll();
    RatioReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    printOwn(reporter);
    printOthers(reporter);
    plotResponses((std::filesystem::path(argv[0]).parent_path() / "response.svg").string());
    return 0;
}
