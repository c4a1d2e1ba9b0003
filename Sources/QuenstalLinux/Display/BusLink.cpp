#include "QuenstalLinux/Display/BusLink.hpp"

#include <cerrno>
#include <utility>

namespace quenstal {
namespace {

/// If a card's driver is stuck, the card's other buses give up after this long.
constexpr WorkerTime::Duration longestWaitAtGate = std::chrono::seconds(1);

} // namespace

bool CardGate::enter(const std::string& device)
{
    WorkerTime::Lock lock(mutex_);
    if (!time_->waitUntil(lock, left_, time_->now() + longestWaitAtGate, [this] { return !isTaken_; }))
        return false;
    isTaken_ = true;
    const WorkerTime::Time quietUntil = quietUntil_[device];
    lock.unlock();
    time_->sleepUntil(quietUntil);
    return true;
}

void CardGate::leave(const std::string& device, Duration pause)
{
    const std::lock_guard lock(mutex_);
    isTaken_ = false;
    quietUntil_[device] = time_->now() + pause;
    time_->wakeAll(left_);
}

BusLink::BusLink(std::string device, std::shared_ptr<I2CDevices> devices, std::shared_ptr<WorkerTime> time,
    std::shared_ptr<CardGate> gate)
    : device_(std::move(device))
    , devices_(std::move(devices))
    , time_(std::move(time))
    , gate_(std::move(gate))
{
}

int BusLink::write(I2CDevices::Address address, std::span<const std::uint8_t> message)
{
    return transaction([&] { return send(address, message); }, pauseAfterWrite);
}

int BusLink::exchange(I2CDevices::Address address, std::span<const std::uint8_t> message,
    WorkerTime::Duration replyDelay, std::span<std::uint8_t> reply)
{
    return transaction(
        [&] {
            if (const int error = send(address, message); error != 0)
                return error;
            time_->sleepUntil(time_->now() + replyDelay);
            return receive(address, reply);
        },
        {});
}

template <typename Work>
int BusLink::transaction(Work work, WorkerTime::Duration pause)
{
    if (!gate_->enter(device_))
        return EBUSY;
    int error = open();
    if (error == 0)
        error = devices_->lock(descriptor_);
    if (error == 0) {
        error = work();
        devices_->unlock(descriptor_);
    }
    gate_->leave(device_, pause);
    if (isDeviceGone(error))
        close();
    return error;
}

int BusLink::open()
{
    return isOpen() ? 0 : devices_->open(device_, descriptor_);
}

void BusLink::close()
{
    if (isOpen())
        devices_->close(std::exchange(descriptor_, -1));
}

int BusLink::send(I2CDevices::Address address, std::span<const std::uint8_t> bytes)
{
    if (!usesFileOperations_) {
        const int error = devices_->write(descriptor_, address, bytes);
        if (error != EINVAL)
            return error;
        usesFileOperations_ = true;
    }
    const int error = devices_->choose(descriptor_, address);
    return error == 0 ? devices_->writeChosen(descriptor_, bytes) : error;
}

int BusLink::receive(I2CDevices::Address address, std::span<std::uint8_t> bytes)
{
    // The address was chosen by the write before.
    return usesFileOperations_ ? devices_->readChosen(descriptor_, bytes) : devices_->read(descriptor_, address, bytes);
}

bool isDeviceGone(int error)
{
    return error == ENODEV || error == EBADF || error == ENOENT;
}

bool isDenied(int error)
{
    return error == EACCES || error == EPERM;
}

} // namespace quenstal
