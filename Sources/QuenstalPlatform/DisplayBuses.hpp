#pragma once

// The I2C buses that the graphics driver opens to attached displays, and how they are doing.

#include "QuenstalPlatform/Interface.hpp"
#include "QuenstalPlatform/PlatformStatus.hpp"
#include "QuenstalPlatform/RunLoop.hpp"

#include <cstdint>
#include <string>
#include <vector>

namespace quenstal {

/// An iterator, a framebuffer or an interface of a bus; 0 is none. Its user must release it.
using DisplayBusObject = std::uint32_t;

/// An open bus; 0 is none. Its user must close it.
using I2CConnection = std::uint32_t;

enum class I2CTransactionType : std::uint32_t { none = 0, simple = 1, ddcciReply = 2 };

/// One write and, when a reply is wanted, the read that follows it. Buffers are the caller's.
struct I2CRequest {
    I2CTransactionType sendTransactionType = I2CTransactionType::none;
    I2CTransactionType replyTransactionType = I2CTransactionType::none;
    /// Eight-bit addresses: the lowest bit means read.
    std::uint32_t sendAddress = 0;
    std::uint32_t replyAddress = 0;
    std::uint8_t sendSubAddress = 0;
    std::uint8_t replySubAddress = 0;
    /// Nanoseconds between the end of the write and the start of the read.
    std::uint64_t minReplyDelay = 0;
    std::uint32_t commFlags = 0;
    const std::uint8_t* sendBuffer = nullptr;
    std::uint32_t sendBytes = 0;
    std::uint8_t* replyBuffer = nullptr;
    std::uint32_t replyBytes = 0;
    /// Set by the transfer.
    PlatformStatus result = 0;
};

/// Enumerates buses and carries requests over them. Main thread; a request may take as long as the platform needs.
class DisplayBuses : public Interface {
public:
    /// An iterator over the framebuffers, in the platform's own order.
    virtual PlatformStatus getMatchingFramebuffers(DisplayBusObject& iterator) = 0;
    /// The next framebuffer, 0 after the last.
    virtual DisplayBusObject iteratorNext(DisplayBusObject iterator) = 0;
    virtual PlatformStatus getI2CInterfaceCount(DisplayBusObject framebuffer, std::uint32_t& count) = 0;
    /// `bus` counts from 0.
    virtual PlatformStatus copyI2CInterfaceForBus(
        DisplayBusObject framebuffer, std::uint32_t bus, DisplayBusObject& busInterface)
        = 0;
    virtual PlatformStatus openI2CInterface(
        DisplayBusObject busInterface, std::uint32_t options, I2CConnection& connection)
        = 0;
    /// The returned status shows whether the request was carried, `request.result` whether the transfer succeeded.
    virtual PlatformStatus sendI2CRequest(I2CConnection connection, std::uint32_t options, I2CRequest& request) = 0;
    virtual PlatformStatus closeI2CInterface(I2CConnection connection, std::uint32_t options) = 0;
    virtual void release(DisplayBusObject object) = 0;
};

/// Why a monitor's bus cannot be used at present.
struct DisplayBusProblem {
    enum class Kind {
        /// The user may not open the device.
        accessDenied,
        /// Nothing answers, or not with a speaker volume.
        notAnswering,
        /// Reads are answered, writes are not carried out.
        writesRefused,
        /// A call to the driver has not returned.
        stuck,
        /// The buses that it may be behind are not known to lead to displays, and are left alone.
        unknownBuses
    };

    Kind kind = Kind::notAnswering;
    /// As the user finds it, for example "/dev/i2c-5"; for unknown buses all of them, with their names.
    std::string device;
    /// The monitor's own name, or that of its connector.
    std::string monitor;
    /// What the user can do about it, in one sentence; empty if nothing helps.
    std::string remedy;

    bool operator==(const DisplayBusProblem&) const = default;
};

/// What the shell needs to know about the buses, and what it asks of them. Main thread.
class MonitorWatch : public Interface {
public:
    /// Runs the task when a monitor came, went or turned out to have another volume, and when a problem appeared or
    /// disappeared: time to refresh. Runs once for reasons that occur together.
    [[nodiscard]] virtual Cancellation observeChanges(RunLoop::Task task) = 0;
    virtual std::vector<DisplayBusProblem> problems() const = 0;
    /// Whether the last write that any bus accepted has failed since; true only once. Such a failure is among the
    /// reasons for which observers run.
    virtual bool takeLostWrite() = 0;
    /// Runs the task once the volume of the current output's monitors is freshly read: at once, when they have been
    /// asked again, or after 200 ms. Tasks run in the order in which they arrived.
    virtual void afterFreshRead(RunLoop::Task task) = 0;

    /// The machine is about to sleep: nothing is held open.
    virtual void machineWillSleep() = 0;
    /// The machine woke: everything known about the monitors is determined again.
    virtual void machineDidWake() = 0;
    /// Writes what was accepted, as far as a short limit allows, and ends all work. A stuck driver does not delay it.
    /// Nothing is carried over a bus afterwards.
    virtual void stop() = 0;
};

} // namespace quenstal
