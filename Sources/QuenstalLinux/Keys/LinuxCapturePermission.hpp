#pragma once

#include "QuenstalLinux/Keyboards/KeyCapture.hpp"
#include "QuenstalPlatform/CapturePermission.hpp"
#include "QuenstalPlatform/Desktop.hpp"

#include <vector>

namespace quenstal {

/// The keys may be captured if one of the ways can see and swallow them now. The ways and the desktop outlive it.
class LinuxCapturePermission final : public CapturePermission {
public:
    LinuxCapturePermission(Desktop& desktop, std::vector<KeyCapture*> ways);

    bool mayCaptureKeys() override;
    void explainIfMissing() override;
    /// The obstacle of the way that suits this desktop best.
    std::string advice() override;
    std::string wayOfCapture() override;
    [[nodiscard]] Cancellation onMayHaveChanged(RunLoop::Task task) override;

private:
    Desktop& desktop_;
    std::vector<KeyCapture*> ways_;
};

} // namespace quenstal
