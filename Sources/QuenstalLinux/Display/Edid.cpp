#include "QuenstalLinux/Display/Edid.hpp"

#include <algorithm>
#include <array>
#include <numeric>

namespace quenstal {
namespace {

constexpr std::array<std::uint8_t, 8> header{0x00, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0x00};
constexpr std::size_t firstDescriptor = 54;
constexpr std::size_t endOfDescriptors = 126;
constexpr std::size_t descriptorLength = 18;
constexpr std::size_t descriptorTextOffset = 5;
constexpr std::uint8_t nameTag = 0xFC;

using Block = std::span<const std::uint8_t, edidBlockLength>;

bool isValid(Block block)
{
    const bool addsUp = std::accumulate(block.begin(), block.end(), 0u) % 256 == 0;
    return addsUp && std::equal(header.begin(), header.end(), block.begin());
}

std::uint16_t littleEndian(Block block, std::size_t index)
{
    return static_cast<std::uint16_t>(block[index] | block[index + 1] << 8);
}

/// Closed by a line feed when shorter than its place, filled with blanks.
std::string text(std::span<const std::uint8_t> bytes)
{
    std::string result(bytes.begin(), std::ranges::find(bytes, std::uint8_t{'\n'}));
    result.erase(result.find_last_not_of(std::string(" \0", 2)) + 1);
    return result;
}

std::string nameIn(Block block)
{
    for (std::size_t at = firstDescriptor; at < endOfDescriptors; at += descriptorLength) {
        const auto descriptor = block.subspan(at, descriptorLength);
        const bool isText = descriptor[0] == 0 && descriptor[1] == 0 && descriptor[2] == 0;
        if (isText && descriptor[3] == nameTag)
            return text(descriptor.subspan(descriptorTextOffset));
    }
    return {};
}

} // namespace

std::optional<MonitorIdentity> monitorIdentityOf(std::span<const std::uint8_t> edid)
{
    if (edid.size() < edidBlockLength)
        return std::nullopt;
    const Block block = edid.first<edidBlockLength>();
    if (!isValid(block))
        return std::nullopt;
    return MonitorIdentity{nameIn(block), littleEndian(block, 8), littleEndian(block, 10)};
}

bool describeSameMonitor(const MonitorIdentity& a, const MonitorIdentity& b)
{
    bool somethingEqual = false;
    const auto agree = [&somethingEqual](bool bothKnown, bool equal) {
        somethingEqual |= bothKnown && equal;
        return !bothKnown || equal;
    };
    const bool nothingDiffers = agree(!a.name.empty() && !b.name.empty(), a.name == b.name)
        && agree(a.manufacturer && b.manufacturer, a.manufacturer == b.manufacturer)
        && agree(a.product && b.product, a.product == b.product);
    return nothingDiffers && somethingEqual;
}

} // namespace quenstal
