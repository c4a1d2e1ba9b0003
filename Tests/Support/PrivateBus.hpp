#pragma once

// A message bus of the test's own, with nobody on it but the test.

#include "Support/PrivateServer.hpp"

namespace quenstal {

class PrivateBus {
public:
    /// One that allows everything.
    PrivateBus()
        : PrivateBus("--session")
    {
    }
    /// `option` chooses the configuration.
    explicit PrivateBus(const std::string& option)
        : server_([&](const std::string& descriptor) {
            return std::vector<std::string>{
                "dbus-daemon", option, "--nofork", "--nopidfile", "--nosyslog", "--print-address=" + descriptor};
        })
    {
    }

    /// Empty when it did not start.
    const std::string& address() const { return server_.line(); }
    void halt() const { server_.halt(); }
    void goOn() const { server_.goOn(); }
    void stop() { server_.stop(); }

private:
    PrivateServer server_;
};

} // namespace quenstal
