// The worker thread's side of a bus engine.

#include "QuenstalLinux/Display/BusWorker.hpp"

#include "QuenstalLinux/Display/ReplyConsensus.hpp"

#include <algorithm>
#include <array>
#include <cerrno>
#include <utility>

namespace quenstal {
namespace {

using namespace std::chrono_literals;
using Duration = WorkerTime::Duration;

constexpr I2CDevices::Address ddcAddress = 0x37;

/// The pause that the standard requires between question and answer.
constexpr Duration usualReplyDelay = 50ms;

/// After the last Set of a burst the monitor is asked for the result.
constexpr Duration verifyDelay = 300ms;
/// Descriptors are closed well within a second.
constexpr Duration idleUntilClose = 900ms;

constexpr std::array<Duration, 3> setBackoff{50ms, 100ms, 200ms};
constexpr std::array<Duration, 5> getBackoff{40ms, 80ms, 160ms, 160ms, 160ms};
constexpr Duration longestSilenceBackoff = 30s;
constexpr Duration longestRefusalBackoff = 10min;

/// The call has returned at last, with any result.
constexpr int driverHung = ETIME;

/// Trying again at once is of no use.
bool isHopeless(int error)
{
    return isDeviceGone(error) || isDenied(error) || error == driverHung;
}

} // namespace

BusWorker::BusWorker(const std::string& device, std::shared_ptr<I2CDevices> devices,
    const std::shared_ptr<WorkerTime>& time, std::shared_ptr<CardGate> gate, BusNews news,
    AnswerCriterion answerCriterion)
    : time_(time)
    , news_(std::move(news))
    , link_(device, std::move(devices), time, std::move(gate))
    , replyDelay_(usualReplyDelay)
    , answerCriterion_(answerCriterion)
{
}

void BusWorker::run()
{
    Lock lock(mutex_);
    while (!isDone()) {
        step(lock);
        announce(lock);
    }
    closeLink(lock);
    hasEnded_ = true;
    time_->wakeAll(progress_);
}

void BusWorker::step(Lock& lock)
{
    const Time now = time_->now();
    if (closeIsDue_ || now >= closeAt_)
        closeLink(lock);
    else if (!hasWork(now))
        waitForWork(lock);
    else if (now < quietUntil_)
        pause(lock, quietUntil_ - now);
    else if (canWrite())
        writePending(lock);
    else if (isVolumeDue(now))
        askVolume(lock);
    else if (auto* const due = dueSideFeature())
        askOnTheSide(lock, due->first, due->second);
}

bool BusWorker::hasWork(Time now)
{
    return monitorState_ != MonitorState::suspended && (isVolumeDue(now) || dueSideFeature());
}

bool BusWorker::isVolumeDue(Time now) const
{
    return pendingSet_ || probeIsDue_ || now >= verifyAt_ || now >= reprobeAt_;
}

BusWorker::SideFeatures::value_type* BusWorker::dueSideFeature()
{
    if (monitorState_ != MonitorState::answering)
        return nullptr;
    const auto due = std::ranges::find_if(sideFeatures_, [](const auto& entry) { return entry.second.isDue; });
    return due == sideFeatures_.end() ? nullptr : &*due;
}

void BusWorker::waitForWork(Lock& lock)
{
    const Time deadline = std::min({closeAt_, verifyAt_, reprobeAt_});
    time_->waitUntil(lock, work_, deadline, [this] { return isStopping_ || closeIsDue_ || hasWork(time_->now()); });
}

void BusWorker::pause(Lock& lock, Duration duration)
{
    time_->waitUntil(lock, work_, time_->now() + duration, [this] { return closeIsDue_; });
}

void BusWorker::closeLink(Lock& lock)
{
    closeIsDue_ = false;
    closeAt_ = WorkerTime::never;
    lock.unlock();
    link_.close();
    lock.lock();
}

template <typename Work>
int BusWorker::transact(Lock& lock, Work work)
{
    const Time began = time_->now();
    transactionBegan_ = began;
    lock.unlock();
    const int error = work();
    lock.lock();
    transactionBegan_.reset();
    closeAt_ = link_.isOpen() ? time_->now() + idleUntilClose : WorkerTime::never;
    if (closeIsDue_)
        closeLink(lock);
    return time_->now() - began > stuckAfter ? driverHung : error;
}

void BusWorker::writePending(Lock& lock)
{
    isBusy_ = true;
    int error = writeOnce(lock);
    for (const Duration backoff : setBackoff) {
        if (error == 0 || isHopeless(error) || isStopping_)
            break;
        pause(lock, backoff);
        // In doubt meanwhile: the monitor has to answer before it is written again.
        if (monitorState_ != MonitorState::answering)
            break;
        error = writeOnce(lock);
    }
    if (error != 0 && monitorState_ == MonitorState::answering)
        failSets(error);
    isBusy_ = false;
    time_->wakeAll(progress_);
}

int BusWorker::writeOnce(Lock& lock)
{
    const std::uint16_t volume = *std::exchange(pendingSet_, std::nullopt);
    const auto message = vcpSet({speakerVolumeFeature, volume});
    const std::uint64_t accepted = setsAccepted_;
    const int error = transact(lock, [&] { return link_.write(ddcAddress, message); });
    quietUntil_ = time_->now() + BusLink::pauseAfterWrite;
    if (error != 0) {
        // A newer one takes its place.
        if (!pendingSet_)
            pendingSet_ = volume;
        return error;
    }
    setsDone_ = accepted;
    lastSetError_ = 0;
    refusalBackoff_ = firstRefusalBackoff;
    verifyAt_ = time_->now() + verifyDelay;
    return 0;
}

void BusWorker::failSets(int error)
{
    pendingSet_.reset();
    setsDone_ = setsAccepted_;
    lastSetError_ = error;
    owesFailure_ = hasLostSet_ = true;
    lastSetFailed_ = true;
    answerCriterion_ = AnswerCriterion::successfulSet;
    forgetValues();
    retryAt_ = WorkerTime::never;
    isDeviceGone_ = isDeviceGone(error);
    enter(isDenied(error) ? MonitorState::denied : MonitorState::silent);
    probeIsDue_ = true;
}

void BusWorker::askVolume(Lock& lock)
{
    isBusy_ = true;
    probeIsDue_ = false;
    verifyAt_ = reprobeAt_ = WorkerTime::never;
    const std::uint64_t generation = generation_;
    const auto isOutOfDate = [this, generation] { return generation != generation_ || isStopping_; };
    const std::optional<VcpValue> known = volume_ ? std::optional(volume_->value) : std::nullopt;
    // The value read is then written back: a late reply would be audible.
    const bool wantsTwo = answerCriterion_ == AnswerCriterion::successfulSet;
    const Answer answer = poll(lock, {speakerVolumeFeature, known, wantsTwo, isOutOfDate});
    // Carrying out a Set seconds late would be a surprise.
    if (answer.error == driverHung && pendingSet_)
        failSets(answer.error);
    // Another answer has been or will be requested by the cause of the change.
    else if (!answer.isInterrupted && generation == generation_)
        weigh(lock, answer);
    hasBeenAsked_ |= !answer.isInterrupted && std::exchange(isWaitedFor_, false);
    isBusy_ = false;
}

void BusWorker::askOnTheSide(Lock& lock, VcpFeature code, SideFeature& feature)
{
    const auto mustWait
        = [this] { return pendingSet_ || probeIsDue_ || monitorState_ != MonitorState::answering || isStopping_; };
    const std::optional<VcpValue> known = feature.memo ? std::optional(feature.memo->value) : std::nullopt;
    const Answer answer = poll(lock, {code, known, false, mustWait});
    // Whether the monitor is still there is seen by what it is known to answer.
    probeIsDue_ |= isHopeless(answer.error);
    if (answer.isInterrupted || monitorState_ != MonitorState::answering)
        return;
    feature = {};
    if (answer.value)
        feature.memo = {*answer.value, time_->now()};
    else
        feature.retryAt = time_->now() + longestSilenceBackoff;
    time_->wakeAll(progress_);
}

void BusWorker::weigh(Lock& lock, const Answer& answer)
{
    if (!answer.value)
        learnSilence(answer);
    else if (lastSetFailed_ && answer.isPrompt)
        learnRefusal();
    else if (answerCriterion_ == AnswerCriterion::successfulSet)
        prove(lock, *answer.value);
    else
        learn(*answer.value);
    time_->wakeAll(progress_);
}

BusWorker::Answer BusWorker::poll(Lock& lock, const Question& question)
{
    ReplyConsensus consensus(question.feature, question.known, question.wantsTwo);
    const auto message = vcpQuestion(question.feature);
    Answer answer;
    for (std::size_t attempt = 0; attempt <= getBackoff.size(); ++attempt) {
        const bool shouldBackOff = attempt > 0 && !(answer.error == 0 && consensus.lastHeard());
        if (shouldBackOff)
            pause(lock, getBackoff[attempt - 1]);
        if (question.isGivenUp())
            return {.value = {}, .isInterrupted = true};
        VcpReply reply{};
        answer.error = transact(lock, [&] { return link_.exchange(ddcAddress, message, replyDelay_, reply); });
        if (isHopeless(answer.error))
            break;
        if (answer.error != 0)
            continue;
        // A monitor that has answered before has the feature, even if it denies that now.
        answer.isUnsupported = consensus.hear(reply) == ReplyConsensus::Verdict::unsupported && !question.known;
        answer.isPrompt |= attempt == 0 && consensus.lastHeard();
        if (answer.isUnsupported || consensus.decision())
            break;
    }
    answer.value = consensus.decision() || question.wantsTwo ? consensus.decision() : consensus.lastHeard();
    return answer;
}

void BusWorker::prove(Lock& lock, const VcpValue& value)
{
    const auto message = vcpSet({speakerVolumeFeature, value.current});
    const std::uint64_t generation = generation_;
    const auto write = [&] { return link_.write(ddcAddress, message); };
    int error = transact(lock, write);
    for (const Duration backoff : setBackoff) {
        if (error == 0 || isHopeless(error))
            break;
        pause(lock, backoff);
        if (generation != generation_ || isStopping_)
            return;
        error = transact(lock, write);
    }
    quietUntil_ = time_->now() + BusLink::pauseAfterWrite;
    if (generation != generation_)
        return;
    if (isHopeless(error))
        return learnSilence({.value = {}, .error = error});
    if (error != 0)
        return learnRefusal();
    answerCriterion_ = AnswerCriterion::reply;
    refusalBackoff_ = firstRefusalBackoff;
    learn(value);
}

void BusWorker::learn(VcpValue value)
{
    // Accepted before the monitor was asked again, and still to be written.
    if (pendingSet_)
        value.current = *pendingSet_;
    hasChanged_ |= !volume_ || volume_->value != value;
    volume_ = {value, time_->now()};
    lastSetFailed_ = false;
    silenceBackoff_ = firstSilenceBackoff;
    enter(MonitorState::answering);
}

void BusWorker::learnRefusal()
{
    lastSetFailed_ = false;
    retryAt_ = time_->now() + refusalBackoff_;
    refusalBackoff_ = std::min(2 * refusalBackoff_, longestRefusalBackoff);
    enter(MonitorState::refusing);
}

void BusWorker::learnSilence(const Answer& answer)
{
    isDeviceGone_ = volume_ && isDeviceGone(answer.error);
    forgetValues();
    lastSetFailed_ = false;
    if (std::exchange(pendingSet_, std::nullopt)) {
        setsDone_ = setsAccepted_;
        lastSetError_ = EIO;
        owesFailure_ = hasLostSet_ = true;
    }
    if (answer.isUnsupported)
        silenceBackoff_ = longestSilenceBackoff;
    retryAt_ = time_->now() + silenceBackoff_;
    // Beyond that it is asked on demand only: an idle machine stays idle.
    if (silenceBackoff_ < longestSilenceBackoff)
        reprobeAt_ = retryAt_;
    silenceBackoff_ = std::min(2 * silenceBackoff_, longestSilenceBackoff);
    enter(isDenied(answer.error) ? MonitorState::denied : MonitorState::silent);
}

void BusWorker::forgetValues()
{
    volume_.reset();
    for (auto& [code, feature] : sideFeatures_)
        feature.memo.reset();
    ++generation_;
}

void BusWorker::enter(MonitorState state)
{
    hasChanged_ |= monitorState_ != state;
    monitorState_ = state;
}

void BusWorker::announce(Lock& lock)
{
    const bool hasChanged = std::exchange(hasChanged_, false);
    const bool isGone = std::exchange(isDeviceGone_, false);
    const bool hasBeenAsked = std::exchange(hasBeenAsked_, false);
    if (!hasChanged && !isGone && !hasBeenAsked)
        return;
    lock.unlock();
    if (hasBeenAsked)
        news_.asked();
    if (isGone)
        news_.deviceGone();
    if (hasChanged)
        news_.changed();
    lock.lock();
}

} // namespace quenstal
