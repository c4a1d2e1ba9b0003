#include "QuenstalSoundGuard/HeldUp.hpp"

#include <fstream>
#include <string>

namespace quenstal {

namespace {

/// What stands behind the key on its line; empty when there is no such line.
std::string_view valueOf(std::string_view status, std::string_view key)
{
    while (!status.empty()) {
        const auto end = status.find('\n');
        const std::string_view line = status.substr(0, end);
        if (line.starts_with(key))
            return line.substr(key.size());
        status.remove_prefix(end == std::string_view::npos ? status.size() : end + 1);
    }
    return {};
}

} // namespace

bool tellsOfHoldUp(std::string_view status)
{
    const std::string_view state = valueOf(status, "State:\t");
    return state.starts_with('T') || state.starts_with('t') || valueOf(status, "CoreDumping:\t").starts_with('1');
}

bool isHeldUp(pid_t process)
{
    std::ifstream file("/proc/" + std::to_string(process) + "/status");
    // Not over iterators, which throw when the process ends while it is read.
    std::string status;
    std::getline(file, status, '\0');
    return tellsOfHoldUp(status);
}

} // namespace quenstal
