// Whatever the files below /sys contain, the connectors that are read have names that were there and buses that look
// like buses.

#include "EmulatedMonitor/MachineFixture.hpp"
#include "QuenstalLinux/Display/Connectors.hpp"

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <string_view>

namespace {

using namespace quenstal;
namespace fs = std::filesystem;
using Link = MachineFixture::Link;

/// Cuts the next line off.
std::string_view nextLine(std::string_view& text)
{
    const std::size_t end = std::min(text.find('\n'), text.size());
    const std::string_view line = text.substr(0, end);
    text.remove_prefix(std::min(end + 1, text.size()));
    return line;
}

void write(const fs::path& file, std::string_view text)
{
    std::ofstream(file, std::ios::binary) << text;
}

void linkTo(const fs::path& link, std::string_view target)
{
    std::error_code ignored;
    fs::remove(link, ignored);
    fs::create_symlink(fs::path(std::string(target.substr(0, target.find('\0')))), link, ignored);
}

void makeMachine(const fs::path& root)
{
    MachineFixture{{{"DP-1", Link::auxiliary, 4}, {"HDMI-A-1", Link::ddc, 5}}, {{6}}}.writeTo(root);
}

bool isBusOrEmpty(const std::string& bus)
{
    return bus.empty() || (bus.starts_with("i2c-") && bus.size() > 4);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    static const TemporaryDirectory directory;
    const fs::path& root = directory.path();
    static const bool isMade = (makeMachine(root), true);
    static_cast<void>(isMade);

    std::string_view text(reinterpret_cast<const char*>(data), size);
    write(root / "class/drm/card0-DP-1/status", nextLine(text));
    write(root / "class/drm/card0-HDMI-A-1/status", nextLine(text));
    linkTo(root / "class/drm/card0-HDMI-A-1/ddc", nextLine(text));
    write(root / "bus/i2c/devices/i2c-6/name", nextLine(text));
    linkTo(root / MachineFixture::cardPath().substr(1) / "driver", nextLine(text));
    write(root / "class/drm/card0-DP-1/edid", text);

    for (const Connector& connector : readConnectors(root))
        if (!connector.name.starts_with("card0-") || !isBusOrEmpty(connector.bus))
            std::abort();
    for (const CardBus& bus : unclaimedBuses(root))
        if (!isBusOrEmpty(bus.device) || (bus.isKnown && bus.name.empty()))
            std::abort();
    return 0;
}
