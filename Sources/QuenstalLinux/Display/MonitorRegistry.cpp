#include "QuenstalLinux/Display/MonitorRegistry.hpp"

#include "QuenstalLinux/Display/Edid.hpp"

#include <algorithm>
#include <iterator>
#include <utility>

namespace quenstal {
namespace {

using namespace std::chrono_literals;

/// Plugging in one monitor causes several events.
constexpr RunLoop::Duration debounce = 100ms;
/// Monitors and their links take a moment to wake.
constexpr RunLoop::Duration afterWake = 500ms;
/// For two replies and the pauses before them; a key that waits longer feels dead.
constexpr RunLoop::Duration longestWaitForFreshRead = 200ms;

std::string remedyFor(DisplayBusProblem::Kind kind)
{
    using Kind = DisplayBusProblem::Kind;
    switch (kind) {
    case Kind::accessDenied:
        return "Install the package: its udev rule 70-quenstal-i2c.rules gives access to the user of the active "
               "session.";
    case Kind::notAnswering:
        return "Turn on DDC/CI in the monitor's own menu.";
    case Kind::writesRefused:
        return "";
    case Kind::stuck:
        return "Unplug the monitor and plug it in again.";
    case Kind::unknownBuses:
        return "";
    }
    return "";
}

/// "/dev/i2c-3 (AMDGPU SMU 0), /dev/i2c-4 (AMDGPU SMU 1)".
std::string listOf(const std::vector<std::string>& buses, const std::filesystem::path& devRoot)
{
    std::string list;
    for (const std::string& bus : buses)
        list += (list.empty() ? "" : ", ") + (devRoot / bus).string();
    return list;
}

} // namespace

MonitorRegistry::MonitorRegistry(RunLoop& loop, DisplayMachine machine, CurrentOutputMonitor currentOutput)
    : loop_(loop)
    , machine_(std::move(machine))
    , currentOutput_(std::move(currentOutput))
    , tasks_(loop)
    , gates_(std::make_shared<CardGates>(machine_.time))
    , scanner_(std::make_unique<ConnectorScanner>(machine_, gates_, posting(&MonitorRegistry::adoptScan)))
{
    discoveryBudget_.grant(machine_.time->now());
    scanner_->start();
}

MonitorRegistry::~MonitorRegistry()
{
    stop();
}

std::function<void()> MonitorRegistry::posting(void (MonitorRegistry::*task)())
{
    return [this, post = tasks_.poster(), task] { post([this, task] { (this->*task)(); }); };
}

std::vector<MonitorRegistry::Monitor> MonitorRegistry::candidates()
{
    if (!hasScanned_ && scanner_) {
        const WorkerTime::Time began = machine_.time->now();
        scanner_->await(began + discoveryBudget_.left());
        discoveryBudget_.spend(machine_.time->now() - began);
        adoptScan();
    }
    std::vector<Monitor> monitors = externalMonitors();
    const std::optional<MonitorIdentity> playing = currentOutput_ ? currentOutput_() : std::nullopt;
    if (!playing)
        return monitors;
    std::vector<Monitor> matching;
    std::ranges::copy_if(monitors, std::back_inserter(matching),
        [&](const Monitor& monitor) { return describeSameMonitor(monitor.connector.identity, *playing); });
    return matching.size() == 1 ? matching : monitors;
}

std::vector<MonitorRegistry::Monitor> MonitorRegistry::externalMonitors() const
{
    std::vector<Monitor> monitors;
    std::ranges::copy_if(
        monitors_, std::back_inserter(monitors), [](const Monitor& monitor) { return !monitor.connector.isInternal; });
    return monitors;
}

std::vector<Connector> MonitorRegistry::connectors()
{
    std::vector<Connector> arranged;
    for (const Monitor& monitor : candidates())
        arranged.push_back(monitor.connector);
    std::vector<Connector> others;
    for (const Monitor& monitor : monitors_)
        if (std::ranges::find(arranged, monitor.connector) == arranged.end())
            others.push_back(monitor.connector);
    std::stable_partition(
        others.begin(), others.end(), [](const Connector& connector) { return !connector.isInternal; });
    std::ranges::move(others, std::back_inserter(arranged));
    return arranged;
}

void MonitorRegistry::devicesChanged()
{
    if (!isAsleep_ && !scheduledScan_)
        scheduleScan(debounce);
}

void MonitorRegistry::scheduleScan(RunLoop::Duration delay)
{
    // The device manager may still deliver events after the stop.
    if (!scanner_)
        return;
    scheduledScan_ = loop_.after(delay, [this] {
        scheduledScan_.reset();
        scanner_->start();
    });
}

void MonitorRegistry::adoptScan()
{
    std::optional<ConnectorScan> scan = scanner_->take();
    // Already adopted by whoever waited for it, or out of date before it was there.
    if (!scan || isAsleep_)
        return;
    hasScanned_ = true;
    hasI2CDevices_ = scan->hasI2CDevices;
    discoveryBudget_.grant(machine_.time->now());
    // First, for what was learnt of a monitor that is only somewhere else now.
    retireAllBut(scan->connectors);
    std::vector<Monitor> found;
    for (Connector& connector : scan->connectors) {
        std::shared_ptr<BusEngine> engine = engineFor(connector);
        found.push_back({std::move(connector), std::move(engine)});
    }
    monitors_ = std::move(found);
    tellObserversSoon();
}

void MonitorRegistry::retireAllBut(const std::vector<Connector>& connectors)
{
    const auto isThere
        = [&](const Monitor& monitor) { return std::ranges::find(connectors, monitor.connector) != connectors.end(); };
    const auto gone = std::stable_partition(monitors_.begin(), monitors_.end(), isThere);
    retire({std::make_move_iterator(gone), std::make_move_iterator(monitors_.end())});
    monitors_.erase(gone, monitors_.end());
}

std::shared_ptr<BusEngine> MonitorRegistry::engineFor(const Connector& connector)
{
    if (connector.isInternal || connector.bus.empty())
        return nullptr;
    const auto known = std::ranges::find(monitors_, connector, &Monitor::connector);
    if (known == monitors_.end())
        return startEngine(connector);
    known->engine->rediscover();
    return std::move(known->engine);
}

std::shared_ptr<BusEngine> MonitorRegistry::startEngine(const Connector& connector)
{
    BusNews news{.changed = posting(&MonitorRegistry::tellObserversSoon),
        .deviceGone = posting(&MonitorRegistry::devicesChanged),
        .asked = posting(&MonitorRegistry::monitorAsked)};
    const AnswerCriterion answerCriterion
        = doubted_.erase(connector.edid) > 0 ? AnswerCriterion::successfulSet : AnswerCriterion::reply;
    return std::make_shared<BusEngine>(machine_.devRoot / connector.bus, machine_.devices, machine_.time,
        gates_->of(connector.card()), std::move(news), answerCriterion);
}

void MonitorRegistry::retire(std::vector<Monitor> monitors)
{
    for (Monitor& monitor : monitors) {
        if (!monitor.engine)
            continue;
        if (monitor.engine->answerCriterion() == AnswerCriterion::successfulSet)
            doubted_.insert(monitor.connector.edid);
        monitor.engine->beginStop();
        retired_.push_back(std::move(monitor.engine));
    }
    std::erase_if(retired_, [](const auto& engine) { return engine->hasStopped(); });
}

void MonitorRegistry::tellObserversSoon()
{
    if (std::exchange(willTellObservers_, true))
        return;
    tasks_.post([this] { tellObservers(); });
}

void MonitorRegistry::tellObservers()
{
    willTellObservers_ = false;
    observers_.call();
}

std::vector<DisplayBusProblem> MonitorRegistry::problems() const
{
    std::vector<DisplayBusProblem> problems;
    for (const Monitor& monitor : externalMonitors())
        if (auto problem = problemOf(monitor))
            problems.push_back(std::move(*problem));
    return problems;
}

bool MonitorRegistry::takeLostWrite()
{
    return lastWritten_ && lastWritten_->takeLostSet();
}

void MonitorRegistry::afterFreshRead(RunLoop::Task task)
{
    // In the order in which they arrived, whatever is known by now.
    if (waiting_.empty() && !isBeingAsked())
        return task();
    waiting_.push_back(std::move(task));
    if (!endOfWait_)
        endOfWait_ = loop_.after(longestWaitForFreshRead, [this] { runWaiting(); });
}

bool MonitorRegistry::isBeingAsked()
{
    bool isAsked = false;
    for (const Monitor& monitor : candidates())
        isAsked |= monitor.engine && monitor.engine->checkMemo();
    return isAsked;
}

void MonitorRegistry::monitorAsked()
{
    if (!waiting_.empty() && !isBeingAsked())
        runWaiting();
}

void MonitorRegistry::runWaiting()
{
    endOfWait_.reset();
    for (const RunLoop::Task& task : std::exchange(waiting_, {}))
        task();
}

std::optional<DisplayBusProblem> MonitorRegistry::problemOf(const Monitor& monitor) const
{
    using Kind = DisplayBusProblem::Kind;
    const std::string& title = monitor.connector.title();
    if (!hasI2CDevices_)
        return DisplayBusProblem{Kind::notAnswering, "", title, "Load the kernel module i2c-dev."};
    if (!monitor.connector.leftAlone.empty())
        return DisplayBusProblem{Kind::unknownBuses, listOf(monitor.connector.leftAlone, machine_.devRoot), title, ""};
    if (!monitor.engine)
        return DisplayBusProblem{Kind::notAnswering, "", title, ""};
    const std::optional<Kind> kind = monitor.engine->problem();
    if (!kind)
        return std::nullopt;
    return DisplayBusProblem{*kind, monitor.engine->device(), title, remedyFor(*kind)};
}

void MonitorRegistry::machineWillSleep()
{
    isAsleep_ = true;
    scheduledScan_.reset();
    for (const Monitor& monitor : monitors_)
        if (monitor.engine)
            monitor.engine->suspend();
}

void MonitorRegistry::machineDidWake()
{
    isAsleep_ = false;
    scheduleScan(afterWake);
}

void MonitorRegistry::stop()
{
    tasks_.close();
    scheduledScan_.reset();
    endOfWait_.reset();
    waiting_.clear();
    retire(std::exchange(monitors_, {}));
    lastWritten_.reset();
    // Each waits for its own end, all of them together no longer than one.
    retired_.clear();
    scanner_.reset();
}

} // namespace quenstal
