#pragma once

#include "QuenstalLinux/FileDescriptor.hpp"

#include <array>
#include <chrono>
#include <cstdlib>
#include <string>

#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/un.h>

namespace quenstal {

/// The end of the service manager at which a program that it watches shows that it lives. Programs started while this
/// exists, and this one itself, take it for theirs.
class ServiceManager {
public:
    explicit ServiceManager(std::chrono::microseconds watchdog)
        : socket_(socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0))
    {
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        // Without a name the kernel gives one that begins with a zero, which is written as "@".
        EXPECT_EQ(bind(socket_.get(), reinterpret_cast<const sockaddr*>(&address), sizeof(sa_family_t)), 0);
        socklen_t size = sizeof address;
        EXPECT_EQ(getsockname(socket_.get(), reinterpret_cast<sockaddr*>(&address), &size), 0);
        const std::string name("@" + std::string(address.sun_path + 1, size - sizeof(sa_family_t) - 1));
        setenv("NOTIFY_SOCKET", name.c_str(), 1);
        setenv("WATCHDOG_USEC", std::to_string(watchdog.count()).c_str(), 1);
    }
    ~ServiceManager()
    {
        unsetenv("NOTIFY_SOCKET");
        unsetenv("WATCHDOG_USEC");
    }
    ServiceManager(const ServiceManager&) = delete;
    ServiceManager& operator=(const ServiceManager&) = delete;

    int descriptor() const { return socket_.get(); }
    /// Signs of life since the last call.
    int signsOfLife()
    {
        int signs = 0;
        std::array<char, 64> text{};
        for (ssize_t length = 0; (length = recv(socket_.get(), text.data(), text.size(), 0)) > 0; ++signs)
            EXPECT_EQ(std::string(text.data(), static_cast<std::size_t>(length)), "WATCHDOG=1");
        return signs;
    }

private:
    FileDescriptor socket_;
};

} // namespace quenstal
