#pragma once

#include "QuenstalLinux/Display/BusEngine.hpp"
#include "QuenstalLinux/Display/ConnectorScanner.hpp"
#include "QuenstalPlatform/DisplayBuses.hpp"
#include "QuenstalPlatform/Handlers.hpp"
#include "QuenstalPlatform/OwnedTasks.hpp"

#include <memory>
#include <set>
#include <utility>
#include <vector>

namespace quenstal {

/// The monitors that are connected, each with the engine that serves its bus. Main thread.
class MonitorRegistry final : public MonitorWatch {
public:
    struct Monitor {
        Connector connector;
        /// Null for a built-in panel and for a monitor whose bus is not known.
        std::shared_ptr<BusEngine> engine;
    };

    /// Begins to look for monitors at once, and to ask those that it finds.
    MonitorRegistry(RunLoop& loop, DisplayMachine machine, CurrentOutputMonitor currentOutput);
    ~MonitorRegistry() override;

    /// The external monitors that may take the current output's volume. When it is known for certain which one plays
    /// it, that one alone: a failed write must not wander to another. Waits for the first look, out of the budget.
    std::vector<Monitor> candidates();
    /// All connectors: the candidates first, then the other external ones, then panels inside the machine.
    std::vector<Connector> connectors();
    DiscoveryBudget& discoveryBudget() { return discoveryBudget_; }
    /// The engine accepted a Set: what another one loses from now on is out of date.
    void noteWrite(std::shared_ptr<BusEngine> engine) { lastWritten_ = std::move(engine); }

    /// Connectors or I2C devices came, went or changed. Looks again once, a little later, however often this is called.
    void devicesChanged();

    [[nodiscard]] Cancellation observeChanges(RunLoop::Task task) override { return observers_.add(std::move(task)); }
    std::vector<DisplayBusProblem> problems() const override;
    bool takeLostWrite() override;
    void afterFreshRead(RunLoop::Task task) override;
    void machineWillSleep() override;
    void machineDidWake() override;
    void stop() override;

private:
    void scheduleScan(RunLoop::Duration delay);
    void adoptScan();
    void retireAllBut(const std::vector<Connector>& connectors);
    std::shared_ptr<BusEngine> engineFor(const Connector& connector);
    std::shared_ptr<BusEngine> startEngine(const Connector& connector);
    void retire(std::vector<Monitor> monitors);
    std::vector<Monitor> externalMonitors() const;
    std::optional<DisplayBusProblem> problemOf(const Monitor& monitor) const;
    std::function<void()> posting(void (MonitorRegistry::*task)());
    bool isBeingAsked();
    void monitorAsked();
    void runWaiting();
    void tellObserversSoon();
    void tellObservers();

    RunLoop& loop_;
    const DisplayMachine machine_;
    const CurrentOutputMonitor currentOutput_;
    /// Closed when it is stopped.
    OwnedTasks tasks_;
    const std::shared_ptr<CardGates> gates_;
    DiscoveryBudget discoveryBudget_;
    bool hasScanned_ = false;
    bool hasI2CDevices_ = false;
    std::vector<Monitor> monitors_;
    /// The EDIDs of monitors that went away after a Set was lost: they are believed on writing when they are back.
    std::set<std::vector<std::uint8_t>> doubted_;
    /// Stopping, and perhaps hanging.
    std::vector<std::shared_ptr<BusEngine>> retired_;
    std::unique_ptr<ConnectorScanner> scanner_;
    Cancellation scheduledScan_;
    /// What waits for monitors to be asked, and for how long at most.
    std::vector<RunLoop::Task> waiting_;
    Cancellation endOfWait_;
    bool isAsleep_ = false;
    /// Perhaps retired since.
    std::shared_ptr<BusEngine> lastWritten_;
    bool willTellObservers_ = false;
    Handlers<RunLoop::Task> observers_;
};

} // namespace quenstal
