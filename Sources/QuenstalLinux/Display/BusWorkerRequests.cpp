// The main thread's side of a bus engine.

#include "QuenstalLinux/Display/BusWorker.hpp"

#include <algorithm>
#include <cerrno>
#include <utility>

namespace quenstal {
namespace {

using namespace std::chrono_literals;

/// Someone may turn the monitor's own knob; a memo of this age is checked in the background.
constexpr WorkerTime::Duration memoLifetime = 2s;
/// A memo of this age is fresh enough to step from: a held key repeats faster, and a hand takes longer from the
/// keyboard to the monitor.
constexpr WorkerTime::Duration recentLifetime = 500ms;
/// Long enough for a Set on a bus at rest (1 ms), short enough not to be felt.
constexpr WorkerTime::Duration longestWaitForSet = 25ms;

} // namespace

PlatformStatus BusWorker::get(VcpFeature feature, Duration replyDelay, VcpValue& value, DiscoveryBudget& budget)
{
    Lock lock(mutex_);
    replyDelay_ = replyDelay;
    if (isStopping_ || isStuck())
        return ETIMEDOUT;
    return feature == speakerVolumeFeature ? getVolume(lock, value, budget)
                                           : getOnTheSide(lock, sideFeatures_[feature], value, budget);
}

PlatformStatus BusWorker::getVolume(Lock& lock, VcpValue& value, DiscoveryBudget& budget)
{
    if (std::exchange(owesFailure_, false))
        return EIO;
    // Whoever is not believed on reading has been done without so far.
    if (isBeingFound() && !volume_) {
        if (!isBusy_)
            requestProbe();
        await(lock, budget, [this] { return monitorState_ != MonitorState::unknown; });
    }
    if (!isBusy_ && (volume_ ? isOlderThan(*volume_, memoLifetime) : time_->now() >= retryAt_))
        requestProbe();
    if (!volume_)
        return EIO;
    value = volume_->value;
    return 0;
}

PlatformStatus BusWorker::getOnTheSide(Lock& lock, SideFeature& feature, VcpValue& value, DiscoveryBudget& budget)
{
    const Time now = time_->now();
    if (feature.memo ? isOlderThan(*feature.memo, memoLifetime) : now >= feature.retryAt) {
        feature.isDue = true;
        time_->wakeAll(work_);
    }
    const auto mayBeAnswered = [this] { return isBeingFound() || monitorState_ == MonitorState::answering; };
    const bool isNew = !feature.memo && feature.retryAt == Time{};
    if (isNew && mayBeAnswered())
        await(lock, budget, [&] { return !feature.isDue || !mayBeAnswered(); });
    if (!feature.memo)
        return EIO;
    value = feature.memo->value;
    return 0;
}

bool BusWorker::checkMemo()
{
    const Lock lock(mutex_);
    const bool isOld = monitorState_ == MonitorState::answering && volume_ && isOlderThan(*volume_, recentLifetime);
    isWaitedFor_ = !isStopping_ && !isStuck() && (isBeingFound() || isOld);
    if (isWaitedFor_ && !isBusy_)
        requestProbe();
    return isWaitedFor_;
}

void BusWorker::await(Lock& lock, DiscoveryBudget& budget, const std::function<bool()>& ready)
{
    const Time began = time_->now();
    time_->waitUntil(lock, progress_, began + budget.left(), ready);
    budget.spend(time_->now() - began);
}

void BusWorker::requestProbe()
{
    probeIsDue_ = true;
    time_->wakeAll(work_);
}

bool BusWorker::isStuck() const
{
    return transactionBegan_ && time_->now() - *transactionBegan_ > stuckAfter;
}

PlatformStatus BusWorker::setVolume(std::uint16_t volume)
{
    Lock lock(mutex_);
    if (isStopping_ || isStuck() || !volume_)
        return ENODEV;
    const Time now = time_->now();
    const bool isAnswering = monitorState_ == MonitorState::answering;
    const bool isAtRest = isAnswering && !isBusy_ && !transactionBegan_ && !pendingSet_ && now >= quietUntil_;
    volume_ = {{volume, volume_->value.maximum}, now};
    // A monitor that is being asked whether it is still there may answer: the pending Set becomes part of the answer.
    if (isAnswering)
        ++generation_;
    pendingSet_ = volume;
    hasLostSet_ = false;
    const std::uint64_t accepted = ++setsAccepted_;
    time_->wakeAll(work_);
    if (!isAtRest)
        return 0;
    time_->waitUntil(lock, progress_, now + longestWaitForSet, [&] { return setsDone_ >= accepted; });
    if (setsDone_ < accepted || lastSetError_ == 0)
        return 0;
    owesFailure_ = false;
    hasLostSet_ = false;
    return lastSetError_;
}

void BusWorker::doubtMonitor(MonitorState state)
{
    ++generation_;
    monitorState_ = state;
    owesFailure_ = false;
    lastSetFailed_ = false;
    silenceBackoff_ = firstSilenceBackoff;
    refusalBackoff_ = firstRefusalBackoff;
    verifyAt_ = reprobeAt_ = WorkerTime::never;
    for (auto& [code, feature] : sideFeatures_)
        feature.retryAt = {};
}

void BusWorker::rediscover()
{
    const std::lock_guard lock(mutex_);
    doubtMonitor(MonitorState::unknown);
    closeIsDue_ = true;
    requestProbe();
}

void BusWorker::suspend()
{
    const std::lock_guard lock(mutex_);
    doubtMonitor(MonitorState::suspended);
    closeIsDue_ = true;
    time_->wakeAll(work_);
}

void BusWorker::beginStop()
{
    const std::lock_guard lock(mutex_);
    isStopping_ = true;
    hasLostSet_ |= pendingSet_ && monitorState_ != MonitorState::answering;
    time_->wakeAll(work_);
    time_->wakeAll(progress_);
}

bool BusWorker::awaitEnd(Time deadline)
{
    Lock lock(mutex_);
    return time_->waitUntil(lock, progress_, deadline, [this] { return hasEnded_; });
}

bool BusWorker::takeLostSet()
{
    const std::lock_guard lock(mutex_);
    return std::exchange(hasLostSet_, false);
}

AnswerCriterion BusWorker::answerCriterion() const
{
    const std::lock_guard lock(mutex_);
    return answerCriterion_;
}

std::optional<DisplayBusProblem::Kind> BusWorker::problem() const
{
    using Kind = DisplayBusProblem::Kind;
    const std::lock_guard lock(mutex_);
    if (isStuck())
        return Kind::stuck;
    switch (monitorState_) {
    case MonitorState::denied:
        return Kind::accessDenied;
    case MonitorState::refusing:
        return Kind::writesRefused;
    case MonitorState::silent:
        return Kind::notAnswering;
    case MonitorState::unknown:
    case MonitorState::answering:
    case MonitorState::suspended:
        break;
    }
    return std::nullopt;
}

} // namespace quenstal
