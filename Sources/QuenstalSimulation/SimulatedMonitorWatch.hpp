#pragma once

#include "QuenstalPlatform/DisplayBuses.hpp"
#include "QuenstalPlatform/Handlers.hpp"

#include <string>
#include <utility>
#include <vector>

namespace quenstal {

/// Problems as they were put there, and a journal of what the buses were told.
class SimulatedMonitorWatch final : public MonitorWatch {
public:
    [[nodiscard]] Cancellation observeChanges(RunLoop::Task task) override { return observers_.add(std::move(task)); }
    std::vector<DisplayBusProblem> problems() const override { return problems_; }
    bool takeLostWrite() override { return std::exchange(hasLostWrite_, false); }
    void afterFreshRead(RunLoop::Task task) override
    {
        waiting_.push_back(std::move(task));
        if (!isBeingAsked_)
            runWaiting();
    }
    void machineWillSleep() override { calls_.emplace_back("will sleep"); }
    void machineDidWake() override { calls_.emplace_back("did wake"); }
    void stop() override { calls_.emplace_back("stop"); }

    void setProblems(std::vector<DisplayBusProblem> problems)
    {
        problems_ = std::move(problems);
        tellOfChange();
    }
    /// Observers hear of it with the next change.
    void loseWrite() { hasLostWrite_ = true; }
    /// From now on tasks wait until the monitor has answered.
    void askMonitor() { isBeingAsked_ = true; }
    void monitorAnswers()
    {
        isBeingAsked_ = false;
        runWaiting();
    }
    void tellOfChange() const { observers_.call(); }
    const std::vector<std::string>& calls() const { return calls_; }

private:
    void runWaiting()
    {
        for (const RunLoop::Task& task : std::exchange(waiting_, {}))
            task();
    }

    Handlers<RunLoop::Task> observers_;
    std::vector<DisplayBusProblem> problems_;
    bool hasLostWrite_ = false;
    bool isBeingAsked_ = false;
    std::vector<RunLoop::Task> waiting_;
    std::vector<std::string> calls_;
};

} // namespace quenstal
