#include "QuenstalLinux/Audio/SoftwarePath.hpp"

#include "QuenstalLinux/Audio/ChannelVolumes.hpp"

#include <algorithm>
#include <cerrno>
#include <utility>

#include <spa/param/audio/raw.h>
#include <system_error>

namespace quenstal {

namespace {

using namespace std::chrono_literals;

constexpr int unknownReason = -EIO;
/// The session manager moves a stream within a few cycles of being asked.
constexpr auto drainTime = 150ms;

std::vector<std::uint32_t> positionsOf(const SinkNode& sink)
{
    if (sink.volume && !sink.volume->positions.empty())
        return sink.volume->positions;
    return {SPA_AUDIO_CHANNEL_FL, SPA_AUDIO_CHANNEL_FR};
}

} // namespace

SoftwarePath::SoftwarePath(
    PipeWireConnection& connection, PipeWireGraph& graph, RunLoop& runLoop, Setup setup, Events events)
    : connection_(connection)
    , graph_(graph)
    , runLoop_(runLoop)
    , setup_(std::move(setup))
    , events_(std::move(events))
    , router_(graph, setup_.targetName, setup_.excludedClients)
    , guard_(runLoop, setup_.guardProgram, setup_.nodeName, setup_.targetName)
{
    graph_.addObserver(*this);
    connection_.addListener(*this);
}

SoftwarePath::~SoftwarePath()
{
    connection_.removeListener(*this);
    graph_.removeObserver(*this);
    cycle_.clearProcedure();
    router_.release();
}

void SoftwarePath::start(AudioObjectID device, AudioIOProc procedure, void* clientData)
{
    cycle_.setProcedure(device, procedure, clientData);
    wanted_ = true;
    buildWhenPossible();
}

void SoftwarePath::stop()
{
    cycle_.clearProcedure();
    wanted_ = false;
    pendingEnd_.reset();
    pendingFormat_.reset();
    router_.release();
    // What ends now ends as it was asked to, and the direct path is as loud as ever.
    if (const auto lowered = guard_.lowered())
        takeVolumeBack(*lowered);
}

void SoftwarePath::setDirectGain(float gain, bool isHeard)
{
    guard_.setDirectGain(gain, isHeard);
}

void SoftwarePath::whenDrained(std::function<void()> task)
{
    draining_ = runLoop_.after(streams_ ? drainTime : 0ms, std::move(task));
}

bool SoftwarePath::isDrained() const
{
    const auto leadsHere = [node = streams_ ? streams_->captureNode() : SPA_ID_INVALID](
                               const auto& link) { return link.second.inputNode == node; };
    return !streams_ || std::ranges::none_of(graph_.graph().links, leadsHere);
}

std::vector<DirectLink> SoftwarePath::directLinks() const
{
    if (!streams_)
        return {};
    return quenstal::directLinks(graph_.graph(), streams_->captureNode(), streams_->playbackNode());
}

void SoftwarePath::buildWhenPossible()
{
    const auto target = graph_.graph().sinkNamed(setup_.targetName);
    if (!wanted_ || streams_ || pendingEnd_ || !connection_.core() || !graph_.graph().hasSession || !target)
        return;
    targetSeen_ = true;
    positions_ = positionsOf(graph_.graph().sinks.at(*target));
    guard_.pathBegins();
    StreamPair::Owner& owner = *this;
    try {
        streams_ = std::make_unique<StreamPair>(
            connection_, StreamPair::Setup{setup_.nodeName, setup_.targetName, positions_}, cycle_, owner);
    } catch (const std::system_error& error) {
        endLater(-error.code().value());
    }
}

void SoftwarePath::dropStreams()
{
    router_.forget();
    streams_.reset();
}

bool SoftwarePath::carriesEverything() const
{
    const AudioGraph& graph = graph_.graph();
    const auto target = graph.sinkNamed(setup_.targetName);
    if (!streams_ || streams_->captureNode() == SPA_ID_INVALID || !target)
        return false;
    bool isCarried = false;
    for (const auto& [id, link] : graph.links) {
        if (link.inputNode != *target)
            continue;
        if (link.outputNode != streams_->playbackNode())
            return false;
        isCarried = true;
    }
    return isCarried;
}

void SoftwarePath::takeVolumeBackIfPossible()
{
    if (const auto lowered = guard_.lowered(); lowered && carriesEverything())
        takeVolumeBack(*lowered);
}

void SoftwarePath::takeVolumeBack(const SoundGuard::Lowered& lowered)
{
    const AudioGraph& graph = graph_.graph();
    const auto target = graph.sinkNamed(setup_.targetName);
    const AudioVolume* const now = target ? graph.volumeOf(graph.sinks.at(*target)) : nullptr;
    // Not known yet, or not any more.
    if (!now)
        return;
    if (isSameVolume(*now, lowered.lowered))
        graph_.writeVolume(*target, lowered.before, PipeWireGraph::Keep::no);
    guard_.forgetLowered();
}

void SoftwarePath::endLater(int status)
{
    if (!wanted_)
        return;
    if (!pendingEnd_ || endStatus_ == unknownReason)
        endStatus_ = status;
    if (!pendingEnd_)
        pendingEnd_ = runLoop_.after({}, [this] { events_.ended(endStatus_); });
}

void SoftwarePath::graphChanged(GraphChange change)
{
    const AudioGraph& graph = graph_.graph();
    switch (change) {
    case GraphChange::session:
        if (!graph.hasSession)
            dropStreams();
        break;
    case GraphChange::outputs:
    case GraphChange::volumes: {
        const auto target = graph.sinkNamed(setup_.targetName);
        if (!target && targetSeen_ && graph.hasSession)
            endLater(-ENODEV);
        // The output has other speakers now: streams made for the old ones would be mixed.
        if (target && streams_ && positionsOf(graph.sinks.at(*target)) != positions_)
            dropStreams();
        break;
    }
    case GraphChange::streams:
        if (streams_ && wanted_)
            router_.route(streams_->captureNode());
        break;
    }
    buildWhenPossible();
    takeVolumeBackIfPossible();
}

void SoftwarePath::disconnected()
{
    dropStreams();
    // What the streams told of their end is explained by this.
    pendingEnd_.reset();
    targetSeen_ = false;
}

void SoftwarePath::refused(std::uint32_t proxyID, int status)
{
    // Denied one or the other, the streams of others stay where they are, and nothing else tells of it.
    const bool concernsStreams = proxyID == PW_ID_CORE && streams_ && streams_->captureNode() == SPA_ID_INVALID;
    const bool isFatal = isDenial(status) && (concernsStreams || graph_.setsTargetsThrough(proxyID));
    // The streams that failed before are explained by this.
    if (pendingEnd_ || isFatal)
        endLater(status);
}

void SoftwarePath::streamsAdvanced()
{
    // Within the constructor of the pair there is nothing to route yet.
    if (streams_ && wanted_)
        router_.route(streams_->captureNode());
}

void SoftwarePath::streamsFailed()
{
    endLater(unknownReason);
}

void SoftwarePath::rateChanged()
{
    pendingFormat_ = runLoop_.after({}, [this] { events_.formatChanged(); });
}

} // namespace quenstal
