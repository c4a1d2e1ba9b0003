#include "QuenstalLinux/Keys/LinuxTrust.hpp"

#include "QuenstalLinux/Keys/KeyAdvice.hpp"

#include <algorithm>
#include <utility>

namespace quenstal {

namespace {

/// Several things to wait for as one.
class Cancellations final : public Interface {
public:
    explicit Cancellations(std::vector<Cancellation> parts)
        : parts_(std::move(parts))
    {
    }

private:
    std::vector<Cancellation> parts_;
};

} // namespace

LinuxTrust::LinuxTrust(Desktop& desktop, std::vector<KeyCapture*> ways)
    : desktop_(desktop)
    , ways_(std::move(ways))
{
}

bool LinuxTrust::isProcessTrusted()
{
    return std::ranges::any_of(ways_, [](KeyCapture* way) { return way->isPossible(); });
}

bool LinuxTrust::isProcessTrusted(bool prompt)
{
    const std::string obstacle = advice();
    if (prompt && !obstacle.empty())
        desktop_.showNotice("Let Quenstal use the volume keys", obstacle);
    return obstacle.empty();
}

std::string LinuxTrust::advice()
{
    if (isProcessTrusted())
        return {};
    for (KeyCapture* way : ways_) {
        std::string obstacle = way->obstacle();
        if (!obstacle.empty())
            return obstacle;
    }
    return KeyAdvice::noKeyboard;
}

std::string LinuxTrust::wayOfCapture()
{
    const auto way = std::ranges::find_if(ways_, [](KeyCapture* candidate) { return candidate->isPossible(); });
    return way == ways_.end() ? std::string() : std::string((*way)->name());
}

Cancellation LinuxTrust::onMayHaveChanged(RunLoop::Task task)
{
    std::vector<Cancellation> parts;
    for (KeyCapture* way : ways_)
        parts.push_back(way->onMayHaveChanged(task));
    return std::make_unique<Cancellations>(std::move(parts));
}

} // namespace quenstal
