#pragma once

#include "QuenstalPlatform/Interface.hpp"

#include <cstdint>
#include <string>

#include <span>

namespace quenstal {

/// The system calls on an I2C device, one to one. Each returns 0 or an errno; an interrupted call is repeated. A call
/// may block for as long as the driver does, so none is made on the main thread. Any thread.
class I2CDevices : public Interface {
public:
    /// Addresses have seven bits.
    using Address = std::uint16_t;

    virtual int open(const std::string& path, int& descriptor) = 0;
    virtual void close(int descriptor) = 0;
    /// Takes the lock that programs for monitors agree on; EWOULDBLOCK while another has it.
    virtual int lock(int descriptor) = 0;
    virtual void unlock(int descriptor) = 0;
    /// One message each, closed by a stop.
    virtual int write(int descriptor, Address address, std::span<const std::uint8_t> bytes) = 0;
    virtual int read(int descriptor, Address address, std::span<std::uint8_t> bytes) = 0;
    /// The same by way of plain file operations on a chosen address, for the driver that knows no messages.
    virtual int choose(int descriptor, Address address) = 0;
    virtual int writeChosen(int descriptor, std::span<const std::uint8_t> bytes) = 0;
    virtual int readChosen(int descriptor, std::span<std::uint8_t> bytes) = 0;
};

/// The devices of this machine.
class SystemI2CDevices final : public I2CDevices {
public:
    int open(const std::string& path, int& descriptor) override;
    void close(int descriptor) override;
    int lock(int descriptor) override;
    void unlock(int descriptor) override;
    int write(int descriptor, Address address, std::span<const std::uint8_t> bytes) override;
    int read(int descriptor, Address address, std::span<std::uint8_t> bytes) override;
    int choose(int descriptor, Address address) override;
    int writeChosen(int descriptor, std::span<const std::uint8_t> bytes) override;
    int readChosen(int descriptor, std::span<std::uint8_t> bytes) override;
};

} // namespace quenstal
