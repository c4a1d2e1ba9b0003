#pragma once

#include "QuenstalLinux/Display/BusEngine.hpp"

#include <condition_variable>
#include <cstdint>
#include <functional>
#include <map>
#include <mutex>

namespace quenstal {

/// The two sides of a bus engine: what the main thread asks, and the thread that talks to the monitor. They share the
/// members below `mutex_`, which is never held across a system call.
class BusWorker {
public:
    BusWorker(const std::string& device, std::shared_ptr<I2CDevices> devices, const std::shared_ptr<WorkerTime>& time,
        std::shared_ptr<CardGate> gate, BusNews news, AnswerCriterion answerCriterion);

    // Main thread; contracts as in BusEngine.
    PlatformStatus get(VcpFeature feature, WorkerTime::Duration replyDelay, VcpValue& value, DiscoveryBudget& budget);
    PlatformStatus setVolume(std::uint16_t volume);
    bool checkMemo();
    void rediscover();
    void suspend();
    void beginStop();
    bool awaitEnd(WorkerTime::Time deadline);
    std::optional<DisplayBusProblem::Kind> problem() const;
    bool takeLostSet();
    AnswerCriterion answerCriterion() const;

    /// The thread's body.
    void run();

private:
    using Duration = WorkerTime::Duration;
    using Lock = WorkerTime::Lock;
    using Time = WorkerTime::Time;

    /// A call that takes this long is stuck in the driver: the slowest successful transaction takes 60 ms.
    static constexpr Duration stuckAfter = std::chrono::seconds(2);
    static constexpr Duration firstSilenceBackoff = std::chrono::milliseconds(250);
    static constexpr Duration firstRefusalBackoff = std::chrono::seconds(30);

    /// What is known of the monitor. One that answers has a memo, and keeps it while that is in doubt.
    enum class MonitorState { unknown, answering, silent, denied, refusing, suspended };
    /// What a feature was when it was asked for, or became by a Set since.
    struct Memo {
        VcpValue value;
        Time at;
    };
    /// A feature other than the volume. The result of asking for it means nothing for the monitor.
    struct SideFeature {
        std::optional<Memo> memo;
        bool isDue = false;
        /// After a question that was not answered: when the next makes sense.
        Time retryAt{};
    };
    using SideFeatures = std::map<VcpFeature, SideFeature>;
    struct Question {
        VcpFeature feature;
        std::optional<VcpValue> known;
        /// One reply is not enough.
        bool wantsTwo;
        /// Under the lock: something more important came up.
        std::function<bool()> isGivenUp;
    };
    /// The result of asking.
    struct Answer {
        std::optional<VcpValue> value;
        int error = 0;
        /// The monitor replied that it has no such feature.
        bool isUnsupported = false;
        /// There was one at the first attempt: the monitor is there and well.
        bool isPrompt = false;
        /// Something more important came up; nothing was learnt.
        bool isInterrupted = false;
    };

    // Main thread, under the lock.
    PlatformStatus getVolume(Lock& lock, VcpValue& value, DiscoveryBudget& budget);
    PlatformStatus getOnTheSide(Lock& lock, SideFeature& feature, VcpValue& value, DiscoveryBudget& budget);
    bool isBeingFound() const
    {
        return monitorState_ == MonitorState::unknown && answerCriterion_ == AnswerCriterion::reply;
    }
    void await(Lock& lock, DiscoveryBudget& budget, const std::function<bool()>& ready);
    void requestProbe();
    bool isOlderThan(const Memo& memo, Duration age) const { return time_->now() >= memo.at + age; }
    bool isStuck() const;
    void doubtMonitor(MonitorState state);

    // Worker thread, under the lock; functions that take it as a parameter release it meanwhile.
    bool canWrite() const { return pendingSet_ && monitorState_ == MonitorState::answering; }
    bool isDone() const { return isStopping_ && !canWrite(); }
    void step(Lock& lock);
    bool hasWork(Time now);
    bool isVolumeDue(Time now) const;
    SideFeatures::value_type* dueSideFeature();
    void waitForWork(Lock& lock);
    void pause(Lock& lock, Duration duration);
    void closeLink(Lock& lock);
    template <typename Work>
    int transact(Lock& lock, Work work);
    void writePending(Lock& lock);
    int writeOnce(Lock& lock);
    void failSets(int error);
    void askVolume(Lock& lock);
    void askOnTheSide(Lock& lock, VcpFeature code, SideFeature& feature);
    Answer poll(Lock& lock, const Question& question);
    void weigh(Lock& lock, const Answer& answer);
    void prove(Lock& lock, const VcpValue& value);
    void learn(VcpValue value);
    void learnRefusal();
    void learnSilence(const Answer& answer);
    void forgetValues();
    void enter(MonitorState state);
    void announce(Lock& lock);

    const std::shared_ptr<WorkerTime> time_;
    const BusNews news_;
    BusLink link_; // worker thread only

    mutable std::mutex mutex_;
    std::condition_variable work_;
    std::condition_variable progress_;

    Duration replyDelay_;
    MonitorState monitorState_ = MonitorState::unknown;
    std::optional<Memo> volume_;
    /// Those that were asked for. None ever leaves.
    SideFeatures sideFeatures_;
    /// Increases with everything that makes a Get of the volume in flight out of date.
    std::uint64_t generation_ = 0;

    std::optional<std::uint16_t> pendingSet_;
    std::uint64_t setsAccepted_ = 0;
    std::uint64_t setsDone_ = 0;
    int lastSetError_ = 0;
    /// An accepted Set has failed, which is not yet reported.
    bool owesFailure_ = false;
    /// The same, reported separately from Gets; a later Set replaces it.
    bool hasLostSet_ = false;
    /// Decides whether a monitor that answers is one that refuses Sets.
    bool lastSetFailed_ = false;
    /// On writing since a Set failed, until one succeeds. There is no memo before that.
    AnswerCriterion answerCriterion_;

    bool probeIsDue_ = true;
    bool closeIsDue_ = false;
    /// With the volume.
    bool isBusy_ = false;
    /// Someone wants to know when the monitor has been asked.
    bool isWaitedFor_ = false;
    bool isStopping_ = false;
    bool hasEnded_ = false;
    std::optional<Time> transactionBegan_;

    /// The monitor wants to be left alone until then.
    Time quietUntil_{};
    Time verifyAt_ = WorkerTime::never;
    Time reprobeAt_ = WorkerTime::never;
    Time closeAt_ = WorkerTime::never;
    /// A monitor that does not answer is not asked again on demand before this.
    Time retryAt_{};
    Duration silenceBackoff_ = firstSilenceBackoff;
    Duration refusalBackoff_ = firstRefusalBackoff;

    bool hasChanged_ = false;
    bool hasBeenAsked_ = false;
    bool isDeviceGone_ = false;
};

} // namespace quenstal
