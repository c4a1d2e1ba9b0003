#include "QuenstalSimulation/SimulatedAudioTaps.hpp"

#include "QuenstalSimulation/SimulatedAudioThread.hpp"

#include <algorithm>
#include <utility>

namespace quenstal {

namespace {

std::string tapUIDText(AudioObjectID tap)
{
    return "simulated-tap-" + std::to_string(tap);
}

std::string call(const char* verb, AudioObjectID object)
{
    return std::string(verb) + ' ' + std::to_string(object);
}

/// The UID of the only member of a list of the description; empty when there is none.
std::string memberUID(const AggregateDeviceDescription& description, const char* listKey)
{
    const auto list = description.find(listKey);
    if (list == description.end())
        return {};
    const auto* const members = std::get_if<std::vector<AggregateMember>>(&list->second);
    if (!members || members->size() != 1)
        return {};
    const auto uid = members->front().find(AggregateDeviceKey::memberUID);
    return uid == members->front().end() ? std::string() : std::get<std::string>(uid->second);
}

} // namespace

struct SimulatedAudioTaps::Device {
    std::string subdeviceUID;
    std::string tapUID;
    std::unique_ptr<SimulatedAudioThread> thread;

    /// Its address is the identifier.
    SimulatedAudioThread::Procedure procedure;
    AudioIOProcID procedureID() { return reinterpret_cast<AudioIOProcID>(&procedure); }
    bool hasProcedure(AudioIOProcID id) { return procedure.call != nullptr && id == procedureID(); }
};

SimulatedAudioTaps::SimulatedAudioTaps(SimulatedAudioObjects& objects, RunLoop& runLoop)
    : objects_(objects)
    , tapChanged_(runLoop)
{
}

SimulatedAudioTaps::~SimulatedAudioTaps() = default;

PlatformStatus SimulatedAudioTaps::translateProcessID(std::int32_t, AudioObjectID& processObject) const
{
    if (const auto forced = journal_.record("translateProcessID"))
        return forced;
    processObject = ownProcessObject_;
    return 0;
}

PlatformStatus SimulatedAudioTaps::createProcessTap(const ProcessTapDescription& description, AudioObjectID& tap)
{
    lastTap_ = description;
    if (const auto forced = journal_.record("createTap " + description.deviceUID))
        return forced;
    if (!objects_.outputWithUID(description.deviceUID))
        return badObject;
    tap = nextID_++;
    taps_.emplace(tap, description);
    return 0;
}

PlatformStatus SimulatedAudioTaps::destroyProcessTap(AudioObjectID tap)
{
    journal_.record(call("destroyTap", tap));
    return taps_.erase(tap) == 1 ? 0 : badObject;
}

PlatformStatus SimulatedAudioTaps::tapUID(AudioObjectID tap, std::optional<std::string>& uid) const
{
    if (const auto forced = journal_.record(call("tapUID", tap)))
        return forced;
    if (!taps_.contains(tap))
        return badObject;
    uid = withholdsTapUID_ ? std::nullopt : std::optional(tapUIDText(tap));
    return 0;
}

PlatformStatus SimulatedAudioTaps::tapFormat(AudioObjectID tap, AudioStreamBasicDescription& format) const
{
    if (const auto forced = journal_.record(call("tapFormat", tap)))
        return forced;
    const auto found = taps_.find(tap);
    const auto* const output = found == taps_.end() ? nullptr : objects_.outputWithUID(found->second.deviceUID);
    if (!output)
        return badObject;
    format = output->format;
    return 0;
}

PlatformStatus SimulatedAudioTaps::createAggregateDevice(
    const AggregateDeviceDescription& description, AudioObjectID& device)
{
    lastAggregate_ = description;
    const std::string uid = memberUID(description, AggregateDeviceKey::subdevices);
    if (const auto forced = journal_.record("createAggregate " + uid))
        return forced;
    device = nextID_++;
    auto made = std::make_unique<Device>();
    made->subdeviceUID = uid;
    made->tapUID = memberUID(description, AggregateDeviceKey::taps);
    devices_.emplace(device, std::move(made));
    return 0;
}

PlatformStatus SimulatedAudioTaps::destroyAggregateDevice(AudioObjectID device)
{
    journal_.record(call("destroyAggregate", device));
    return devices_.erase(device) == 1 ? 0 : badObject;
}

PlatformStatus SimulatedAudioTaps::createIOProcID(
    AudioObjectID device, AudioIOProc procedure, void* clientData, AudioIOProcID& procedureID)
{
    if (const auto forced = journal_.record(call("createIOProc", device)))
        return forced;
    const auto found = devices_.find(device);
    if (found == devices_.end())
        return badObject;
    if (withholdsProcedureID_)
        return 0;
    found->second->procedure = {device, procedure, clientData};
    procedureID = found->second->procedureID();
    return 0;
}

PlatformStatus SimulatedAudioTaps::destroyIOProcID(AudioObjectID device, AudioIOProcID procedureID)
{
    journal_.record(call("destroyIOProc", device));
    const auto found = devices_.find(device);
    if (found == devices_.end() || !found->second->hasProcedure(procedureID))
        return badObject;
    found->second->thread.reset();
    found->second->procedure = {};
    return 0;
}

PlatformStatus SimulatedAudioTaps::startDevice(AudioObjectID device, AudioIOProcID procedureID)
{
    if (const auto forced = journal_.record(call("startDevice", device)))
        return forced;
    const auto found = devices_.find(device);
    if (found == devices_.end() || !found->second->hasProcedure(procedureID))
        return badObject;
    found->second->thread = std::make_unique<SimulatedAudioThread>(found->second->procedure);
    return 0;
}

PlatformStatus SimulatedAudioTaps::stopDevice(AudioObjectID device, AudioIOProcID procedureID)
{
    journal_.record(call("stopDevice", device));
    const auto found = devices_.find(device);
    if (found == devices_.end() || !found->second->hasProcedure(procedureID))
        return badObject;
    found->second->thread.reset();
    return 0;
}

Cancellation SimulatedAudioTaps::onTapChanged(std::function<void(AudioObjectID, TapChange)> handler)
{
    return tapChanged_.add(std::move(handler));
}

void SimulatedAudioTaps::requestCycles(int count)
{
    for (const auto& [id, device] : devices_) {
        const auto* const output = objects_.outputWithUID(device->subdeviceUID);
        if (device->thread && output && tapOf(*device) != 0)
            device->thread->request({count, quantum_, output->format, signal_});
    }
}

SimulatedAudioTaps::Recording SimulatedAudioTaps::awaitCycles()
{
    Recording heard;
    for (const auto& [id, device] : devices_) {
        if (device->thread)
            heard = device->thread->await();
    }
    return heard;
}

SimulatedAudioTaps::Recording SimulatedAudioTaps::runCycles(int count)
{
    requestCycles(count);
    return awaitCycles();
}

void SimulatedAudioTaps::changeRate(const std::string& deviceUID, double rate)
{
    auto* const output = objects_.outputWithUID(deviceUID);
    if (!output)
        return;
    output->format.sampleRate = rate;
    for (const auto& [tap, description] : taps_) {
        if (description.deviceUID == deviceUID)
            tapChanged_.notify(tap, TapChange::format);
    }
}

void SimulatedAudioTaps::endTap(AudioObjectID tap)
{
    for (const auto& [id, device] : devices_) {
        if (tapOf(*device) == tap)
            device->thread.reset();
    }
    if (taps_.erase(tap) == 1)
        tapChanged_.notify(tap, TapChange::ended);
}

bool SimulatedAudioTaps::directPathIsAudible(const std::string& deviceUID) const
{
    return std::ranges::none_of(devices_, [&](const auto& entry) {
        const auto tap = taps_.find(tapOf(*entry.second));
        return entry.second->thread && tap != taps_.end() && tap->second.deviceUID == deviceUID
            && tap->second.muteBehavior == TapMuteBehavior::mutedWhenTapped;
    });
}

std::size_t SimulatedAudioTaps::liveObjects() const
{
    std::size_t count = taps_.size() + devices_.size();
    for (const auto& [id, device] : devices_)
        count += (device->procedure.call != nullptr ? 1U : 0U) + (device->thread ? 1U : 0U);
    return count;
}

AudioObjectID SimulatedAudioTaps::tapOf(const Device& device) const
{
    const auto found
        = std::ranges::find_if(taps_, [&](const auto& entry) { return tapUIDText(entry.first) == device.tapUID; });
    return found == taps_.end() ? 0 : found->first;
}

} // namespace quenstal
