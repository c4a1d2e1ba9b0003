#include "QuenstalSoundGuard/SoundReturn.hpp"

#include "QuenstalLinux/Audio/ChannelVolumes.hpp"
#include "QuenstalSoundGuard/HeldUp.hpp"

#include <algorithm>
#include <utility>

namespace quenstal {

namespace {

using namespace std::chrono_literals;

/// A server that answers does so within a tenth of that.
constexpr auto timeLimit = 2s;

AudioVolume attenuated(AudioVolume volume, DirectPath path)
{
    for (float& factor : volume.channels)
        factor *= std::clamp(path.gain, 0.0F, 1.0F);
    volume.muted = volume.muted || path.isHeard == 0;
    return volume;
}

bool areSameFactors(AudioVolume left, const AudioVolume& right)
{
    left.muted = right.muted;
    return isSameVolume(left, right);
}

} // namespace

SoundReturn::SoundReturn(
    RunLoop& runLoop, pid_t program, const Names& names, SoundGuardRecord& record, std::function<void(bool)> done)
    : runLoop_(runLoop)
    , program_(program)
    , names_(names)
    , record_(record)
    , done_(std::move(done))
    , connection_(runLoop, PipeWireConnection::Purpose::questions)
    , graph_(connection_, runLoop, [](int, int) { return std::optional<Eld>(); })
    , limit_(runLoop.after(timeLimit, [this] { giveUp(); }))
{
    graph_.addObserver(*this);
}

SoundReturn::~SoundReturn()
{
    graph_.removeObserver(*this);
}

void SoundReturn::graphChanged(GraphChange)
{
    const bool canBeCalledOff = step_ == Step::looking || step_ == Step::lowering;
    if (canBeCalledOff && !isHeldUp(program_)) {
        giveUp();
        return;
    }
    switch (step_) {
    case Step::looking:
        lower();
        break;
    case Step::lowering:
        if (isLowered())
            disconnect();
        break;
    case Step::disconnecting:
        if (!client())
            finish(true);
        break;
    case Step::restoring:
    case Step::over:
        break;
    }
}

void SoundReturn::lower()
{
    const AudioGraph& graph = graph_.graph();
    const SinkNode* const sink = target();
    const CardDevice* const card = sink ? graph.cardOf(*sink) : nullptr;
    const AudioVolume* const volume = sink ? graph.volumeOf(*sink) : nullptr;
    if (!sink || !sink->isComplete || (card && !card->hasToldRoutes) || !volume || !client())
        return;
    step_ = Step::lowering;
    // One that was lowered and not taken back yet goes back to what it was at first.
    const bool isOurs = record_.isLowered.load() && isSameVolume(*volume, record_.lowered.volume());
    const bool isOfThisPath = isOurs && record_.loweredPath == record_.paths.load();
    lowered_ = isOfThisPath ? record_.lowered.volume() : attenuated(*volume, record_.directPath.load());
    if (!isSameVolume(*volume, lowered_))
        writeLowered(isOurs ? record_.before.volume() : *volume);
    if (isLowered())
        disconnect();
}

void SoundReturn::writeLowered(const AudioVolume& before)
{
    record_.before = StoredVolume::of(before);
    record_.lowered = StoredVolume::of(lowered_);
    record_.loweredPath = record_.paths.load();
    record_.isLowered.store(true);
    isLoweredHere_ = true;
    graph_.writeVolume(*graph_.graph().sinkNamed(names_.target), lowered_, PipeWireGraph::Keep::no);
}

void SoundReturn::disconnect()
{
    step_ = Step::disconnecting;
    graph_.destroy(*client());
}

void SoundReturn::giveUp()
{
    const auto sink = graph_.graph().sinkNamed(names_.target);
    // It still goes through the program, which does not know of the lowered output. Where the end of its connection has
    // been asked for, it may come at any time, and the output stays lowered.
    if (step_ == Step::lowering && sink && isLoweredHere_) {
        graph_.writeVolume(*sink, record_.before.volume(), PipeWireGraph::Keep::no);
        record_.isLowered.store(false);
        step_ = Step::restoring;
        limit_ = runLoop_.after(timeLimit, [this] { finish(false); });
        connection_.whenServed([this] { finish(false); });
        return;
    }
    finish(false);
}

void SoundReturn::finish(bool isBack)
{
    step_ = Step::over;
    limit_.reset();
    end_ = runLoop_.after({}, [this, isBack] { done_(isBack); });
}

const SinkNode* SoundReturn::target() const
{
    const auto number = graph_.graph().sinkNamed(names_.target);
    return number ? &graph_.graph().sinks.at(*number) : nullptr;
}

std::optional<std::uint32_t> SoundReturn::client() const
{
    const auto& others = graph_.graph().others;
    const auto stream = std::ranges::find(others, names_.stream, [](const auto& entry) { return entry.second.name; });
    return stream == others.end() ? std::nullopt : std::optional(stream->second.client);
}

bool SoundReturn::isLowered() const
{
    const SinkNode* const sink = target();
    const AudioVolume* const volume = sink ? graph_.graph().volumeOf(*sink) : nullptr;
    // A route's volume counts when the node, which scales the samples or tells the hardware to, has it too.
    return volume && isSameVolume(*volume, lowered_) && (!sink->volume || areSameFactors(*sink->volume, lowered_));
}

} // namespace quenstal
