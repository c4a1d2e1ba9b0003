#pragma once

#include "QuenstalLinux/Display/I2CDevices.hpp"
#include "QuenstalLinux/Display/WorkerTime.hpp"
#include "QuenstalSimulation/SimulatedMonitor.hpp"

#include <condition_variable>
#include <deque>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace quenstal {

/// I2C devices with simulated monitors behind them, in a driver that can fail and hang. Any thread.
class SimulatedI2CDevices final : public I2CDevices {
public:
    explicit SimulatedI2CDevices(std::shared_ptr<WorkerTime> time)
        : time_(std::move(time))
    {
    }

    void connect(const std::string& path, std::shared_ptr<SimulatedMonitor> monitor);
    /// The adapter goes away; open descriptors stay open and carry nothing.
    void remove(const std::string& path);

    /// The next calls of a kind fail with these errnos, one each.
    void failOpen(int count, int error) { queueFaults(openFaults_, count, error); }
    void failLock(int count, int error) { queueFaults(lockFaults_, count, error); }
    void failChoose(int count, int error) { queueFaults(chooseFaults_, count, error); }
    /// The driver answers EINVAL to messages from now on.
    void knowNoMessages();
    /// The next transfer does not come back before `release`, or before that time has passed.
    void hangNext(WorkerTime::Duration limit = std::chrono::hours(1));
    void release();

    std::size_t openDescriptors() const;
    /// How often any device was opened, or tried to be, and how often this one.
    std::size_t opens() const;
    std::size_t opens(const std::string& path) const;
    /// The longest that a descriptor stayed open after its last transfer, by now.
    WorkerTime::Duration longestIdle() const;
    /// Transfers that began while another was under way on the same device.
    int overlaps() const;

    int open(const std::string& path, int& descriptor) override;
    void close(int descriptor) override;
    int lock(int descriptor) override;
    void unlock(int descriptor) override;
    int write(int descriptor, Address address, std::span<const std::uint8_t> bytes) override;
    int read(int descriptor, Address address, std::span<std::uint8_t> bytes) override;
    int choose(int descriptor, Address address) override;
    int writeChosen(int descriptor, std::span<const std::uint8_t> bytes) override;
    int readChosen(int descriptor, std::span<std::uint8_t> bytes) override;

private:
    using Faults = std::deque<int>;
    using Lock = WorkerTime::Lock;
    struct Device {
        std::shared_ptr<SimulatedMonitor> monitor;
        bool isBusy = false;
    };
    struct Descriptor {
        std::string path;
        Address chosen = 0;
        WorkerTime::Time lastUse;
    };

    void queueFaults(Faults& faults, int count, int error);
    static int nextFault(Faults& faults);
    template <typename Work>
    int transfer(int descriptor, std::size_t length, Work work);
    void hangIfDue(Lock& lock);

    const std::shared_ptr<WorkerTime> time_;
    mutable std::mutex mutex_;
    std::condition_variable released_;
    std::map<std::string, Device> devices_;
    std::map<int, Descriptor> descriptors_;
    int lastDescriptor_ = 100;
    std::map<std::string, std::size_t> opens_;
    WorkerTime::Duration longestIdle_{};
    int overlaps_ = 0;
    Faults openFaults_;
    Faults lockFaults_;
    Faults chooseFaults_;
    bool knowsMessages_ = true;
    std::optional<WorkerTime::Duration> hang_;
    bool isReleased_ = false;
};

} // namespace quenstal
