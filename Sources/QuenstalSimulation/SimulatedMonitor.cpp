#include "QuenstalSimulation/SimulatedMonitor.hpp"

#include <algorithm>
#include <cerrno>
#include <numeric>
#include <utility>

namespace quenstal {
namespace {

constexpr std::uint8_t capabilitiesRequest = 0xF3;
constexpr std::uint8_t capabilitiesReply = 0xE3;
constexpr VcpFeature brightness = 0x10;
constexpr VcpFeature version = 0xDF;
constexpr auto emptyMessage = vcp::toHost<0>({});

/// Thirteen characters, closed by a line feed and filled with blanks.
void putText(SimulatedMonitor::Edid& edid, std::size_t descriptor, std::uint8_t tag, std::string text)
{
    constexpr std::size_t textLength = 13;
    text.resize(std::min(text.size(), textLength));
    if (text.size() < textLength)
        text += '\n';
    text.resize(textLength, ' ');
    const std::size_t at = 54 + 18 * descriptor;
    edid[at + 3] = tag;
    std::ranges::copy(text, edid.begin() + static_cast<std::ptrdiff_t>(at + 5));
}

SimulatedMonitor::Edid makeEdid(const MonitorDescription& monitor)
{
    constexpr std::array<std::uint8_t, 8> header{0x00, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0x00};
    // 1920 by 1080 at 60 Hz.
    constexpr std::array<std::uint8_t, 18> timing{
        0x02, 0x3A, 0x80, 0x18, 0x71, 0x38, 0x2D, 0x40, 0x58, 0x2C, 0x45, 0x00, 0x54, 0x50, 0x21, 0x00, 0x00, 0x1E};
    SimulatedMonitor::Edid edid{};
    std::ranges::copy(header, edid.begin());
    std::uint16_t letters = 0;
    for (const char letter : monitor.manufacturer)
        letters = static_cast<std::uint16_t>(letters << 5 | (letter - 'A' + 1));
    edid[8] = vcp::high(letters);
    edid[9] = vcp::low(letters);
    edid[10] = vcp::low(monitor.product);
    edid[11] = vcp::high(monitor.product);
    for (std::size_t i = 0; i < 4; ++i)
        edid[12 + i] = static_cast<std::uint8_t>(monitor.serial >> (8 * i));
    edid[16] = 10;
    edid[17] = 35;
    edid[18] = 1;
    edid[19] = 4;
    edid[20] = 0xA5;
    std::fill(edid.begin() + 38, edid.begin() + 54, std::uint8_t{1});
    std::ranges::copy(timing, edid.begin() + 54);
    putText(edid, 1, 0xFC, monitor.name);
    putText(edid, 2, 0xFF, std::to_string(monitor.serial));
    edid[111] = 0x10;
    edid[127] = static_cast<std::uint8_t>(-std::accumulate(edid.begin(), edid.end() - 1, 0));
    return edid;
}

} // namespace

SimulatedMonitor::SimulatedMonitor(MonitorDescription description)
    : description_(std::move(description))
    , edid_(makeEdid(description_))
    , volume_(description_.volume)
{
}

std::uint16_t SimulatedMonitor::volume() const
{
    const std::lock_guard lock(mutex_);
    return volume_;
}

void SimulatedMonitor::setVolume(std::uint16_t volume)
{
    const std::lock_guard lock(mutex_);
    volume_ = volume;
}

void SimulatedMonitor::setQuirks(const MonitorQuirks& quirks)
{
    const std::lock_guard lock(mutex_);
    description_.quirks = quirks;
}

void SimulatedMonitor::failNext(int count, int error)
{
    const std::lock_guard lock(mutex_);
    failures_.insert(failures_.end(), static_cast<std::size_t>(count), error);
}

void SimulatedMonitor::setPresent(bool present)
{
    const std::lock_guard lock(mutex_);
    present_ = present;
}

std::vector<MonitorTransaction> SimulatedMonitor::journal() const
{
    const std::lock_guard lock(mutex_);
    return journal_;
}

std::size_t SimulatedMonitor::messages() const
{
    const std::lock_guard lock(mutex_);
    return messages_;
}

std::optional<int> SimulatedMonitor::injectedFailure(Time now)
{
    if (now < busyUntil_ || description_.quirks.isDeaf)
        return ENXIO;
    if (failures_.empty())
        return std::nullopt;
    const int error = failures_.front();
    failures_.pop_front();
    return error;
}

int SimulatedMonitor::write(std::uint16_t address, std::span<const std::uint8_t> bytes, Time now)
{
    const std::lock_guard lock(mutex_);
    ++messages_;
    if (!present_ || (address != edidAddress && address != ddcAddress))
        return ENXIO;
    if (address == ddcAddress)
        return writeDDC(bytes, now);
    if (!bytes.empty())
        edidOffset_ = bytes.front();
    return 0;
}

int SimulatedMonitor::read(std::uint16_t address, std::span<std::uint8_t> bytes, Time now)
{
    const std::lock_guard lock(mutex_);
    ++messages_;
    if (!present_ || (address != edidAddress && address != ddcAddress))
        return ENXIO;
    if (address == edidAddress) {
        for (std::uint8_t& byte : bytes)
            byte = edid_[edidOffset_++ % edid_.size()];
        return 0;
    }
    const int error = injectedFailure(now).value_or(0);
    journal_.push_back({MonitorTransaction::Kind::reply, now, 0, error});
    if (error == 0)
        readReply(bytes, now);
    return error;
}

int SimulatedMonitor::writeDDC(std::span<const std::uint8_t> bytes, Time now)
{
    using Kind = MonitorTransaction::Kind;
    const std::optional<VcpFeature> question = questionIn(bytes);
    const VcpSetting setting = settingIn(bytes).value_or(VcpSetting{});
    const std::optional<int> failure = injectedFailure(now);
    const int error = failure ? *failure : writeMessage(bytes, now);
    const Kind kind = question ? Kind::get : settingIn(bytes) ? Kind::set : Kind::other;
    journal_.push_back({kind, now, setting.value, error});
    return error;
}

int SimulatedMonitor::writeMessage(std::span<const std::uint8_t> bytes, Time now)
{
    // A single byte wakes the bus; a message that does not add up is acknowledged and forgotten.
    if (const auto question = questionIn(bytes))
        prepareReply(featureReply(*question), now);
    else if (const auto setting = settingIn(bytes))
        return setFeature(*setting, now);
    else if (const auto payload = vcp::payloadToDisplay(bytes); !payload.empty() && payload[0] == capabilitiesRequest)
        prepareReply(vcp::toHost<3>({capabilitiesReply, 0, 0}), now);
    return 0;
}

int SimulatedMonitor::setFeature(const VcpSetting& setting, Time now)
{
    if (description_.quirks.refusesSets)
        return ENXIO;
    if (setting.feature == speakerVolumeFeature)
        volume_ = setting.value;
    busyUntil_ = now + description_.quirks.busyAfterSet;
    return 0;
}

SimulatedMonitor::FeatureReply SimulatedMonitor::featureReply(VcpFeature feature) const
{
    switch (feature) {
    case speakerVolumeFeature:
        return vcpReply(feature, description_.quirks.resultCode,
            {volume_, description_.quirks.reportedMaximum.value_or(description_.maximum)});
    case brightness:
        return vcpReply(feature, vcp::noError, {50, 100});
    case version:
        return vcpReply(feature, vcp::noError, {0x0202, 0xFFFF});
    default:
        return vcpReply(feature, vcp::unsupportedFeature, {});
    }
}

void SimulatedMonitor::prepareReply(std::span<const std::uint8_t> reply, Time now)
{
    Message message(reply.begin(), reply.end());
    if (description_.quirks.wrongChecksum)
        message.back() = static_cast<std::uint8_t>(~message.back());
    replyBefore_ = std::exchange(reply_, std::move(message));
    replyReadyAt_ = now + description_.quirks.replyPreparation;
}

void SimulatedMonitor::readReply(std::span<std::uint8_t> bytes, Time now)
{
    const MonitorQuirks& quirks = description_.quirks;
    if (quirks.garbage) {
        std::ranges::generate(bytes, [this] { return static_cast<std::uint8_t>(noise_() >> 8); });
        return;
    }
    const Message& prepared = quirks.repliesLate ? replyBefore_ : reply_;
    const bool isEmpty = quirks.emptyReplies || prepared.empty() || now < replyReadyAt_;
    const Message message
        = quirks.rawReply.value_or(isEmpty ? Message(emptyMessage.begin(), emptyMessage.end()) : prepared);
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        if (i < quirks.leadingBytes)
            bytes[i] = displayWriteAddress;
        else if (i - quirks.leadingBytes < message.size())
            bytes[i] = message[i - quirks.leadingBytes];
        else
            bytes[i] = quirks.padding;
    }
}

} // namespace quenstal
