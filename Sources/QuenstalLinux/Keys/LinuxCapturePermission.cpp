#include "QuenstalLinux/Keys/LinuxCapturePermission.hpp"

#include "QuenstalLinux/Keyboards/KeyAdvice.hpp"
#include "QuenstalPlatform/Undo.hpp"

#include <algorithm>
#include <utility>

namespace quenstal {

LinuxCapturePermission::LinuxCapturePermission(Desktop& desktop, std::vector<KeyCapture*> ways)
    : desktop_(desktop)
    , ways_(std::move(ways))
{
}

bool LinuxCapturePermission::mayCaptureKeys()
{
    return std::ranges::any_of(ways_, [](KeyCapture* way) { return way->isPossible(); });
}

void LinuxCapturePermission::explainIfMissing()
{
    const std::string obstacle = advice();
    if (!obstacle.empty())
        desktop_.showNotice("Let Quenstal use the volume keys", obstacle);
}

std::string LinuxCapturePermission::advice()
{
    if (mayCaptureKeys())
        return {};
    for (KeyCapture* way : ways_) {
        std::string obstacle = way->obstacle();
        if (!obstacle.empty())
            return obstacle;
    }
    return KeyAdvice::noKeyboard;
}

std::string LinuxCapturePermission::wayOfCapture()
{
    const auto way = std::ranges::find_if(ways_, [](KeyCapture* candidate) { return candidate->isPossible(); });
    return way == ways_.end() ? std::string() : std::string((*way)->name());
}

Cancellation LinuxCapturePermission::onMayHaveChanged(RunLoop::Task task)
{
    const auto ways = std::make_shared<std::vector<Cancellation>>();
    for (KeyCapture* way : ways_)
        ways->push_back(way->onMayHaveChanged(task));
    return std::make_unique<Undo>([ways] { ways->clear(); });
}

} // namespace quenstal
