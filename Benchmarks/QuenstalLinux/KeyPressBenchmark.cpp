// What a held volume key costs: 60 presses at 30 Hz through the whole controller, to a monitor that takes real time,
// over buses that carry each request literally and over the engine. For each, how long a press holds up the main
// thread, when the monitor has the final value, and how many presses had their effect.

#include "EmulatedMonitor/MachineFixture.hpp"
#include "QuenstalApp/NativeAdapters/DisplayAdapters.hpp"
#include "QuenstalCore/QuenstalController.hpp"
#include "QuenstalLinux/Display/BusLink.hpp"
#include "QuenstalLinux/Display/LinuxDisplayBuses.hpp"
#include "QuenstalSimulation/SimulatedDisplays.hpp"
#include "QuenstalSimulation/SimulatedRunLoop.hpp"
#include "Support/SimulatedI2CDevices.hpp"

#include <algorithm>
#include <cstdio>
#include <deque>
#include <memory>
#include <thread>
#include <vector>

namespace quenstal {
namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;
using Milliseconds = std::chrono::duration<double, std::milli>;

constexpr int presses = 60;
constexpr auto betweenPresses = 33'333us;
/// Up eight times, down eight times, and so on: no press meets an end of the scale.
constexpr int pressesOneWay = 8;
constexpr double step = 0.0625;
/// A level is then a whole number of units, and nothing is lost by rounding.
constexpr std::uint16_t maximum = 1600;
constexpr std::uint16_t startingVolume = 400;
const std::string device = "/dev/i2c-5";

/// One bus, opened for each use, every request carried out while the caller waits.
class LiteralBuses final : public DisplayBuses {
public:
    LiteralBuses(std::shared_ptr<I2CDevices> devices, std::shared_ptr<WorkerTime> time)
        : devices_(std::move(devices))
        , time_(std::move(time))
        , gate_(std::make_shared<CardGate>(time_))
    {
    }

    PlatformStatus getMatchingFramebuffers(DisplayBusObject& iterator) override
    {
        hasGivenOut_ = false;
        iterator = 1;
        return 0;
    }
    DisplayBusObject iteratorNext(DisplayBusObject) override { return std::exchange(hasGivenOut_, true) ? 0 : 2; }
    PlatformStatus getI2CInterfaceCount(DisplayBusObject, std::uint32_t& count) override
    {
        count = 1;
        return 0;
    }
    PlatformStatus copyI2CInterfaceForBus(DisplayBusObject, std::uint32_t, DisplayBusObject& busInterface) override
    {
        busInterface = 3;
        return 0;
    }
    PlatformStatus openI2CInterface(DisplayBusObject, std::uint32_t, I2CConnection& connection) override
    {
        link_ = std::make_unique<BusLink>(device, devices_, time_, gate_);
        connection = 4;
        return 0;
    }
    PlatformStatus sendI2CRequest(I2CConnection, std::uint32_t, I2CRequest& request) override
    {
        const auto address = static_cast<I2CDevices::Address>(request.sendAddress >> 1);
        const std::span sent(request.sendBuffer, request.sendBytes);
        const std::span reply(request.replyBuffer, request.replyBytes);
        request.result = reply.empty()
            ? link_->write(address, sent)
            : link_->exchange(address, sent, std::chrono::nanoseconds(request.minReplyDelay), reply);
        return 0;
    }
    PlatformStatus closeI2CInterface(I2CConnection, std::uint32_t) override
    {
        link_.reset();
        return 0;
    }
    void release(DisplayBusObject) override { }

private:
    std::shared_ptr<I2CDevices> devices_;
    std::shared_ptr<WorkerTime> time_;
    std::shared_ptr<CardGate> gate_;
    std::unique_ptr<BusLink> link_;
    bool hasGivenOut_ = false;
};

/// The ports that have no part in this: a monitor output without volume of its own, and no software path.
class Surroundings final : public AudioDeviceProviding,
                           public PermissionProviding,
                           public SystemVolumeControlling,
                           public SoftwareVolumeControlling {
public:
    std::optional<AudioOutputDevice> defaultOutputDevice() override
    {
        return AudioOutputDevice{"74", "Monitor", AudioTransport::hdmi, false, "hdmi"};
    }
    PermissionState currentPermissionState() override { return PermissionState::allGranted(); }
    bool isAvailable(const AudioOutputDevice&) override { return false; }
    VolumeSnapshot readVolume(const AudioOutputDevice&) override { throw QuenstalError::unsupportedDevice(); }
    void setVolume(const VolumeSnapshot&, const AudioOutputDevice&) override
    {
        throw QuenstalError::unsupportedDevice();
    }
    void stopAll() override { }
};

/// A monitor and everything up to the controller.
class Bench {
public:
    Bench(DisplayBuses& buses, Displays& displays)
        : surroundings_(std::make_shared<Surroundings>())
        , controller_(surroundings_, std::make_shared<CoreGraphicsDisplayProvider>(displays, buses), surroundings_,
              surroundings_, std::make_shared<NativeDDCVolumeController>(buses), surroundings_,
              std::make_shared<InMemoryEQProfileStore>(), ModeSelector(), VolumeReducer(step),
              VolumeSnapshot::defaultAudible())
    {
    }

