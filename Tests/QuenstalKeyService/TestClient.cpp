#include "QuenstalKeyService/TestClient.hpp"

#include <array>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <span>
#include <sys/socket.h>

namespace quenstal {

TestClient::TestClient(RunLoop& runLoop, const std::string& address)
    : connection_(std::make_unique<DBusConnection>(runLoop, address))
{
}

TestClient::~TestClient()
{
    closeSocket();
    leaveBus();
}

/// The service's guard is a child of this process here, and holds copies of everything: closing alone ends nothing.
void TestClient::closeSocket()
{
    shutdown(socket_.get(), SHUT_RDWR);
    socket_ = FileDescriptor();
}

void TestClient::leaveBus()
{
    if (!connection_)
        return;
    sd_bus_flush(connection_->get());
    shutdown(sd_bus_get_fd(connection_->get()), SHUT_RDWR);
    connection_.reset();
}

void TestClient::capture()
{
    sd_bus_slot* slot = nullptr;
    sd_bus_call_method_async(connection_->get(), &slot, KeyServiceProtocol::busName, KeyServiceProtocol::objectPath,
        KeyServiceProtocol::interface, KeyServiceProtocol::captureMember, answered, this, "");
    call_.reset(slot);
}

int TestClient::answered(sd_bus_message* message, void* self, sd_bus_error*)
{
    auto& client = *static_cast<TestClient*>(self);
    client.call_.reset();
    int socket = -1;
    if (const sd_bus_error* error = sd_bus_message_get_error(message))
        client.error_ = error->name;
    else if (sd_bus_message_read_basic(message, SD_BUS_TYPE_UNIX_FD, &socket) > 0)
        client.socket_ = FileDescriptor(fcntl(socket, F_DUPFD_CLOEXEC, 3));
    return 0;
}

std::string TestClient::name() const
{
    const char* name = nullptr;
    sd_bus_get_unique_name(connection_->get(), &name);
    return name ? name : "";
}

void TestClient::read()
{
    std::array<std::uint8_t, 64> packet{};
    ssize_t size = 0;
    while ((size = recv(socket_.get(), packet.data(), packet.size(), MSG_DONTWAIT)) > 0) {
        const auto press = pressFrom(std::span(packet).first(static_cast<std::size_t>(size)));
        EXPECT_TRUE(press) << "no key: " << size << " bytes";
        if (press)
            presses_.push_back(*press);
    }
    isDropped_ |= size == 0;
}

const std::vector<VolumeKeyPress>& TestClient::presses()
{
    read();
    return presses_;
}

bool TestClient::isDropped()
{
    read();
    return isDropped_;
}

} // namespace quenstal
