#pragma once

#include "QuenstalLinux/Display/WorkerTime.hpp"

#include <utility>

namespace quenstal {

/// Real time that runs two hundred times too fast: threads meet as they really do, and a minute is over soon.
class HastyWorkerTime final : public WorkerTime {
public:
    static constexpr int haste = 200;

    Time now() const override { return begin_ + haste * (real_.now() - begin_); }
    void sleepUntil(Time time) override { real_.sleepUntil(realTime(time)); }
    bool waitUntil(
        Lock& lock, std::condition_variable& condition, Time deadline, const std::function<bool()>& ready) override
    {
        return real_.waitUntil(lock, condition, realTime(deadline), ready);
    }
    void wakeAll(std::condition_variable& condition) override { real_.wakeAll(condition); }
    std::thread startThread(std::function<void()> body) override { return real_.startThread(std::move(body)); }

private:
    Time realTime(Time time) const
    {
        // Rounded up, so that what was waited for is over.
        return time == never ? never : begin_ + (time - begin_) / haste + Duration(1);
    }

    RealWorkerTime real_;
    const Time begin_ = real_.now();
};

} // namespace quenstal
