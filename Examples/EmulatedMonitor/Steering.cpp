#include "EmulatedMonitor/Steering.hpp"

#include <cerrno>
#include <map>
#include <sstream>
#include <utility>

namespace quenstal {
namespace {

const std::map<std::string, MonitorQuirks, std::less<>>& moods()
{
    static const std::map<std::string, MonitorQuirks, std::less<>> known{
        {"well", {}},
        {"deaf", {.isDeaf = true}},
        {"refuse", {.refusesSets = true}},
        {"garbage", {.garbage = true}},
        {"empty", {.emptyReplies = true}},
        {"checksum", {.wrongChecksum = true}},
        {"late", {.repliesLate = true}},
    };
    return known;
}

} // namespace

Steering::Steering(EmulatedMachine& machine, std::string connector, std::shared_ptr<SimulatedMonitor> monitor)
    : machine_(machine)
    , connector_(std::move(connector))
    , monitor_(std::move(monitor))
{
}

std::string Steering::obey(const std::string& line)
{
    std::istringstream words(line);
    std::string word;
    words >> word;
    int number = 0;
    const bool hasNumber = static_cast<bool>(words >> number);
    if (word == "volume" && !hasNumber)
        return std::to_string(monitor_->volume());
    if (const auto mood = moods().find(word); mood != moods().end())
        monitor_->setQuirks(mood->second);
    else if (word == "volume")
        monitor_->setVolume(static_cast<std::uint16_t>(number));
    else if (word == "fail" && hasNumber)
        monitor_->failNext(number, ENXIO);
    else if (word == "plug" || word == "unplug")
        plug(word == "plug");
    else if (word == "hotplug")
        machine_.announceHotplug();
    else
        return "unknown";
    return "ok";
}

void Steering::plug(bool isIn)
{
    monitor_->setPresent(isIn);
    machine_.setStatus(connector_, isIn ? "connected" : "disconnected");
}

} // namespace quenstal
