#pragma once

#include "QuenstalLinux/Display/BusLink.hpp"
#include "QuenstalPlatform/DisplayBuses.hpp"
#include "QuenstalPlatform/VcpMessages.hpp"

#include <functional>
#include <memory>
#include <optional>
#include <thread>

namespace quenstal {

class BusWorker;

/// What a worker has to tell; called on its thread, under no lock of its own.
struct BusNews {
    /// What was answered may be different now.
    std::function<void()> changed;
    /// The device went away under the worker.
    std::function<void()> deviceGone;
    /// Whoever waits since `checkMemo` need not wait longer.
    std::function<void()> asked;
};

/// What makes a monitor count as one that answers.
enum class AnswerCriterion {
    /// A reply.
    reply,
    /// A Set that succeeds after the reply: the last one was lost or refused. What is set is the value just read, which
    /// cannot be heard.
    successfulSet
};

/// How long the main thread may still wait for monitors of which nothing is known yet: once for each discovery, not
/// for each call. Main thread.
class DiscoveryBudget {
public:
    /// Grants the whole wait, unless it was granted a moment ago: connectors that flap must not hold up every key.
    void grant(WorkerTime::Time now);
    void spend(WorkerTime::Duration duration);
    WorkerTime::Duration left() const { return left_; }

private:
    WorkerTime::Duration left_{};
    std::optional<WorkerTime::Time> grantedAt_;
};

/// One monitor's bus, served by a thread of its own so that a key press need not wait for the wire. Gets are answered
/// from a memo, one for each feature; Sets of the volume are written behind, and what is on the wire in the end is the
/// last one that was accepted. No Set goes to a bus that has not answered a Get since the bus was found.
///
/// The volume is what the monitor is judged by. Other features are asked for when the volume leaves the bus alone, and
/// only while the monitor answers about that; one that it does not have is asked for again after 30 s at the earliest.
///
/// A Set that was accepted and then failed is reported by one failed Get. A monitor that answers nothing is not waited
/// for again; it is asked again in the background. One that answered before is taken to answer still while it is found
/// out again: its memo serves Gets, and Sets wait. Main thread.
class BusEngine {
public:
    /// Begins to ask at once.
    BusEngine(std::string device, std::shared_ptr<I2CDevices> devices, const std::shared_ptr<WorkerTime>& time,
        std::shared_ptr<CardGate> gate, BusNews news, AnswerCriterion answerCriterion = AnswerCriterion::reply);
    /// Leaves a worker that hangs to itself.
    ~BusEngine();
    BusEngine(const BusEngine&) = delete;
    BusEngine& operator=(const BusEngine&) = delete;

    /// 0 or an errno, which leaves the value as it was. Waits only while nothing is known of the feature, only out of
    /// the budget, and not for a monitor whose last Set was lost.
    PlatformStatus get(VcpFeature feature, WorkerTime::Duration replyDelay, VcpValue& value, DiscoveryBudget& budget);
    /// 0 when the volume was written or will be. Waits at most 25 ms, and only when the bus is at rest: then a failure
    /// is the failure of this very command.
    PlatformStatus setVolume(std::uint16_t volume);

    /// True when the memo is older than half a second, or in doubt, and the monitor is being asked: `BusNews::asked`
    /// tells the end. Somebody may have turned its own knob.
    bool checkMemo();

    /// The monitor may be gone, or have another volume: everything is found out again, what was accepted and not yet
    /// written waits for the answer.
    void rediscover();
    /// Lets go of the device and touches it no more until `rediscover`.
    void suspend();

    /// Ends the worker once what was accepted is written. Does not wait; the destructor does, for at most 300 ms from
    /// now.
    void beginStop();
    bool hasStopped() const;

    std::optional<DisplayBusProblem::Kind> problem() const;
    /// Whether the last Set that was accepted has failed since, or waited for an answer in vain until `beginStop`;
    /// once.
    bool takeLostSet();
    /// Outlasts `rediscover` and `suspend`, and is for an engine that serves the same monitor later.
    AnswerCriterion answerCriterion() const;
    const std::string& device() const { return device_; }

private:
    const std::string device_;
    const std::shared_ptr<WorkerTime> time_;
    /// Shared with its thread, which may outlive this object when a driver hangs.
    const std::shared_ptr<BusWorker> worker_;
    std::thread thread_;
    std::optional<WorkerTime::Time> stopUntil_;
};

} // namespace quenstal
