#include "EmulatedMonitor/MachineFixture.hpp"

#include <cstdlib>
#include <fstream>
#include <stdexcept>
#include <string_view>

namespace quenstal {
namespace {

namespace fs = std::filesystem;

std::string busName(int number)
{
    return "i2c-" + std::to_string(number);
}

std::string connectorPath(const std::string& name)
{
    return std::string(MachineFixture::cardPath) + "/drm/card0/card0-" + name;
}

struct PlacedBus {
    int number;
    std::string name;
    /// The device that the bus hangs below.
    std::string parent;
};

std::vector<PlacedBus> placedBuses(const MachineFixture& machine)
{
    std::vector<PlacedBus> placed;
    for (const auto& connector : machine.connectors) {
        if (connector.link == MachineFixture::Link::auxiliary)
            placed.push_back({connector.bus, "AUX " + connector.name, connectorPath(connector.name)});
        if (connector.link == MachineFixture::Link::ddc)
            placed.push_back({connector.bus, "DDC " + connector.name, MachineFixture::cardPath});
    }
    for (const auto& bus : machine.buses)
        placed.push_back({bus.number, bus.name, MachineFixture::cardPath});
    return placed;
}

void writeFile(const fs::path& file, std::string_view text)
{
    fs::create_directories(file.parent_path());
    std::ofstream(file, std::ios::binary) << text;
}

void link(const fs::path& from, const fs::path& to)
{
    fs::create_directories(from.parent_path());
    fs::create_symlink(fs::relative(to, from.parent_path()), from);
}

std::string hexadecimal(const std::vector<std::uint8_t>& bytes)
{
    constexpr std::string_view digits = "0123456789ABCDEF";
    std::string text;
    for (const std::uint8_t byte : bytes) {
        text += digits[byte >> 4];
        text += digits[byte & 0xF];
    }
    return text;
}

std::string connectorText(const MachineFixture::Connector& connector)
{
    std::string text = "P: " + connectorPath(connector.name) + "\nE: SUBSYSTEM=drm\nE: DEVTYPE=drm_connector\n";
    text += "A: status=" + connector.status + "\\n\nA: enabled=enabled\\n\nA: dpms=On\\n\n";
    if (!connector.edid.empty())
        text += "H: edid=" + hexadecimal(connector.edid) + "\n";
    if (connector.link == MachineFixture::Link::ddc)
        text += "L: ddc=../../../" + busName(connector.bus) + "\n";
    return text + "\n";
}

std::string busText(const PlacedBus& bus)
{
    const std::string name = busName(bus.number);
    const std::string path = bus.parent + "/" + name;
    return "P: " + path + "\nE: SUBSYSTEM=i2c\nE: DEVTYPE=i2c_adapter\nA: name=" + bus.name + "\\n\n\n" //
        + "P: " + path + "/i2c-dev/" + name + "\nN: " + name + "\nE: DEVNAME=/dev/" + name
        + "\nE: SUBSYSTEM=i2c-dev\nE: MAJOR=89\nE: MINOR=" + std::to_string(bus.number) + "\nA: name=" + bus.name
        + "\\n\n\n";
}

} // namespace

std::vector<int> MachineFixture::busNumbers() const
{
    std::vector<int> numbers;
    for (const PlacedBus& bus : placedBuses(*this))
        numbers.push_back(bus.number);
    return numbers;
}

void MachineFixture::writeTo(const fs::path& sysRoot) const
{
    fs::remove_all(sysRoot);
    const auto below = [&sysRoot](const std::string& path) { return sysRoot / path.substr(1); };
    writeFile(below(cardPath) / "class", "0x030000\n");
    fs::create_directories(below(cardPath) / "drm/card0");
    link(sysRoot / "class/drm/card0", below(cardPath) / "drm/card0");
    for (const PlacedBus& bus : placedBuses(*this)) {
        const std::string name = busName(bus.number);
        const fs::path directory = below(bus.parent) / name;
        writeFile(directory / "name", bus.name + "\n");
        fs::create_directories(directory / "i2c-dev" / name);
        link(sysRoot / "bus/i2c/devices" / name, directory);
        link(sysRoot / "class/i2c-dev" / name, directory / "i2c-dev" / name);
    }
    for (const Connector& connector : connectors) {
        const fs::path directory = below(connectorPath(connector.name));
        writeFile(directory / "status", connector.status + "\n");
        writeFile(directory / "edid", std::string(connector.edid.begin(), connector.edid.end()));
        if (connector.link == Link::ddc)
            link(directory / "ddc", below(cardPath) / busName(connector.bus));
        link(sysRoot / "class/drm" / ("card0-" + connector.name), directory);
    }
}

std::string MachineFixture::asDeviceText() const
{
    const std::string card(cardPath);
    std::string text = "P: " + card
        + "\nE: SUBSYSTEM=pci\nE: DRIVER=i915\nE: PCI_ID=8086:3E92\nA: class=0x030000\\n\nA: vendor=0x8086\\n\n"
          "A: device=0x3e92\\n\nL: driver=../../../bus/pci/drivers/i915\n\n" //
        + "P: " + card
        + "/drm/card0\nN: dri/card0\nE: DEVNAME=/dev/dri/card0\nE: SUBSYSTEM=drm\n"
          "E: DEVTYPE=drm_minor\n\n";
    for (const Connector& connector : connectors)
        text += connectorText(connector);
    for (const PlacedBus& bus : placedBuses(*this))
        text += busText(bus);
    return text;
}

TemporaryDirectory::TemporaryDirectory()
{
    std::string path = (fs::temp_directory_path() / "quenstal-XXXXXX").string();
    if (!::mkdtemp(path.data()))
        throw std::runtime_error("no temporary directory");
    path_ = path;
}

TemporaryDirectory::~TemporaryDirectory()
{
    std::error_code ignored;
    fs::remove_all(path_, ignored);
}

} // namespace quenstal
