#pragma once

#include "QuenstalLinux/Display/BusLink.hpp"
#include "QuenstalLinux/Display/Connectors.hpp"

#include <functional>
#include <map>
#include <memory>
#include <optional>

namespace quenstal {

/// Where the monitors of this machine are looked for, and by what means.
struct DisplayMachine {
    std::filesystem::path sysRoot = "/sys";
    std::filesystem::path devRoot = "/dev";
    std::shared_ptr<I2CDevices> devices = std::make_shared<SystemI2CDevices>();
    std::shared_ptr<WorkerTime> time = std::make_shared<RealWorkerTime>();
};

/// The gate of each graphics card. Any thread.
class CardGates {
public:
    explicit CardGates(std::shared_ptr<WorkerTime> time)
        : time_(std::move(time))
    {
    }

    std::shared_ptr<CardGate> of(const std::string& card);

private:
    std::shared_ptr<WorkerTime> time_;
    std::mutex mutex_;
    std::map<std::string, std::shared_ptr<CardGate>> gates_;
};

struct ConnectorScan {
    std::vector<Connector> connectors;
    /// Whether the kernel offers I2C devices at all.
    bool hasI2CDevices = false;
};

/// Reads the connectors and finds the buses of those that do not name theirs, by the EDID that the buses of the same
/// card give which are known to lead to displays. Blocks for as long as the driver probes, and for a transaction with
/// each such bus that no connector claims. Two connectors, or two buses, with one and the same EDID stay without: a
/// guess could send the volume to the wrong monitor.
ConnectorScan scanConnectors(const DisplayMachine& machine, CardGates& gates);

/// Makes such scans on a thread of its own. Main thread, but for the callback.
class ConnectorScanner {
public:
    /// `finished` is called after every scan, on the scanning thread.
    ConnectorScanner(DisplayMachine machine, std::shared_ptr<CardGates> gates, std::function<void()> finished);
    /// Abandons a scan that is stuck.
    ~ConnectorScanner();
    ConnectorScanner(const ConnectorScanner&) = delete;
    ConnectorScanner& operator=(const ConnectorScanner&) = delete;

    /// Scans, or once more when a scan is under way.
    void start();
    /// The newest result, once.
    std::optional<ConnectorScan> take();
    /// Waits for a result to take.
    bool await(WorkerTime::Time deadline);

private:
    struct Shared;
    static void work(Shared& shared);

    std::shared_ptr<Shared> shared_;
    std::thread thread_;
};

} // namespace quenstal
