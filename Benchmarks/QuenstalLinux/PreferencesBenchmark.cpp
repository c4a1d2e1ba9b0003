// What the two values that every captured key leaves in the preferences cost the main thread: set, as a key does it,
// and saved while it waits.

#include "QuenstalLinux/Session/FilePreferences.hpp"
#include "QuenstalSimulation/SimulatedRunLoop.hpp"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include <stdlib.h>

namespace quenstal {
namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;
using Microseconds = std::chrono::duration<double, std::micro>;

constexpr std::size_t presses = 300;
constexpr auto betweenPresses = 10ms;

struct Figures {
    double median;
    double most;
};

Figures measured(const std::function<void()>& press)
{
    std::vector<double> times;
    while (times.size() < presses) {
        std::this_thread::sleep_for(betweenPresses);
        const auto start = Clock::now();
        press();
        times.push_back(Microseconds(Clock::now() - start).count());
    }
    std::ranges::sort(times);
    return {times[times.size() / 2], times.back()};
}

int run()
{
    std::string name = (std::filesystem::temp_directory_path() / "quenstal-XXXXXX").string();
    const std::filesystem::path folder = mkdtemp(name.data());
    SimulatedRunLoop loop;
    {
        FilePreferences preferences(loop, folder / "preferences.json");
        double time = 0;
        const auto set = [&] {
            preferences.setString("QuenstalLastMediaKey", "F12 volume up");
            preferences.setNumber("QuenstalLastMediaKeyTimestamp", ++time);
        };
        const auto save = [&] {
            set();
            preferences.saveNow();
        };
        const Figures saved = measured(save);
        const Figures onlySet = measured(set);
        std::printf("                    median, us     most, us\n");
        std::printf("saved while it waits  %10.1f   %10.1f\n", saved.median, saved.most);
        std::printf("set                   %10.1f   %10.1f\n", onlySet.median, onlySet.most);
        std::printf(
            "ratio                 %10.3f   %10.3f\n", onlySet.median / saved.median, onlySet.most / saved.most);
    }
    std::filesystem::remove_all(folder);
    return 0;
}

} // namespace
} // namespace quenstal

int main()
{
    return quenstal::run();
}
