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

/// What a worker reports; called on its thread, without holding its lock.
struct BusNews {
    /// Earlier answers may be out of date.
    std::function<void()> changed;
    /// The device went away under the worker.
    std::function<void()> deviceGone;
    /// The check requested with `checkMemo` is done.
    std::function<void()> asked;
};

/// What makes a monitor count as one that answers.
enum class AnswerCriterion {
    /// A reply.
    reply,
    /// A Set that succeeds after the reply: the last one was lost or refused. The value just read is set, which is
    /// inaudible.
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
/// from a memo, one for each feature; Sets of the volume are written later, and the last one accepted is the last one
/// on the wire. No Set goes to a bus that has not answered a Get since the bus was found. The volume decides how the
/// monitor is judged. Other features are asked for when the volume leaves the bus idle, and only while the monitor
/// answers about it; a missing one is asked for again after 30 s at the earliest.
///
/// A Set that was accepted and then failed is reported by one failed Get. A monitor that answers nothing is not waited
/// for again; it is asked again in the background. One that answered before is assumed to be still answering while that
/// is checked: its memo serves Gets, and Sets wait. Main thread.
class BusEngine {
public:
    /// Starts asking at once.
    BusEngine(std::string device, std::shared_ptr<I2CDevices> devices, const std::shared_ptr<WorkerTime>& time,
        std::shared_ptr<CardGate> gate, BusNews news, AnswerCriterion answerCriterion = AnswerCriterion::reply);
    /// Abandons a worker that is stuck.
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
    /// reports the end. Somebody may have turned its own knob.
    bool checkMemo();

    /// The monitor may be gone, or have another volume: everything is determined again, and Sets that were accepted but
    /// not yet written wait for the answer.
    void rediscover();
    /// Closes the device and does not touch it again until `rediscover`.
    void suspend();

    /// Ends the worker once all accepted Sets are written. Does not wait; the destructor does, for at most 300 ms from
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
    /// Shared with its thread, which may outlive this object if a driver is stuck.
    const std::shared_ptr<BusWorker> worker_;
    std::thread thread_;
    std::optional<WorkerTime::Time> stopUntil_;
};

} // namespace quenstal