    QuenstalController& controller() { return controller_; }

private:
    std::shared_ptr<Surroundings> surroundings_;
    QuenstalController controller_;
};

struct Result {
    std::vector<double> blocked; // milliseconds, one a press, sorted
    double finalDelay = 0; // milliseconds
    int counted = 0;
    bool isFinalRight = false;
};

VolumeCommand commandOf(int press)
{
    return press / pressesOneWay % 2 == 0 ? VolumeCommand::stepUp() : VolumeCommand::stepDown();
}

/// The main thread's queue: presses as they fall due, and one refresh of the panel after those that are waiting.
class HeldKey {
public:
    HeldKey(QuenstalController& controller, SimulatedRunLoop& loop)
        : controller_(controller)
        , loop_(loop)
    {
    }

    Result hold(const SimulatedMonitor& monitor)
    {
        const auto began = Clock::now();
        for (int press = 0; press < presses; ++press) {
            turnUntil(began + press * betweenPresses);
            handle(press);
            loop_.post([this] { refreshPanel(); });
        }
        const auto lastPress = began + (presses - 1) * betweenPresses;
        turnUntil(Clock::now() + 1s);
        return finish(monitor, lastPress);
    }

private:
    void turnUntil(Clock::time_point time)
    {
        do {
            loop_.advance(1ms);
            std::this_thread::sleep_for(200us);
        } while (Clock::now() < time);
    }

    void handle(int press)
    {
        const auto began = Clock::now();
        const QuenstalState before = controller_.refresh();
        const double expected = before.volume.level + (press / pressesOneWay % 2 == 0 ? step : -step);
        const bool isApplied = controller_.handle(commandOf(press))
                                   .match([](const VolumeCommandResult::Applied&) { return true; },
                                       [](const VolumeCommandResult::Ignored&) { return false; });
        result_.blocked.push_back(Milliseconds(Clock::now() - began).count());
        result_.counted += isApplied && controller_.state().volume.level == expected ? 1 : 0;
        isRefreshDue_ = true;
    }

    void refreshPanel()
    {
        if (std::exchange(isRefreshDue_, false))
            controller_.refresh();
    }

    Result finish(const SimulatedMonitor& monitor, Clock::time_point lastPress)
    {
        double level = static_cast<double>(startingVolume) / maximum;
        for (int press = 0; press < presses; ++press)
            level += press / pressesOneWay % 2 == 0 ? step : -step;
        result_.isFinalRight = monitor.volume() == static_cast<std::uint16_t>(level * maximum);
        for (const MonitorTransaction& transaction : monitor.journal())
            if (transaction.kind == MonitorTransaction::Kind::set && transaction.error == 0)
                result_.finalDelay = Milliseconds(transaction.at - lastPress).count();
        std::ranges::sort(result_.blocked);
        return result_;
    }

    QuenstalController& controller_;
    SimulatedRunLoop& loop_;
    Result result_;
    bool isRefreshDue_ = false;
};

std::shared_ptr<SimulatedMonitor> monitorWith(std::chrono::milliseconds busyAfterSet)
{
    return std::make_shared<SimulatedMonitor>(
        MonitorDescription{.volume = startingVolume, .maximum = maximum, .quirks = {.busyAfterSet = busyAfterSet}});
}

Result measureLiteral(std::chrono::milliseconds busyAfterSet)
{
    const auto monitor = monitorWith(busyAfterSet);
    const auto time = std::make_shared<RealWorkerTime>();
    const auto devices = std::make_shared<SimulatedI2CDevices>(time);
    devices->connect(device, monitor);
    SimulatedRunLoop loop;
    SimulatedDisplays displays;
    displays.displays = {{1, false}};
    LiteralBuses buses(devices, time);
    Bench bench(buses, displays);
    return HeldKey(bench.controller(), loop).hold(*monitor);
}

Result measureEngine(std::chrono::milliseconds busyAfterSet)
{
    const auto monitor = monitorWith(busyAfterSet);
    const auto time = std::make_shared<RealWorkerTime>();
    const auto devices = std::make_shared<SimulatedI2CDevices>(time);
    devices->connect(device, monitor);
    const TemporaryDirectory sysfs;
    const std::vector<std::uint8_t> edid(monitor->edid().begin(), monitor->edid().end());
    MachineFixture{{{"HDMI-A-1", MachineFixture::Link::ddc, 5, edid}}, {}}.writeTo(sysfs.path());
    SimulatedRunLoop loop;
    MonitorRegistry registry(loop, DisplayMachine{sysfs.path(), "/dev", devices, time}, nullptr);
    LinuxDisplayBuses buses(registry);
    LinuxDisplays displays(registry);
    Bench bench(buses, displays);
    const Cancellation observation = registry.observeChanges([&bench] { bench.controller().refresh(); });
    return HeldKey(bench.controller(), loop).hold(*monitor);
}

void print(const char* what, const Result& result, double referenceMedian)
{
    const double median = result.blocked[presses / 2];
    std::printf("%-28s %9.3f %9.3f %9.3f %12.1f %5d/%d  %-6s %9.1fx\n", what, median,
        result.blocked[presses * 95 / 100], result.blocked.back(), result.finalDelay, result.counted, presses,
        result.isFinalRight ? "right" : "WRONG", referenceMedian / median);
}

} // namespace
} // namespace quenstal

int main()
{
    using namespace quenstal;
    std::puts("60 presses at 30 Hz                  main thread blocked a press, ms   final value   presses  value  "
              "   literal");
    std::puts("                                median       p95     worst   after last, ms   counted            "
              " to this");
    const Result tolerant = measureLiteral(0ms);
    const double reference = tolerant.blocked[presses / 2];
    print("literal, tolerant monitor", tolerant, reference);
    print("literal, strict monitor", measureLiteral(50ms), reference);
    print("engine, tolerant monitor", measureEngine(0ms), reference);
    print("engine, strict monitor", measureEngine(50ms), reference);
    return 0;
}
