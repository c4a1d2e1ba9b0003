#pragma once

#include "QuenstalPlatform/RunLoop.hpp"

#include <algorithm>
#include <chrono>

namespace quenstal {

/// How long to leave alone what is lost again and again: each time for longer, until it has held for a while.
class Backoff {
public:
    /// What has held for this long was not lost at once.
    static constexpr auto probation = std::chrono::minutes(1);
    /// After the second loss in a row, twice as long after each further one. After the first one there is no pause.
    static constexpr auto shortestPause = std::chrono::seconds(1);
    static constexpr auto longestPause = std::chrono::seconds(30);

    void began(RunLoop::SteadyTime now) { beganAt_ = now; }
    /// The pause before it may begin again; zero for none.
    std::chrono::seconds lost(RunLoop::SteadyTime now)
    {
        if (now - beganAt_ >= probation)
            lossesInARow_ = 0;
        ++lossesInARow_;
        if (lossesInARow_ == 1)
            return std::chrono::seconds::zero();
        constexpr int mostDoublings = 5; // 32 s: more than the longest.
        return std::min(shortestPause * (1 << std::min(lossesInARow_ - 2, mostDoublings)), longestPause);
    }

private:
    RunLoop::SteadyTime beganAt_{};
    int lossesInARow_ = 0;
};

} // namespace quenstal
