#pragma once

#include "QuenstalPlatform/CapturePermission.hpp"
#include "QuenstalPlatform/Handlers.hpp"

#include <string>
#include <utility>

namespace quenstal {

/// A system that grants and withdraws the capture of keys by hand. Not trusted at first.
class SimulatedCapturePermission final : public CapturePermission {
public:
    bool mayCaptureKeys() override { return isTrusted_; }
    void explainIfMissing() override { prompts_ += isTrusted_ ? 0 : 1; }
    std::string advice() override { return isTrusted_ ? std::string() : advice_; }
    std::string wayOfCapture() override { return isTrusted_ ? "by hand" : ""; }
    [[nodiscard]] Cancellation onMayHaveChanged(RunLoop::Task task) override { return handlers_.add(std::move(task)); }

    void setTrusted(bool isTrusted) { isTrusted_ = isTrusted; }
    void setAdvice(std::string advice) { advice_ = std::move(advice); }
    void tellOfChange() { handlers_.call(); }
    /// How often the user was told what to allow.
    int prompts() const { return prompts_; }

private:
    bool isTrusted_ = false;
    std::string advice_ = "Allow Quenstal to capture the volume keys.";
    int prompts_ = 0;
    Handlers<RunLoop::Task> handlers_;
};

} // namespace quenstal
