#pragma once

#include "QuenstalCore/QuenstalController.hpp"
#include "QuenstalPlatform/Desktop.hpp"
#include "QuenstalPlatform/DisplayBuses.hpp"
#include "QuenstalPlatform/Handlers.hpp"
#include "QuenstalPlatform/OwnedTasks.hpp"

#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <type_traits>
#include <vector>

namespace quenstal {

/// The one way to the controller for everyone else in the shell, who see it read-only. Whoever wants another volume
/// gives an order; the desk reads, sees that the output is the one that was meant, carries the order out, follows the
/// volume from one path to the other, and publishes the outcome once. Main thread.
///
/// One thing is done at a time. What an observer asks for while it is told of a state is done on a later turn.
class VolumeDesk {
public:
    enum class Origin { key, panel, tray };

    struct Order {
        /// What to do, one after the other, asked once everything has been read.
        using Commands = std::function<std::vector<VolumeCommand>(const QuenstalState&)>;

        Origin origin;
        Commands commands;
        /// The output that it is for, as `outputOf` names it; none when it is for whichever is current then.
        std::optional<std::string> output = {};

        /// The same command whatever is read.
        static Commands always(const VolumeCommand& command, std::size_t times = 1);
    };

    using StateHandler = std::function<void(const QuenstalState&)>;
    using FeedbackHandler = std::function<void(const KeyFeedback&)>;

    /// Loop and buses outlive it.
    VolumeDesk(RunLoop& runLoop, MonitorWatch& monitorWatch, std::shared_ptr<QuenstalController> controller);

    std::shared_ptr<const QuenstalController> controller() const { return controller_; }
    const QuenstalState& state() const { return controller_->state(); }
    /// A name that outlasts a replug; empty without an output.
    static std::string outputOf(const QuenstalState& state);

    /// An order from a key or the tray steps from where the monitor's own knob is: a monitor that was not read for a
    /// while is read before. All others are carried out at once.
    void carryOut(Order order);
    /// Any other operation of the controller; its outcome is published. A command is none: it does not answer with a
    /// state.
    template <typename... Parameters>
    void change(
        QuenstalState (QuenstalController::*operation)(Parameters...), std::type_identity_t<Parameters>... arguments)
    {
        perform([this, operation, arguments...] {
            (*controller_.*operation)(arguments...);
            followPath();
            publish();
        });
    }
    void refresh() { change(&QuenstalController::refresh); }
    /// A refresh on a later turn; any number of requests before it make one.
    void scheduleRefresh();
    /// A refresh now. The next request schedules another one, even if one is still to come.
    void refreshAtOnce();
    /// Ends all software processing. Publishes nothing.
    void shutdown() { controller_->shutdown(); }

    [[nodiscard]] Cancellation onPublished(StateHandler handler) { return observers_.add(std::move(handler)); }
    /// What a key did, or why it did nothing.
    [[nodiscard]] Cancellation onKeyFeedback(FeedbackHandler handler) { return presenters_.add(std::move(handler)); }

private:
    /// What a monitor was told last.
    struct Written {
        std::string output;
        ControlMode mode;
        VolumeSnapshot before;
        VolumeSnapshot wanted;
    };
    /// An output's stay on the software path.
    struct Stay {
        std::string output;
        /// What was asked for meanwhile.
        std::optional<VolumeSnapshot> chosen;
    };

    void perform(RunLoop::Task task);
    void serve(const Order& order);
    void read();
    bool handle(const VolumeCommand& command);
    void set(const VolumeSnapshot& wanted);
    void makeUpForLostWrite();
    bool isWhereItWasMeantFor(const Written& lost) const;
    void followPath();
    void leaveSoftwarePath();
    void publish();
    void giveKeyFeedback(bool isApplied);

    template <typename Mode>
    bool isOn() const
    {
        return state().mode.is<Mode>();
    }

    MonitorWatch& monitorWatch_;
    std::shared_ptr<QuenstalController> controller_;
    Handlers<StateHandler> observers_;
    Handlers<FeedbackHandler> presenters_;
    std::optional<Written> written_;
    std::optional<Stay> stay_;
    bool isBusy_ = false;
    bool isRefreshScheduled_ = false;
    OwnedTasks tasks_;
};

} // namespace quenstal
