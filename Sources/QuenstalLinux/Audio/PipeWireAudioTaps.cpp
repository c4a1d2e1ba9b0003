#include "QuenstalLinux/Audio/PipeWireAudioTaps.hpp"

#include "QuenstalLinux/Audio/SoftwareNodes.hpp"

#include <algorithm>
#include <cerrno>
#include <iterator>
#include <utility>

#include <unistd.h>

namespace quenstal {

namespace {

using namespace std::chrono_literals;

/// Away from the numbers of outputs, which are the server's serial numbers.
constexpr AudioObjectID firstID = 0x4000'0000;
constexpr std::uint32_t usualRate = 48000;
/// The session manager moves a stream within some 50 ms. One that has not by then is not responding.
constexpr auto farewellTime = 400ms;
/// It has as long again for streams whose way has gone.
constexpr auto relinkTime = 200ms;
/// A session that ended by itself may be started again at once. When that one ends too, not for this time.
constexpr auto refusalTime = 5s;
/// Sessions that end within this time of one another have the same cause; the one that is tried after a refusal, too.
constexpr auto seriesTime = 4 * refusalTime;

/// The text that makes the aggregate device's name unique.
std::string uniquePart(const AggregateDeviceDescription& description)
{
    const auto uid = description.find(AggregateDeviceKey::uid);
    const auto* const text = uid == description.end() ? nullptr : std::get_if<std::string>(&uid->second);
    return text ? text->substr(text->rfind('.') + 1) : std::string();
}

/// The UID of the only member of a list of the description; empty when there is none.
std::string memberUID(const AggregateDeviceDescription& description, const char* listKey)
{
    const auto list = description.find(listKey);
    const auto* const members
        = list == description.end() ? nullptr : std::get_if<std::vector<AggregateMember>>(&list->second);
    if (!members || members->size() != 1)
        return {};
    const auto uid = members->front().find(AggregateDeviceKey::memberUID);
    const auto* const text = uid == members->front().end() ? nullptr : std::get_if<std::string>(&uid->second);
    return text ? *text : std::string();
}

/// Planar float32, as the server's own graph has it.
AudioStreamBasicDescription planarFloat(std::uint32_t rate, std::size_t channels)
{
    return {
        .sampleRate = static_cast<double>(rate),
        .formatID = audioFormatLinearPCM,
        .formatFlags = AudioFormatFlag::isFloat | AudioFormatFlag::isNonInterleaved,
        .bytesPerPacket = sizeof(float),
        .framesPerPacket = 1,
        .bytesPerFrame = sizeof(float),
        .channelsPerFrame = static_cast<std::uint32_t>(channels),
        .bitsPerChannel = 32,
        .reserved = 0,
    };
}

} // namespace

PipeWireAudioTaps::PipeWireAudioTaps(
    PipeWireConnection& connection, PipeWireGraph& graph, RunLoop& runLoop, std::string guardProgram)
    : connection_(connection)
    , graph_(graph)
    , runLoop_(runLoop)
    , guardProgram_(std::move(guardProgram))
    , tapChanged_(runLoop)
    , nextID_(firstID)
{
    graph_.addObserver(*this);
}

PipeWireAudioTaps::~PipeWireAudioTaps()
{
    graph_.removeObserver(*this);
    for (const auto& [id, device] : devices_) {
        if (device->path)
            retire(std::move(device->path));
    }
    giveSoundBack();
}

void PipeWireAudioTaps::giveSoundBack()
{
    const auto isDrained = [](const auto& path) { return path->isDrained(); };
    connection_.runUntil([&] { return std::ranges::all_of(retiring_, isDrained); }, farewellTime);
    std::vector<DirectLink> links;
    for (const auto& path : retiring_)
        std::ranges::copy(path->directLinks(), std::back_inserter(links));
    // Before anything is linked: nothing is to be heard twice.
    retiring_.clear();
    linkUnlessOthersDo(links);
}

void PipeWireAudioTaps::linkUnlessOthersDo(const std::vector<DirectLink>& links)
{
    const auto areReplaced = [&] {
        return std::ranges::all_of(links, [&](const auto& link) { return isReplaced(graph_.graph(), link); });
    };
    if (connection_.runUntil(areReplaced, relinkTime))
        return;
    // A server that does not respond has not even told that they are silent.
    std::vector<DirectLink> wanted;
    std::ranges::copy_if(
        links, std::back_inserter(wanted), [&](const auto& link) { return isSilent(graph_.graph(), link); });
    for (const DirectLink& link : wanted)
        graph_.link(link.outputPort, link.inputPort);
    if (!wanted.empty())
        connection_.runUntil(areReplaced, relinkTime);
}

PlatformStatus PipeWireAudioTaps::translateProcessID(std::int32_t processID, AudioObjectID& processObject) const
{
    if (processID != getpid())
        return -ESRCH;
    const auto client = connection_.clientNumber();
    if (!client)
        return -ENOTCONN;
    processObject = *client;
    return 0;
}

PlatformStatus PipeWireAudioTaps::createProcessTap(const ProcessTapDescription& description, AudioObjectID& tap)
{
    if (!connection_.core())
        return -ENOTCONN;
    if (!graph_.graph().sinkNamed(description.deviceUID))
        return -ENODEV;
    if (const PlatformStatus status = refusalOf(description.deviceUID))
        return status;
    tap = nextID_++;
    taps_.emplace(tap, Tap{description, "quenstal.tap." + std::to_string(tap)});
    return 0;
}

PlatformStatus PipeWireAudioTaps::destroyProcessTap(AudioObjectID tap)
{
    return taps_.erase(tap) == 1 ? 0 : -ENODEV;
}

PlatformStatus PipeWireAudioTaps::tapUID(AudioObjectID tap, std::optional<std::string>& uid) const
{
    const auto found = taps_.find(tap);
    if (found == taps_.end())
        return -ENODEV;
    uid = found->second.uid;
    return 0;
}

PlatformStatus PipeWireAudioTaps::tapFormat(AudioObjectID tap, AudioStreamBasicDescription& format) const
{
    const auto found = taps_.find(tap);
    if (found == taps_.end())
        return -ENODEV;
    const AudioGraph& graph = graph_.graph();
    const auto target = graph.sinkNamed(found->second.description.deviceUID);
    if (!target)
        return -ENODEV;
    const SinkNode& sink = graph.sinks.at(*target);
    std::uint32_t rate = 0;
    for (const auto& [id, device] : devices_) {
        if (device->tap == tap && device->path)
            rate = device->path->rate();
    }
    for (const std::uint32_t guess : {sink.rate, graph.clockRate, usualRate})
        rate = rate == 0 ? guess : rate;
    format = planarFloat(rate, sink.volume ? sink.volume->channels.size() : 2);
    return 0;
}

PlatformStatus PipeWireAudioTaps::createAggregateDevice(
    const AggregateDeviceDescription& description, AudioObjectID& device)
{
    const AudioObjectID tap = tapNamed(memberUID(description, AggregateDeviceKey::taps));
    if (tap == 0)
        return -ENODEV;
    device = nextID_++;
    auto made = std::make_unique<Device>();
    made->targetName = memberUID(description, AggregateDeviceKey::subdevices);
    made->tap = tap;
    SoftwarePath::Setup setup{std::string(softwareNodePrefix) + uniquePart(description), made->targetName,
        taps_.at(tap).description.excludedProcesses, guardProgram_};
    SoftwarePath::Events events{
        [this, tap] { tapChanged_.notify(tap, TapChange::format); },
        [this, id = device](int status) { ended(id, status); },
    };
    made->path = std::make_unique<SoftwarePath>(connection_, graph_, runLoop_, std::move(setup), std::move(events));
    devices_.emplace(device, std::move(made));
    return 0;
}

PlatformStatus PipeWireAudioTaps::destroyAggregateDevice(AudioObjectID device)
{
    const auto found = devices_.find(device);
    if (found == devices_.end())
        return -ENODEV;
    auto path = std::move(found->second->path);
    devices_.erase(found);
    if (path)
        retire(std::move(path));
    return 0;
}

PlatformStatus PipeWireAudioTaps::createIOProcID(
    AudioObjectID device, AudioIOProc procedure, void* clientData, AudioIOProcID& procedureID)
{
    const auto found = devices_.find(device);
    if (found == devices_.end())
        return -ENODEV;
    if (!procedure || found->second->procedure)
        return -EINVAL;
    found->second->procedure = procedure;
    found->second->clientData = clientData;
    procedureID = found->second->procedureID();
    return 0;
}

PlatformStatus PipeWireAudioTaps::destroyIOProcID(AudioObjectID device, AudioIOProcID procedureID)
{
    Device* const found = deviceWith(device, procedureID);
    if (!found)
        return -ENODEV;
    found->procedure = nullptr;
    return 0;
}

PlatformStatus PipeWireAudioTaps::startDevice(AudioObjectID device, AudioIOProcID procedureID)
{
    Device* const found = deviceWith(device, procedureID);
    if (!found || !found->path)
        return -ENODEV;
    found->path->start(device, found->procedure, found->clientData);
    return 0;
}

PlatformStatus PipeWireAudioTaps::stopDevice(AudioObjectID device, AudioIOProcID procedureID)
{
    Device* const found = deviceWith(device, procedureID);
    if (!found)
        return -ENODEV;
    if (found->path)
        found->path->stop();
    return 0;
}

void PipeWireAudioTaps::setDirectGain(AudioObjectID tap, float gain, bool isHeard)
{
    for (const auto& [id, device] : devices_) {
        if (device->tap == tap && device->path)
            device->path->setDirectGain(gain, isHeard);
    }
}

Cancellation PipeWireAudioTaps::onTapChanged(std::function<void(AudioObjectID, TapChange)> handler)
{
    return tapChanged_.add(std::move(handler));
}

std::uint64_t PipeWireAudioTaps::cycles() const
{
    std::uint64_t sum = 0;
    for (const auto& [id, device] : devices_)
        sum += device->path ? device->path->cycle().cycles() : 0;
    return sum;
}

std::uint64_t PipeWireAudioTaps::repairedSamples() const
{
    std::uint64_t sum = earlierRepairs_;
    for (const auto& [id, device] : devices_)
        sum += device->path ? device->path->cycle().repairedSamples() : 0;
    return sum;
}

void PipeWireAudioTaps::graphChanged(GraphChange change)
{
    // Another server or session manager may think differently.
    if (change == GraphChange::session)
        failures_.clear();
}

PlatformStatus PipeWireAudioTaps::refusalOf(const std::string& targetName) const
{
    const auto failure = failures_.find(targetName);
    if (failure == failures_.end())
        return 0;
    const auto& [status, time, count, refusal] = failure->second;
    const bool isRecent = count > 1 && runLoop_.steadyNow() - time < refusalTime;
    // A denial stays one.
    return isDenial(status) || isRecent ? status : 0;
}

PipeWireAudioTaps::Device* PipeWireAudioTaps::deviceWith(AudioObjectID device, AudioIOProcID procedureID)
{
    const auto found = devices_.find(device);
    const bool known
        = found != devices_.end() && found->second->procedure && procedureID == found->second->procedureID();
    return known ? found->second.get() : nullptr;
}

AudioObjectID PipeWireAudioTaps::tapNamed(const std::string& uid) const
{
    const auto found = std::ranges::find(taps_, uid, [](const auto& entry) { return entry.second.uid; });
    return found == taps_.end() ? 0 : found->first;
}

void PipeWireAudioTaps::ended(AudioObjectID device, int status)
{
    const auto found = devices_.find(device);
    if (found == devices_.end() || !found->second->path)
        return;
    // An output that went may come back.
    if (status != -ENODEV)
        remember(found->second->targetName, status);
    retire(std::move(found->second->path));
    tapChanged_.notify(found->second->tap, TapChange::ended);
}

void PipeWireAudioTaps::remember(const std::string& targetName, int status)
{
    Failure& failure = failures_[targetName];
    const auto now = runLoop_.steadyNow();
    const bool sameSeries = failure.count > 0 && now - failure.time < seriesTime;
    failure.count = sameSeries ? failure.count + 1 : 1;
    failure.status = status;
    failure.time = now;
    // Once in a series: sound is interrupted by every try.
    if (failure.count == 2 && !isDenial(status))
        failure.refusal = runLoop_.after(refusalTime, [this] { tapChanged_.notify(0, TapChange::refusalOver); });
}

void PipeWireAudioTaps::retire(std::unique_ptr<SoftwarePath> path)
{
    earlierRepairs_ += path->cycle().repairedSamples();
    path->stop();
    path->whenDrained([this, drained = path.get()] {
        std::erase_if(retiring_, [&](const auto& retired) { return retired.get() == drained; });
    });
    retiring_.push_back(std::move(path));
}

} // namespace quenstal
