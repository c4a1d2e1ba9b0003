#pragma once

#include "QuenstalLinux/Bus/BusHandles.hpp"
#include "QuenstalLinux/Bus/DBusConnection.hpp"
#include "QuenstalLinux/FileDescriptor.hpp"
#include "QuenstalLinux/Keyboards/KeyServiceProtocol.hpp"

#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace quenstal {

/// A program that asks for the volume keys and does what well-behaved ones do not.
class TestClient {
public:
    TestClient(RunLoop& runLoop, const std::string& address);
    ~TestClient();
    TestClient(const TestClient&) = delete;
    TestClient& operator=(const TestClient&) = delete;

    void capture();
    bool isAnswered() const { return !call_; }
    /// The name of the error that `capture` was answered with; empty when it was not refused.
    const std::string& error() const { return error_; }
    bool hasSocket() const { return static_cast<bool>(socket_); }
    int socket() const { return socket_.get(); }

    /// Reads what is there.
    const std::vector<VolumeKeyPress>& presses();
    /// The service has closed its end. Reads what is there.
    bool isDropped();
    void closeSocket();
    /// The socket stays open.
    void leaveBus();
    DBusConnection& connection() { return *connection_; }
    std::string name() const;

private:
    static int answered(sd_bus_message* message, void* self, sd_bus_error* error);
    void read();

    std::unique_ptr<DBusConnection> connection_;
    BusSlot call_;
    std::string error_;
    FileDescriptor socket_;
    std::vector<VolumeKeyPress> presses_;
    bool isDropped_ = false;
};

} // namespace quenstal
