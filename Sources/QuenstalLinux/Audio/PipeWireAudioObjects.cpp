#include "QuenstalLinux/Audio/PipeWireAudioObjects.hpp"

#include "QuenstalLinux/Audio/ChannelVolumes.hpp"
#include "QuenstalLinux/Audio/OutputTransport.hpp"
#include "QuenstalLinux/Audio/ServerLimits.hpp"

#include <algorithm>
#include <cerrno>
#include <utility>

namespace quenstal {

namespace {

using namespace std::chrono_literals;

/// Within this time a server confirms a volume, or it never will.
constexpr auto confirmationTime = 1500ms;

constexpr AudioObjectID firstNumber = audioSystemObject + 1;
/// With room behind it; then the numbers of taps begin.
constexpr AudioObjectID lastNumber = 0x3FFF'0000;

} // namespace

PipeWireAudioObjects::PipeWireAudioObjects(PipeWireConnection& connection, PipeWireGraph& graph, RunLoop& runLoop)
    : connection_(connection)
    , graph_(graph)
    , runLoop_(runLoop)
    , outputsChanged_(runLoop)
    , volumeChanged_(runLoop)
{
    graph_.addObserver(*this);
    connection_.addListener(*this);
    takeOverOutputs();
}

PipeWireAudioObjects::~PipeWireAudioObjects()
{
    connection_.removeListener(*this);
    graph_.removeObserver(*this);
}

bool PipeWireAudioObjects::hasProperty(AudioObjectID object, const AudioPropertyAddress& address) const
{
    if (address.scope != AudioPropertyScope::output)
        return false;
    const auto volume = volumeNow(object);
    if (!volume)
        return false;
    if (address.selector == AudioPropertySelector::mute)
        return address.element == audioElementMain;
    return address.selector == AudioPropertySelector::volumeScalar && address.element >= 1
        && address.element <= std::min(volumeElementCount, volume->channels.size());
}

PlatformStatus PipeWireAudioObjects::isPropertySettable(
    AudioObjectID object, const AudioPropertyAddress& address, bool& settable) const
{
    if (!sinkOf(object))
        return -ENODEV;
    settable = hasProperty(object, address);
    return 0;
}

PlatformStatus PipeWireAudioObjects::getUInt32(
    AudioObjectID object, const AudioPropertyAddress& address, std::uint32_t& value) const
{
    if (object == audioSystemObject && address.selector == AudioPropertySelector::defaultOutputDevice) {
        const auto current = std::ranges::find(
            outputs_, graph_.graph().defaultSinkName, [](const auto& entry) { return entry.second.name; });
        value = current != outputs_.end() && sinkOf(current->first) ? current->first : 0;
        return 0;
    }
    const SinkNode* const sink = sinkOf(object);
    if (!sink)
        return -ENODEV;
    if (address.selector == AudioPropertySelector::transportType) {
        value = transport(*sink);
        return 0;
    }
    if (address.selector != AudioPropertySelector::mute || !hasProperty(object, address))
        return -ENOENT;
    value = volumeNow(object)->muted ? 1 : 0;
    return 0;
}

PlatformStatus PipeWireAudioObjects::getFloat32(
    AudioObjectID object, const AudioPropertyAddress& address, float& value) const
{
    if (!sinkOf(object))
        return -ENODEV;
    if (address.selector != AudioPropertySelector::volumeScalar || !hasProperty(object, address))
        return -ENOENT;
    value = scalarOf(volumeNow(object)->channels[address.element - 1]);
    return 0;
}

PlatformStatus PipeWireAudioObjects::getString(
    AudioObjectID object, const AudioPropertyAddress& address, std::optional<std::string>& value) const
{
    const SinkNode* const sink = sinkOf(object);
    if (!sink)
        return -ENODEV;
    std::string_view text;
    if (address.selector == AudioPropertySelector::deviceUID)
        text = sink->name();
    else if (address.selector != AudioPropertySelector::name)
        return -ENOENT;
    else if (sink->eld && !sink->eld->monitorName.empty())
        text = sink->eld->monitorName;
    else
        text = valueOf(sink->properties, "node.description");
    // A sink without a description has no name for the user.
    value = text.empty() ? std::nullopt : std::optional<std::string>(text);
    return 0;
}

PlatformStatus PipeWireAudioObjects::setUInt32(
    AudioObjectID object, const AudioPropertyAddress& address, std::uint32_t value)
{
    if (!sinkOf(object))
        return -ENODEV;
    if (address.selector != AudioPropertySelector::mute || !hasProperty(object, address))
        return -ENOENT;
    AudioVolume volume = *volumeNow(object);
    volume.muted = value != 0;
    return write(object, std::move(volume));
}

PlatformStatus PipeWireAudioObjects::setFloat32(AudioObjectID object, const AudioPropertyAddress& address, float value)
{
    if (!sinkOf(object))
        return -ENODEV;
    if (address.selector != AudioPropertySelector::volumeScalar || !hasProperty(object, address))
        return -ENOENT;
    return write(object, withScalar(*volumeNow(object), address.element - 1, value, outputs_.at(object).balance));
}

Cancellation PipeWireAudioObjects::onOutputsChanged(std::function<void()> handler)
{
    return outputsChanged_.add(std::move(handler));
}

Cancellation PipeWireAudioObjects::onVolumeChangedElsewhere(std::function<void(AudioObjectID)> handler)
{
    return volumeChanged_.add(std::move(handler));
}

std::optional<Eld> PipeWireAudioObjects::currentMonitor() const
{
    const auto id = graph_.graph().sinkNamed(graph_.graph().defaultSinkName);
    return id ? graph_.graph().sinks.at(*id).eld : std::nullopt;
}

PlatformStatus PipeWireAudioObjects::write(AudioObjectID object, AudioVolume volume)
{
    Output& output = outputs_.at(object);
    if (const auto late = std::exchange(output.lateStatus, 0))
        return late;
    output.wanted.emplace(
        Wanted{std::move(volume), true, runLoop_.after(confirmationTime, [this, object] { expire(object); })});
    // Both channels and the mute of one command travel as one request.
    pendingSend_ = runLoop_.after({}, [this] {
        for (const auto& [id, waiting] : outputs_) {
            if (waiting.wanted && waiting.wanted->unsent)
                send(id);
        }
    });
    return 0;
}

void PipeWireAudioObjects::send(AudioObjectID object)
{
    Output& output = outputs_.at(object);
    output.wanted->unsent = false;
    const auto sink = sinkNumber(object);
    if (!sink || !graph_.writeVolume(*sink, output.wanted->volume))
        output.wanted.reset();
}

void PipeWireAudioObjects::expire(AudioObjectID object)
{
    Output& output = outputs_.at(object);
    const bool differs = output.known && !isSameVolume(output.wanted->volume, *output.known);
    output.wanted.reset();
    if (differs)
        volumeChanged_.notify(object);
}

void PipeWireAudioObjects::refused(std::uint32_t proxyID, int status)
{
    for (auto& [id, output] : outputs_) {
        const auto sink = sinkNumber(id);
        if (!output.wanted || output.wanted->unsent || !sink || !graph_.writesVolumeThrough(*sink, proxyID))
            continue;
        output.wanted.reset();
        output.lateStatus = status;
        volumeChanged_.notify(id);
    }
}

void PipeWireAudioObjects::graphChanged(GraphChange change)
{
    if (change == GraphChange::outputs)
        takeOverOutputs();
    if (change == GraphChange::outputs || change == GraphChange::volumes)
        takeOverVolumes();
}

void PipeWireAudioObjects::Output::learnBalance()
{
    if (auto told = known ? balanceOf(*known) : std::vector<float>(); !told.empty())
        balance = std::move(told);
}

void PipeWireAudioObjects::takeOverOutputs()
{
    for (const auto& [id, sink] : graph_.graph().sinks) {
        if (isPresentable(sink))
            numberFor(sink);
    }
    // The server tells of one output in many words: one announcement for all of them.
    pendingAnnouncement_ = runLoop_.after({}, [this] { outputsChanged_.notify(); });
}

void PipeWireAudioObjects::takeOverVolumes()
{
    for (auto& [id, output] : outputs_) {
        const SinkNode* const sink = sinkOf(id);
        auto volume = sink ? ownVolume(*sink) : std::nullopt;
        if (volume == output.known)
            continue;
        const bool appeared = output.known.has_value() != volume.has_value();
        const bool confirmed = output.wanted && volume && isSameVolume(output.wanted->volume, *volume);
        output.known = std::move(volume);
        if (!output.wanted)
            output.learnBalance();
        if (appeared)
            pendingAnnouncement_ = runLoop_.after({}, [this] { outputsChanged_.notify(); });
        if (confirmed)
            output.wanted.reset();
        else if (!output.wanted && !appeared)
            volumeChanged_.notify(id);
    }
}

bool PipeWireAudioObjects::isPresentable(const SinkNode& sink) const
{
    const CardDevice* const card = graph_.graph().cardOf(sink);
    // Before its route is known, an output's volume would be read and written in the wrong place.
    return sink.isComplete && (!card || (card->isComplete && card->hasToldRoutes)) && isOutput(sink.properties);
}

AudioObjectID PipeWireAudioObjects::numberFor(const SinkNode& sink)
{
    const auto known = std::ranges::find(outputs_, sink.name(), [](const auto& entry) { return entry.second.name; });
    if (known != outputs_.end())
        return known->first;
    // Outputs that come under ever new names are not remembered for ever.
    if (outputs_.size() >= ServerLimits::outputs)
        std::erase_if(outputs_, [&](const auto& entry) { return !graph_.graph().sinkNamed(entry.second.name); });
    AudioObjectID number = numberOf(sink.properties, "object.serial", AudioObjectID{0});
    if (number < firstNumber || number > lastNumber)
        number = firstNumber;
    while (outputs_.contains(number))
        ++number;
    outputs_[number].name = sink.name();
    return number;
}

const SinkNode* PipeWireAudioObjects::sinkOf(AudioObjectID object) const
{
    const auto id = sinkNumber(object);
    const SinkNode* const sink = id ? &graph_.graph().sinks.at(*id) : nullptr;
    return sink && isPresentable(*sink) ? sink : nullptr;
}

std::optional<std::uint32_t> PipeWireAudioObjects::sinkNumber(AudioObjectID object) const
{
    const auto output = outputs_.find(object);
    return output == outputs_.end() ? std::nullopt : graph_.graph().sinkNamed(output->second.name);
}

FourCharCode PipeWireAudioObjects::transport(const SinkNode& sink) const
{
    return outputTransport(sink, graph_.graph().cardOf(sink), graph_.graph().routeOf(sink));
}

std::optional<AudioVolume> PipeWireAudioObjects::ownVolume(const SinkNode& sink) const
{
    const OutputRoute* const route = graph_.graph().routeOf(sink);
    const auto& volume = route && route->volume ? route->volume : sink.volume;
    const FourCharCode code = transport(sink);
    const bool isMonitor = code == AudioTransportCode::hdmi || code == AudioTransportCode::displayPort;
    return volume && isMonitor && !volume->hardware ? std::nullopt : volume;
}

std::optional<AudioVolume> PipeWireAudioObjects::volumeNow(AudioObjectID object) const
{
    const SinkNode* const sink = sinkOf(object);
    if (!sink)
        return std::nullopt;
    const auto& wanted = outputs_.at(object).wanted;
    return wanted ? std::optional(wanted->volume) : ownVolume(*sink);
}

} // namespace quenstal
