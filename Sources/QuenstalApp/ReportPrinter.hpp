#pragma once

#include "QuenstalPlatform/RunLoop.hpp"

#include <chrono>
#include <functional>
#include <string>
#include <utility>

namespace quenstal {

/// Prints the report at the start and whenever it changes. Main thread.
class ReportPrinter {
public:
    /// Outputs come and go in several steps, and monitors answer late: how long to wait before printing.
    static constexpr auto settling = std::chrono::milliseconds(500);

    /// `words` gives the report as of the moment of the call. The run loop outlives this.
    ReportPrinter(RunLoop& runLoop, std::function<std::string()> words, std::function<void(const std::string&)> tell)
        : runLoop_(runLoop)
        , words_(std::move(words))
        , tell_(std::move(tell))
    {
    }

    /// Any number of changes while things settle are printed once.
    void mayHaveChanged()
    {
        if (isSettling_)
            return;
        isSettling_ = true;
        settled_ = runLoop_.after(settling, [this] { tellIfChanged(); });
    }

private:
    void tellIfChanged()
    {
        isSettling_ = false;
        std::string words = words_();
        if (words == told_)
            return;
        told_ = std::move(words);
        tell_(told_);
    }

    RunLoop& runLoop_;
    std::function<std::string()> words_;
    std::function<void(const std::string&)> tell_;
    std::string told_;
    bool isSettling_ = false;
    Cancellation settled_;
};

} // namespace quenstal
