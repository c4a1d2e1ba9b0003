#pragma once

#include "QuenstalPlatform/RunLoop.hpp"
#include "QuenstalPlatform/VcpMessages.hpp"

#include <array>
#include <cstdint>
#include <deque>
#include <mutex>
#include <optional>
#include <random>
#include <string>
#include <vector>

#include <span>

namespace quenstal {

/// How a monitor differs from what the standard asks of it.
struct MonitorQuirks {
    using Duration = RunLoop::Duration;

    /// Until a reply is ready; read before that, the monitor answers with an empty message.
    Duration replyPreparation = std::chrono::milliseconds(8);
    /// After a write the monitor does not even acknowledge its address for this long.
    Duration busyAfterSet = std::chrono::milliseconds(50);
    /// Bytes 0x6E in front of the reply.
    std::size_t leadingBytes = 0;
    /// What follows the reply when more is read.
    std::uint8_t padding = 0;
    /// Of the speaker volume; 1 is "unsupported".
    std::uint8_t resultCode = 0;
    /// Reported in place of the true maximum.
    std::optional<std::uint16_t> reportedMaximum = std::nullopt;
    bool wrongChecksum = false;
    /// Every reply is an empty message.
    bool emptyReplies = false;
    /// Every reply is noise.
    bool garbage = false;
    /// Every reply is the one before it.
    bool repliesLate = false;
    /// These bytes are read, whatever was asked.
    std::optional<std::vector<std::uint8_t>> rawReply = std::nullopt;
    /// Only the EDID can be read, as of most panels inside a machine.
    bool isDeaf = false;
    /// Sets are not acknowledged.
    bool refusesSets = false;
};

struct MonitorDescription {
    std::string name = "Simulated 27";
    /// Three capitals.
    std::string manufacturer = "QSM";
    std::uint16_t product = 0x1234;
    std::uint32_t serial = 1;
    std::uint16_t volume = 37;
    std::uint16_t maximum = 100;
    MonitorQuirks quirks = {};
};

/// One message that reached the monitor's DDC/CI address, in the order in which they came.
struct MonitorTransaction {
    enum class Kind { get, set, other, reply };
    Kind kind;
    RunLoop::SteadyTime at;
    /// Of a Set.
    std::uint16_t value = 0;
    /// 0, or the errno that the bus reported.
    int error = 0;

    bool operator==(const MonitorTransaction&) const = default;
};

/// A monitor as its I2C bus sees it: an EDID at address 0x50, DDC/CI at 0x37. Time is given with every call. Any
/// thread, one call at a time.
class SimulatedMonitor {
public:
    using Time = RunLoop::SteadyTime;
    using Edid = std::array<std::uint8_t, 128>;

    static constexpr std::uint16_t edidAddress = 0x50;
    static constexpr std::uint16_t ddcAddress = 0x37;

    explicit SimulatedMonitor(MonitorDescription description = {});

    /// One I2C message; 0 or an errno. Addresses have seven bits.
    int write(std::uint16_t address, std::span<const std::uint8_t> bytes, Time now);
    int read(std::uint16_t address, std::span<std::uint8_t> bytes, Time now);

    const Edid& edid() const { return edid_; }
    const MonitorDescription& description() const { return description_; }
    std::uint16_t volume() const;
    /// As someone turning the monitor's own knob.
    void setVolume(std::uint16_t volume);
    void setQuirks(const MonitorQuirks& quirks);
    /// The next messages to the DDC/CI address fail with this errno.
    void failNext(int count, int error);
    /// An absent monitor acknowledges nothing.
    void setPresent(bool present);
    std::vector<MonitorTransaction> journal() const;
    /// How many messages its bus carried, to whatever address.
    std::size_t messages() const;

private:
    using Message = std::vector<std::uint8_t>;
    using FeatureReply = decltype(vcpReply(0, 0, {}));

    int writeDDC(std::span<const std::uint8_t> bytes, Time now);
    int writeMessage(std::span<const std::uint8_t> bytes, Time now);
    int setFeature(const VcpSetting& setting, Time now);
    FeatureReply featureReply(VcpFeature feature) const;
    void prepareReply(std::span<const std::uint8_t> reply, Time now);
    void readReply(std::span<std::uint8_t> bytes, Time now);
    std::optional<int> injectedFailure(Time now);

    mutable std::mutex mutex_;
    MonitorDescription description_;
    const Edid edid_;
    std::uint16_t volume_;
    bool present_ = true;
    std::uint8_t edidOffset_ = 0;
    Message reply_;
    Message replyBefore_;
    Time replyReadyAt_{};
    Time busyUntil_{};
    std::deque<int> failures_;
    std::minstd_rand noise_;
    std::vector<MonitorTransaction> journal_;
    std::size_t messages_ = 0;
};

} // namespace quenstal
