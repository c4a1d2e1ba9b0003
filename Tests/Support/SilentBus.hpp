#pragma once

// A message bus that takes connections and never says a word, as one that is frozen does.

#include "QuenstalLinux/FileDescriptor.hpp"

#include <cstddef>
#include <string>

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

namespace quenstal {

class SilentBus {
public:
    SilentBus()
        : socket_(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0))
    {
        static int count = 0;
        // Without a place in the file system: there is nothing to clean up.
        name_ = "quenstal-silent-bus-" + std::to_string(getpid()) + "-" + std::to_string(++count);
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        name_.copy(address.sun_path + 1, sizeof address.sun_path - 2);
        const auto size = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + 1 + name_.size());
        bind(socket_.get(), reinterpret_cast<const sockaddr*>(&address), size);
        listen(socket_.get(), 16);
    }

    std::string address() const { return "unix:abstract=" + name_; }

private:
    FileDescriptor socket_;
    std::string name_;
};

} // namespace quenstal
