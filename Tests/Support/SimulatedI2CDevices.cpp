#include "Support/SimulatedI2CDevices.hpp"

#include <algorithm>
#include <cerrno>
#include <utility>

namespace quenstal {
namespace {

/// A hundred kilohertz, nine bits a byte.
constexpr WorkerTime::Duration timeOfByte = std::chrono::microseconds(90);

} // namespace

void SimulatedI2CDevices::connect(const std::string& path, std::shared_ptr<SimulatedMonitor> monitor)
{
    const std::lock_guard lock(mutex_);
    devices_[path] = {std::move(monitor)};
}

void SimulatedI2CDevices::remove(const std::string& path)
{
    const std::lock_guard lock(mutex_);
    devices_.erase(path);
}

void SimulatedI2CDevices::queueFaults(Faults& faults, int count, int error)
{
    const std::lock_guard lock(mutex_);
    faults.insert(faults.end(), static_cast<std::size_t>(count), error);
}

int SimulatedI2CDevices::nextFault(Faults& faults)
{
    if (faults.empty())
        return 0;
    const int error = faults.front();
    faults.pop_front();
    return error;
}

void SimulatedI2CDevices::knowNoMessages()
{
    const std::lock_guard lock(mutex_);
    knowsMessages_ = false;
}

void SimulatedI2CDevices::hangNext(WorkerTime::Duration limit)
{
    const std::lock_guard lock(mutex_);
    hang_ = limit;
    isReleased_ = false;
}

void SimulatedI2CDevices::release()
{
    const std::lock_guard lock(mutex_);
    isReleased_ = true;
    time_->wakeAll(released_);
}

std::size_t SimulatedI2CDevices::openDescriptors() const
{
    const std::lock_guard lock(mutex_);
    return descriptors_.size();
}

std::size_t SimulatedI2CDevices::opens() const
{
    const std::lock_guard lock(mutex_);
    std::size_t opens = 0;
    for (const auto& [path, count] : opens_)
        opens += count;
    return opens;
}

std::size_t SimulatedI2CDevices::opens(const std::string& path) const
{
    const std::lock_guard lock(mutex_);
    const auto count = opens_.find(path);
    return count == opens_.end() ? 0 : count->second;
}

WorkerTime::Duration SimulatedI2CDevices::longestIdle() const
{
    const std::lock_guard lock(mutex_);
    WorkerTime::Duration longest = longestIdle_;
    for (const auto& [number, descriptor] : descriptors_)
        longest = std::max(longest, time_->now() - descriptor.lastUse);
    return longest;
}

int SimulatedI2CDevices::overlaps() const
{
    const std::lock_guard lock(mutex_);
    return overlaps_;
}

int SimulatedI2CDevices::open(const std::string& path, int& descriptor)
{
    const std::lock_guard lock(mutex_);
    ++opens_[path];
    descriptor = -1;
    if (const int error = nextFault(openFaults_); error != 0)
        return error;
    if (!devices_.contains(path))
        return ENOENT;
    descriptor = ++lastDescriptor_;
    descriptors_[descriptor] = {.path = path, .lastUse = time_->now()};
    return 0;
}

void SimulatedI2CDevices::close(int descriptor)
{
    const std::lock_guard lock(mutex_);
    const auto entry = descriptors_.find(descriptor);
    longestIdle_ = std::max(longestIdle_, time_->now() - entry->second.lastUse);
    descriptors_.erase(entry);
}

int SimulatedI2CDevices::lock(int /*descriptor*/)
{
    const std::lock_guard lock(mutex_);
    return nextFault(lockFaults_);
}

void SimulatedI2CDevices::unlock(int /*descriptor*/) { }

template <typename Work>
int SimulatedI2CDevices::transfer(int descriptor, std::size_t length, Work work)
{
    Lock lock(mutex_);
    Descriptor& used = descriptors_.at(descriptor);
    const auto device = devices_.find(used.path);
    if (device == devices_.end())
        return ENODEV;
    overlaps_ += std::exchange(device->second.isBusy, true) ? 1 : 0;
    const std::shared_ptr<SimulatedMonitor> monitor = device->second.monitor;
    hangIfDue(lock);
    lock.unlock();
    time_->sleepUntil(time_->now() + timeOfByte * (length + 1));
    const int error = monitor ? work(*monitor, time_->now()) : ENXIO;
    lock.lock();
    used.lastUse = time_->now();
    if (const auto still = devices_.find(used.path); still != devices_.end())
        still->second.isBusy = false;
    return error;
}

void SimulatedI2CDevices::hangIfDue(Lock& lock)
{
    if (const auto limit = std::exchange(hang_, std::nullopt))
        time_->waitUntil(lock, released_, time_->now() + *limit, [this] { return isReleased_; });
}

int SimulatedI2CDevices::write(int descriptor, Address address, std::span<const std::uint8_t> bytes)
{
    return knowsMessages_ ? transfer(descriptor, bytes.size(),
               [&](SimulatedMonitor& monitor, auto now) { return monitor.write(address, bytes, now); })
                          : EINVAL;
}

int SimulatedI2CDevices::read(int descriptor, Address address, std::span<std::uint8_t> bytes)
{
    return knowsMessages_ ? transfer(descriptor, bytes.size(),
               [&](SimulatedMonitor& monitor, auto now) { return monitor.read(address, bytes, now); })
                          : EINVAL;
}

int SimulatedI2CDevices::choose(int descriptor, Address address)
{
    const std::lock_guard lock(mutex_);
    descriptors_.at(descriptor).chosen = address;
    return nextFault(chooseFaults_);
}

int SimulatedI2CDevices::writeChosen(int descriptor, std::span<const std::uint8_t> bytes)
{
    return transfer(descriptor, bytes.size(), [&](SimulatedMonitor& monitor, auto now) {
        return monitor.write(descriptors_.at(descriptor).chosen, bytes, now);
    });
}

int SimulatedI2CDevices::readChosen(int descriptor, std::span<std::uint8_t> bytes)
{
    return transfer(descriptor, bytes.size(), [&](SimulatedMonitor& monitor, auto now) {
        return monitor.read(descriptors_.at(descriptor).chosen, bytes, now);
    });
}

} // namespace quenstal
