#pragma once

#include "QuenstalLinux/Keys/KeyCapture.hpp"
#include "QuenstalPlatform/Desktop.hpp"
#include "QuenstalPlatform/Trust.hpp"

#include <vector>

namespace quenstal {

/// Trusted means: one of the ways of capture can see and swallow the keys now. The ways and the desktop outlive it.
class LinuxTrust final : public Trust {
public:
    LinuxTrust(Desktop& desktop, std::vector<KeyCapture*> ways);

    bool isProcessTrusted() override;
    bool isProcessTrusted(bool prompt) override;
    /// The obstacle of the way that suits this desktop best.
    std::string advice() override;
    std::string wayOfCapture() override;
    [[nodiscard]] Cancellation onMayHaveChanged(RunLoop::Task task) override;

private:
    Desktop& desktop_;
    std::vector<KeyCapture*> ways_;
};

} // namespace quenstal
