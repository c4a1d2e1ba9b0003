#include "QuenstalSimulation/SimulatedMonitor.hpp"

#include <algorithm>
#include <cerrno>
#include <numeric>
#include <utility>

namespace quenstal {
namespace {

constexpr std::uint8_t hostAddress = 0x51;
constexpr std::uint8_t displayWriteAddress = 0x6E;
constexpr std::uint8_t replyChecksumSeed = 0x50;
constexpr std::uint8_t lengthFlag = 0x80;
constexpr std::uint8_t getFeature = 0x01;
constexpr std::uint8_t getFeatureReply = 0x02;
constexpr std::uint8_t setFeatureOpcode = 0x03;
constexpr std::uint8_t capabilitiesRequest = 0xF3;
constexpr std::uint8_t capabilitiesReply = 0xE3;
constexpr std::uint8_t unsupported = 1;
constexpr std::uint8_t speakerVolume = 0x62;
constexpr std::uint8_t brightness = 0x10;
constexpr std::uint8_t version = 0xDF;
const std::vector<std::uint8_t> emptyMessage{displayWriteAddress, lengthFlag, 0xBE};

std::uint8_t exclusiveOr(std::span<const std::uint8_t> bytes, std::uint8_t seed)
{
    return std::accumulate(bytes.begin(), bytes.end(), seed,
        [](std::uint8_t sum, std::uint8_t byte) { return static_cast<std::uint8_t>(sum ^ byte); });
}

std::uint8_t high(std::uint32_t value)
{
    return static_cast<std::uint8_t>(value >> 8);
}

std::uint8_t low(std::uint32_t value)
{
    return static_cast<std::uint8_t>(value);
}

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
    std::uint32_t letters = 0;
    for (const char letter : monitor.manufacturer)
        letters = letters << 5 | static_cast<std::uint32_t>(letter - 'A' + 1);
    edid[8] = high(letters);
    edid[9] = low(letters);
    edid[10] = low(monitor.product);
    edid[11] = high(monitor.product);
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
    const bool isMessage = bytes.size() > 3;
    const bool isGet = isMessage && bytes[2] == getFeature;
    const bool isSet = isMessage && bytes[2] == setFeatureOpcode && bytes.size() == 7;
    const auto value = static_cast<std::uint16_t>(isSet ? bytes[4] * 256 + bytes[5] : 0);
    const std::optional<int> failure = injectedFailure(now);
    const int error = failure ? *failure : writeMessage(bytes, now);
    journal_.push_back({isSet ? Kind::set : isGet ? Kind::get : Kind::other, now, value, error});
    return error;
}

int SimulatedMonitor::writeMessage(std::span<const std::uint8_t> bytes, Time now)
{
    // A single byte wakes the bus; a message that does not add up is acknowledged and forgotten.
    if (bytes.size() < 4 || bytes[0] != hostAddress || exclusiveOr(bytes, displayWriteAddress) != 0
        || static_cast<std::size_t>(bytes[1] & ~lengthFlag) + 3 != bytes.size())
        return 0;
    const std::span payload = bytes.subspan(2, bytes.size() - 3);
    if (payload[0] == getFeature)
        prepareReply(featureReply(payload[1]), now);
    else if (payload[0] == setFeatureOpcode && payload.size() == 4)
        return setFeature(payload, now);
    else if (payload[0] == capabilitiesRequest)
        prepareReply({capabilitiesReply, 0, 0}, now);
    return 0;
}

int SimulatedMonitor::setFeature(std::span<const std::uint8_t> payload, Time now)
{
    if (description_.quirks.refusesSets)
        return ENXIO;
    if (payload[1] == speakerVolume)
        volume_ = static_cast<std::uint16_t>(payload[2] * 256 + payload[3]);
    busyUntil_ = now + description_.quirks.busyAfterSet;
    return 0;
}

std::vector<std::uint8_t> SimulatedMonitor::featureReply(std::uint8_t code) const
{
    const auto reply = [code](std::uint8_t result, std::uint32_t maximum, std::uint32_t current) {
        return std::vector<std::uint8_t>{
            getFeatureReply, result, code, 0, high(maximum), low(maximum), high(current), low(current)};
    };
    switch (code) {
    case speakerVolume:
        return reply(description_.quirks.resultCode, description_.quirks.reportedMaximum.value_or(description_.maximum),
            volume_);
    case brightness:
        return reply(0, 100, 50);
    case version:
        return reply(0, 0xFFFF, 0x0202);
    default:
        return reply(unsupported, 0, 0);
    }
}

void SimulatedMonitor::prepareReply(std::vector<std::uint8_t> payload, Time now)
{
    Message message{displayWriteAddress, static_cast<std::uint8_t>(lengthFlag | payload.size())};
    message.insert(message.end(), payload.begin(), payload.end());
    const std::uint8_t sum = exclusiveOr(message, replyChecksumSeed);
    message.push_back(description_.quirks.wrongChecksum ? static_cast<std::uint8_t>(~sum) : sum);
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
    const Message message = quirks.rawReply.value_or(isEmpty ? emptyMessage : prepared);
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
