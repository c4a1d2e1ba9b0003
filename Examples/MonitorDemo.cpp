// Finds the monitor, reads its speaker volume, steps it up and down again, and tells what it did.

#include "QuenstalDDC/DDC.hpp"
#include "QuenstalLinux/Display/LinuxMonitors.hpp"
#include "QuenstalSimulation/SimulatedRunLoop.hpp"

#include <chrono>
#include <cstdio>
#include <thread>

namespace quenstal {
namespace {

using namespace std::chrono_literals;

constexpr std::uint32_t steps = 8;

/// Lets the run loop's time pass as real time does.
void turnFor(SimulatedRunLoop& loop, std::chrono::milliseconds duration)
{
    const auto end = std::chrono::steady_clock::now() + duration;
    while (std::chrono::steady_clock::now() < end) {
        std::this_thread::sleep_for(1ms);
        loop.advance(1ms);
    }
}

void listDisplays(const Displays& displays)
{
    for (const DisplayID display : displays.onlineDisplays())
        std::printf("display %u%s\n", display, displays.isBuiltin(display) ? ", built in" : "");
}

void listProblems(const MonitorWatch& health)
{
    for (const DisplayBusProblem& problem : health.problems())
        std::printf(
            "%s (%s) cannot be used. %s\n", problem.monitor.c_str(), problem.device.c_str(), problem.remedy.c_str());
}

void stepVolume(DisplayBuses& buses, SimulatedRunLoop& loop, QSDDCVolume volume)
{
    const std::uint32_t up = volume.maximum / 16;
    for (std::uint32_t step = 1; step <= 2 * steps; ++step) {
        const std::uint32_t value = volume.current + up * (step <= steps ? step : 2 * steps - step);
        const auto began = std::chrono::steady_clock::now();
        const bool isAccepted = QSDDCSetSpeakerVolume(buses, value);
        const std::chrono::duration<double, std::milli> took = std::chrono::steady_clock::now() - began;
        std::printf("set %u: %s in %.2f ms\n", value, isAccepted ? "accepted" : "failed", took.count());
        turnFor(loop, 33ms);
    }
}

int run()
{
    SimulatedRunLoop loop;
    LinuxMonitors monitors(loop, nullptr);
    listDisplays(monitors.displays());
    QSDDCVolume volume;
    if (!QSDDCReadSpeakerVolume(monitors.buses(), &volume)) {
        std::puts("No monitor answers.");
        listProblems(monitors.watch());
        return 1;
    }
    std::printf("volume %u of %u\n", volume.current, volume.maximum);
    stepVolume(monitors.buses(), loop, volume);
    turnFor(loop, 500ms);
    QSDDCReadSpeakerVolume(monitors.buses(), &volume);
    std::printf("volume %u of %u\n", volume.current, volume.maximum);
    listProblems(monitors.watch());
    return 0;
}

} // namespace
} // namespace quenstal

int main()
{
    return quenstal::run();
}
