#include "QuenstalLinux/Keys/PatientKeyCapture.hpp"

#include "QuenstalLinux/Keyboards/KeyAdvice.hpp"

#include <utility>

namespace quenstal {

PatientKeyCapture::PatientKeyCapture(RunLoop& runLoop, KeyCapture& way)
    : runLoop_(runLoop)
    , way_(way)
    , changes_(runLoop)
    , wayChanges_(way.onMayHaveChanged([this] { changes_.notify(); }))
{
}

PatientKeyCapture::~PatientKeyCapture()
{
    giveBack();
}

std::string PatientKeyCapture::obstacle()
{
    const std::string ofTheWay = way_.obstacle();
    return pause_ && ofTheWay.empty() ? KeyAdvice::lostAtOnce : ofTheWay;
}

bool PatientKeyCapture::start(KeyCaptureListener& listener)
{
    givingBack_.reset();
    if (!isHeld_ && pause_)
        return false;
    if (!isHeld_) {
        backoff_.began(runLoop_.steadyNow());
        isHeld_ = way_.start(*this);
        if (!isHeld_)
            noteLoss();
    }
    listener_ = isHeld_ ? &listener : nullptr;
    return isHeld_;
}

void PatientKeyCapture::stop()
{
    listener_ = nullptr;
    if (isHeld_)
        givingBack_ = runLoop_.after(RunLoop::Duration::zero(), [this] { giveBack(); });
}

void PatientKeyCapture::giveBack()
{
    givingBack_.reset();
    listener_ = nullptr;
    if (std::exchange(isHeld_, false))
        way_.stop();
}

void PatientKeyCapture::volumeKeyDown(std::int64_t button, bool isRepeat)
{
    if (listener_)
        listener_->volumeKeyDown(button, isRepeat);
}

void PatientKeyCapture::captureLost()
{
    isHeld_ = false;
    givingBack_.reset();
    noteLoss();
    if (KeyCaptureListener* const listener = std::exchange(listener_, nullptr))
        listener->captureLost();
}

/// A way that knows its obstacle waits on its own.
void PatientKeyCapture::noteLoss()
{
    const auto pause = backoff_.lost(runLoop_.steadyNow());
    if (pause == RunLoop::Duration::zero() || !way_.isPossible())
        return;
    pause_ = runLoop_.after(pause, [this] {
        pause_.reset();
        changes_.notify();
    });
    changes_.notify();
}

} // namespace quenstal
