#include "QuenstalLinux/Display/BusEngine.hpp"

#include "QuenstalLinux/Display/BusWorker.hpp"

#include <algorithm>
#include <utility>

namespace quenstal {
namespace {

/// Enough for a monitor that needs several tries to wake, not so long that the program seems to hang.
constexpr WorkerTime::Duration wholeColdBudget = std::chrono::milliseconds(400);
constexpr WorkerTime::Duration betweenGrants = std::chrono::seconds(10);
/// Longer than one Set and the quiet time before it.
constexpr WorkerTime::Duration longestStop = std::chrono::milliseconds(300);

} // namespace

void DiscoveryBudget::grant(WorkerTime::Time now)
{
    if (grantedAt_ && now - *grantedAt_ < betweenGrants)
        return;
    grantedAt_ = now;
    left_ = wholeColdBudget;
}

void DiscoveryBudget::spend(WorkerTime::Duration duration)
{
    left_ = std::max(left_ - duration, WorkerTime::Duration::zero());
}

BusEngine::BusEngine(std::string device, std::shared_ptr<I2CDevices> devices, const std::shared_ptr<WorkerTime>& time,
    std::shared_ptr<CardGate> gate, BusNews news, AnswerCriterion answerCriterion)
    : device_(std::move(device))
    , time_(time)
    , worker_(std::make_shared<BusWorker>(
          device_, std::move(devices), time, std::move(gate), std::move(news), answerCriterion))
    , thread_(time->startThread([worker = worker_] { worker->run(); }))
{
}

BusEngine::~BusEngine()
{
    beginStop();
    if (worker_->awaitEnd(*stopUntil_))
        thread_.join();
    else
        thread_.detach();
}

PlatformStatus BusEngine::get(
    VcpFeature feature, WorkerTime::Duration replyDelay, VcpValue& value, DiscoveryBudget& budget)
{
    return worker_->get(feature, replyDelay, value, budget);
}

PlatformStatus BusEngine::setVolume(std::uint16_t volume)
{
    return worker_->setVolume(volume);
}

bool BusEngine::checkMemo()
{
    return worker_->checkMemo();
}

void BusEngine::rediscover()
{
    worker_->rediscover();
}

void BusEngine::suspend()
{
    worker_->suspend();
}

void BusEngine::beginStop()
{
    if (stopUntil_)
        return;
    stopUntil_ = time_->now() + longestStop;
    worker_->beginStop();
}

bool BusEngine::hasStopped() const
{
    return worker_->awaitEnd(time_->now());
}

std::optional<DisplayBusProblem::Kind> BusEngine::problem() const
{
    return worker_->problem();
}

bool BusEngine::takeLostSet()
{
    return worker_->takeLostSet();
}

AnswerCriterion BusEngine::answerCriterion() const
{
    return worker_->answerCriterion();
}

} // namespace quenstal
