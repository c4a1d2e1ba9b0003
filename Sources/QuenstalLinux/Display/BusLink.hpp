#pragma once

#include "QuenstalLinux/Display/I2CDevices.hpp"
#include "QuenstalLinux/Display/WorkerTime.hpp"

#include <condition_variable>
#include <map>
#include <memory>
#include <mutex>
#include <string>

#include <span>

namespace quenstal {

/// Lets one transaction at a time through to a graphics card: probing two of its buses at once has made whole cards
/// drop off the bus. A device that was written to gets its pause even if another worker serves it by then: a monitor
/// may disappear and return within the pause. Any thread.
class CardGate {
public:
    using Duration = WorkerTime::Duration;

    explicit CardGate(std::shared_ptr<WorkerTime> time)
        : time_(std::move(time))
    {
    }

    /// False when the gate stayed shut for too long.
    bool enter(const std::string& device);
    void leave(const std::string& device, Duration pause);

private:
    std::shared_ptr<WorkerTime> time_;
    std::mutex mutex_;
    std::condition_variable left_;
    bool isTaken_ = false;
    std::map<std::string, WorkerTime::Time> quietUntil_;
};

/// One device and the descriptor that is open to it, if any. Each operation is one transaction with a monitor,
/// without retries, and returns 0 or an errno; a device that went away is closed. Worker thread only.
class BusLink {
public:
    /// The pause that the standard requires after a write.
    static constexpr WorkerTime::Duration pauseAfterWrite = std::chrono::milliseconds(50);

    BusLink(std::string device, std::shared_ptr<I2CDevices> devices, std::shared_ptr<WorkerTime> time,
        std::shared_ptr<CardGate> gate);
    ~BusLink() { close(); }
    BusLink(const BusLink&) = delete;
    BusLink& operator=(const BusLink&) = delete;

    int write(I2CDevices::Address address, std::span<const std::uint8_t> message);
    /// Writes, waits, reads; programs that take the same lock cannot come between.
    int exchange(I2CDevices::Address address, std::span<const std::uint8_t> message, WorkerTime::Duration replyDelay,
        std::span<std::uint8_t> reply);

    bool isOpen() const { return descriptor_ >= 0; }
    /// An open descriptor keeps the driver from removing its adapter.
    void close();

private:
    template <typename Work>
    int transaction(Work work, WorkerTime::Duration pause);
    int open();
    int send(I2CDevices::Address address, std::span<const std::uint8_t> bytes);
    int receive(I2CDevices::Address address, std::span<std::uint8_t> bytes);

    const std::string device_;
    const std::shared_ptr<I2CDevices> devices_;
    const std::shared_ptr<WorkerTime> time_;
    const std::shared_ptr<CardGate> gate_;
    int descriptor_ = -1;
    /// The driver knows no messages: plain file operations from then on.
    bool usesFileOperations_ = false;
};

/// Whether the device itself is gone, not just its answer.
bool isDeviceGone(int error);
/// Whether this user may not open the device.
bool isDenied(int error);

} // namespace quenstal
