#pragma once

#include "QuenstalLinux/Keyboards/Backoff.hpp"
#include "QuenstalLinux/Keyboards/KeyCapture.hpp"
#include "QuenstalPlatform/Notifier.hpp"

#include <string>
#include <string_view>
#include <utility>

namespace quenstal {

/// Adds to a way of capture the patience that every way needs: one that works is not released just to be captured
/// again, and one that keeps being lost is left alone, each time for longer. Main thread.
class PatientKeyCapture final : public KeyCapture, private KeyCaptureListener {
public:
    /// Both outlive this, and nothing else starts or stops the way.
    PatientKeyCapture(RunLoop& runLoop, KeyCapture& way);
    ~PatientKeyCapture() override;

    std::string_view name() const override { return way_.name(); }
    bool isPossible() override { return !pause_ && way_.isPossible(); }
    std::string obstacle() override;
    bool start(KeyCaptureListener& listener) override;
    /// The listener is not called again. The keys are released on a later turn, unless they are captured again before.
    void stop() override;
    [[nodiscard]] Cancellation onMayHaveChanged(RunLoop::Task task) override { return changes_.add(std::move(task)); }

private:
    void volumeKeyDown(std::int64_t button, bool isRepeat) override;
    void captureLost() override;
    void giveBack();
    void noteLoss();

    RunLoop& runLoop_;
    KeyCapture& way_;
    Notifier<> changes_;
    Cancellation wayChanges_;
    KeyCaptureListener* listener_ = nullptr;
    /// The way is started, with or without a listener.
    bool isHeld_ = false;
    Cancellation givingBack_;
    Backoff backoff_;
    /// While it waits the way is left alone.
    Cancellation pause_;
};

} // namespace quenstal
