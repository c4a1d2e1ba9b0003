#pragma once

#include "QuenstalLinux/FileDescriptor.hpp"
#include "QuenstalSimulation/SimulatedMonitor.hpp"

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <thread>
#include <vector>

namespace quenstal {

/// A USB adapter with an I2C bus and a monitor on it, plugged into the machine: the kernel's own drivers make an
/// adapter and a /dev/i2c-N of it. Needs the modules vhci-hcd, i2c-tiny-usb and i2c-dev, and root.
class UsbMonitor {
public:
    explicit UsbMonitor(std::shared_ptr<SimulatedMonitor> monitor);
    /// Pulls it out.
    ~UsbMonitor();
    UsbMonitor(const UsbMonitor&) = delete;
    UsbMonitor& operator=(const UsbMonitor&) = delete;

    /// The number of its bus, once the device node is there. Throws when it does not come.
    int bus() const;
    void pullOut();
    /// From the next message on the adapter does not answer, or answers again.
    void hang(bool hangs);
    /// A message waits for an answer now.
    bool isHanging() const { return isHanging_; }

private:
    struct Request;
    /// Nothing for what it does not understand.
    using Answer = std::optional<std::vector<std::uint8_t>>;

    void serve();
    void answer(const Request& request);
    Answer control(const Request& request);
    Answer adapter(const Request& request);
    Answer message(const Request& request);

    const std::shared_ptr<SimulatedMonitor> monitor_;
    const std::set<std::string> othersNodes_;
    FileDescriptor wire_;
    std::uint8_t status_ = 0;
    std::mutex mutex_; // guards hangs_, isOut_
    std::condition_variable changed_;
    bool hangs_ = false;
    bool isOut_ = false;
    std::atomic<bool> isHanging_ = false;
    std::thread thread_;
};

} // namespace quenstal
