// What one operation of the controller costs beside its ports, which here only hand out what they hold: the time
// and the allocations a call. A real port's bus or server takes thousands of times as long.

#include "../Support/CountedAllocations.hpp"
#include "QuenstalCore/QuenstalController.hpp"

#include <memory>
#include <optional>

#include <benchmark/benchmark.h>

namespace quenstal {
namespace {

// Names of the length that sound servers and displays give.
AudioOutputDevice speakers()
{
    return {"61", "Built-in Audio Analogue Stereo", AudioTransport::builtIn, true,
        "alsa_output.pci-0000_00_1f.3.analog-stereo"};
}

AudioOutputDevice monitor()
{
    return {"74", "Radeon High Definition Audio Controller", AudioTransport::hdmi, false,
        "alsa_output.pci-0000_03_00.1.hdmi-stereo-extra1"};
}

DisplayControlTarget panel()
{
    return {"card1-DP-2", "DELL U2723QE (card1-DP-2)", true, true};
}

class Machine final : public AudioDeviceProviding, public DisplayTargetProviding, public PermissionProviding {
public:
    Machine(std::optional<AudioOutputDevice> device, std::optional<DisplayControlTarget> display)
        : device_(std::move(device))
        , display_(std::move(display))
    {
    }
    std::optional<AudioOutputDevice> defaultOutputDevice() override { return device_; }
    std::optional<DisplayControlTarget> displayTarget(const AudioOutputDevice&) override { return display_; }
    PermissionState currentPermissionState() override { return PermissionState::allGranted(); }

private:
    std::optional<AudioOutputDevice> device_;
    std::optional<DisplayControlTarget> display_;
};

class Output final : public SystemVolumeControlling {
public:
    VolumeSnapshot readVolume(const AudioOutputDevice&) override { return volume_; }
    void setVolume(const VolumeSnapshot& snapshot, const AudioOutputDevice&) override { volume_ = snapshot; }

private:
    VolumeSnapshot volume_ = VolumeSnapshot::defaultAudible();
};

class Monitor final : public DDCVolumeControlling {
public:
    explicit Monitor(bool takesWrites)
        : takesWrites_(takesWrites)
    {
    }
    VolumeSnapshot readVolume(const DisplayControlTarget&) override { return volume_; }
    void setVolume(const VolumeSnapshot& snapshot, const DisplayControlTarget&) override
    {
        if (!takesWrites_)
            throw QuenstalError::commandFailed("The monitor did not answer.");
        volume_ = snapshot;
    }

private:
    bool takesWrites_;
    VolumeSnapshot volume_ = VolumeSnapshot::defaultAudible();
};

class Session final : public SoftwareVolumeControlling {
public:
    bool isAvailable(const AudioOutputDevice&) override { return true; }
    VolumeSnapshot readVolume(const AudioOutputDevice&) override { return volume_; }
    void setVolume(const VolumeSnapshot& snapshot, const AudioOutputDevice&) override { volume_ = snapshot; }
    void stopAll() override { }

private:
    VolumeSnapshot volume_ = VolumeSnapshot::defaultAudible();
};

/// One road of a command: which output plays, and how its volume is set.
enum class Road { noOutput, system, hardware, softwareByChoice, software, failingHardware };

std::unique_ptr<QuenstalController> makeController(Road road)
{
    using enum Road;
    std::optional<AudioOutputDevice> device = monitor();
    if (road == noOutput)
        device.reset();
    if (road == system)
        device = speakers();
    const bool hasDisplay = road == hardware || road == softwareByChoice || road == failingHardware;
    const auto machine = std::make_shared<Machine>(device, hasDisplay ? std::optional(panel()) : std::nullopt);
    const auto store = std::make_shared<InMemoryEQProfileStore>();
    store->saveProfile(EQProfile(true, EQPresetName::movie, -4), *monitor().coreAudioUID);
    store->setSoftwareProcessingPreferred(road == softwareByChoice, *monitor().coreAudioUID);
    return std::make_unique<QuenstalController>(machine, machine, machine, std::make_shared<Output>(),
        std::make_shared<Monitor>(road != failingHardware), std::make_shared<Session>(), store, ModeSelector(),
        VolumeReducer(0.0625), VolumeSnapshot::defaultAudible());
}

template <typename Operation>
void measure(benchmark::State& run, QuenstalController& controller, Operation operation)
{
    operation(controller);
    const std::uint64_t before = allocationCount();
    for (auto _ : run)
        benchmark::DoNotOptimize(operation(controller));
    run.counters["allocations"]
        = benchmark::Counter(static_cast<double>(allocationCount() - before), benchmark::Counter::kAvgIterations);
    run.counters["issues"] = static_cast<double>(controller.state().diagnostics.size());
}

void refresh(benchmark::State& run, Road road)
{
    measure(run, *makeController(road), [](QuenstalController& controller) { return controller.refresh(); });
}

void handle(benchmark::State& run, Road road)
{
    measure(run, *makeController(road),
        [](QuenstalController& controller) { return controller.handle(VolumeCommand::toggleMute()); });
}

void updateEQBand(benchmark::State& run, Road road)
{
    measure(run, *makeController(road), [](QuenstalController& controller) { return controller.updateEQBand(2, -3); });
}

/// The part of every operation that hands out the new state.
void copyState(benchmark::State& run, Road road)
{
    measure(
        run, *makeController(road), [](QuenstalController& controller) { return QuenstalState(controller.state()); });
}

BENCHMARK_CAPTURE(refresh, noOutput, Road::noOutput);
BENCHMARK_CAPTURE(refresh, system, Road::system);
BENCHMARK_CAPTURE(refresh, hardware, Road::hardware);
BENCHMARK_CAPTURE(refresh, softwareByChoice, Road::softwareByChoice);
BENCHMARK_CAPTURE(refresh, software, Road::software);
BENCHMARK_CAPTURE(handle, system, Road::system);
BENCHMARK_CAPTURE(handle, hardware, Road::hardware);
BENCHMARK_CAPTURE(handle, software, Road::software);
BENCHMARK_CAPTURE(handle, failingHardware, Road::failingHardware);
BENCHMARK_CAPTURE(updateEQBand, software, Road::software);
BENCHMARK_CAPTURE(copyState, hardware, Road::hardware);
BENCHMARK_CAPTURE(copyState, softwareByChoice, Road::softwareByChoice);

} // namespace
} // namespace quenstal
