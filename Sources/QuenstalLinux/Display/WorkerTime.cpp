#include "QuenstalLinux/Display/WorkerTime.hpp"

#include <utility>

namespace quenstal {

WorkerTime::Time RealWorkerTime::now() const
{
    return std::chrono::steady_clock::now();
}

void RealWorkerTime::sleepUntil(Time time)
{
    std::this_thread::sleep_until(time);
}

bool RealWorkerTime::waitUntil(
    Lock& lock, std::condition_variable& condition, Time deadline, const std::function<bool()>& ready)
{
    if (deadline != never)
        return condition.wait_until(lock, deadline, ready);
    condition.wait(lock, ready);
    return true;
}

void RealWorkerTime::wakeAll(std::condition_variable& condition)
{
    condition.notify_all();
}

std::thread RealWorkerTime::startThread(std::function<void()> body)
{
    return std::thread(std::move(body));
}

} // namespace quenstal
