#pragma once

#include "QuenstalLinux/FileDescriptor.hpp"

#include <filesystem>
#include <string>

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

namespace quenstal {

/// Whether the guard of a process's keyboard has told it that the keyboard is free: one of its pipes can be read. Only
/// then may a stalled reader go on: both talk to an emulated keyboard over one stream, and would take each other's
/// answers. A process that this one may not look into counts as told.
inline bool hasGuardsNotice(pid_t process = getpid())
{
    std::error_code refused;
    for (const auto& entry : std::filesystem::directory_iterator("/proc/" + std::to_string(process) + "/fd", refused)) {
        std::error_code gone;
        const bool isStandard = std::stoi(entry.path().filename().string()) <= STDERR_FILENO;
        const std::string target = std::filesystem::read_symlink(entry.path(), gone).string();
        if (isStandard || !target.starts_with("pipe:"))
            continue;
        const FileDescriptor pipe(open(entry.path().c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC));
        pollfd readable{pipe.get(), POLLIN, 0};
        if (pipe && poll(&readable, 1, 0) == 1 && (readable.revents & POLLIN) != 0)
            return true;
    }
    return static_cast<bool>(refused);
}

} // namespace quenstal
