#include "QuenstalLinux/Audio/Eld.hpp"

#include "QuenstalLinux/FileDescriptor.hpp"

#include <charconv>
#include <cstring>
#include <fstream>
#include <iterator>
#include <sound/asound.h>
#include <vector>

#include <fcntl.h>
#include <sys/ioctl.h>
#include <system_error>

namespace quenstal {

namespace {

constexpr std::size_t fixedBytes = 20;

std::string_view trimmed(std::string_view text)
{
    const auto first = text.find_first_not_of(" \t");
    return first == std::string_view::npos ? std::string_view() : text.substr(first);
}

std::uint16_t hexadecimal(std::string_view text)
{
    std::uint16_t value = 0;
    if (text.starts_with("0x"))
        text.remove_prefix(2);
    std::from_chars(text.data(), text.data() + text.size(), value, 16);
    return value;
}

std::optional<Eld> readControl(const std::filesystem::path& devices, int card, int device)
{
    const auto path = devices / ("controlC" + std::to_string(card));
    const FileDescriptor control(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    if (!control)
        return std::nullopt;
    snd_ctl_elem_value value{};
    value.id.iface = SNDRV_CTL_ELEM_IFACE_PCM;
    value.id.device = static_cast<unsigned int>(device);
    std::memcpy(value.id.name, "ELD", sizeof "ELD");
    if (ioctl(control.get(), SNDRV_CTL_IOCTL_ELEM_READ, &value) != 0)
        return std::nullopt;
    return parseEldBytes(value.value.bytes.data);
}

/// One for each monitor on the card.
std::vector<Eld> readTexts(const std::filesystem::path& proc, int card)
{
    std::vector<Eld> found;
    std::error_code error;
    for (const auto& entry : std::filesystem::directory_iterator(proc / ("card" + std::to_string(card)), error)) {
        if (!entry.path().filename().string().starts_with("eld#"))
            continue;
        std::ifstream file(entry.path());
        const std::string text{std::istreambuf_iterator<char>(file), {}};
        if (const auto eld = parseEldText(text))
            found.push_back(*eld);
    }
    return found;
}

} // namespace

std::optional<Eld> parseEldBytes(std::span<const std::uint8_t> bytes)
{
    if (bytes.size() < fixedBytes || bytes[0] == 0)
        return std::nullopt;
    const std::size_t nameLength = bytes[4] & 0x1fU;
    if (bytes.size() < fixedBytes + nameLength)
        return std::nullopt;
    const auto pair = [&](std::size_t at) {
        return static_cast<std::uint16_t>(bytes[at] | static_cast<unsigned>(bytes[at + 1]) << 8);
    };
    std::string name;
    for (const std::uint8_t byte : bytes.subspan(fixedBytes, nameLength)) {
        if (byte == 0)
            break;
        name.push_back(static_cast<char>(byte));
    }
    return Eld{std::move(name), (bytes[5] >> 2 & 3) == 1, pair(16), pair(18)};
}

std::optional<Eld> parseEldText(std::string_view text)
{
    Eld eld;
    bool valid = false;
    while (!text.empty()) {
        const auto end = text.find('\n');
        const std::string_view line = text.substr(0, end);
        text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
        const auto gap = line.find_first_of(" \t");
        const std::string_view key = line.substr(0, gap);
        const std::string_view value = gap == std::string_view::npos ? std::string_view() : trimmed(line.substr(gap));
        if (key == "eld_valid")
            valid = value == "1";
        else if (key == "monitor_name")
            eld.monitorName = value;
        else if (key == "connection_type")
            eld.isDisplayPort = value == "DisplayPort";
        else if (key == "manufacture_id")
            eld.manufacturer = hexadecimal(value);
        else if (key == "product_id")
            eld.product = hexadecimal(value);
    }
    return valid ? std::optional(std::move(eld)) : std::nullopt;
}

std::optional<Eld> readEld(const SoundCardRoots& roots, int card, int device)
{
    if (auto eld = readControl(roots.devices, card, device))
        return eld;
    // The files are named by codec and pin, which say nothing about the playback device.
    auto texts = readTexts(roots.proc, card);
    return texts.size() == 1 ? std::optional(std::move(texts.front())) : std::nullopt;
}

EldReader systemEldReader()
{
    return [](int card, int device) { return readEld(SoundCardRoots{}, card, device); };
}

} // namespace quenstal
