#include "EmulatedMonitor/MachineFixture.hpp"

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <stdexcept>
#include <string_view>

namespace quenstal {
namespace {

namespace fs = std::filesystem;

constexpr const char* driver = "amdgpu";

std::string busName(int number)
{
    return "i2c-" + std::to_string(number);
}

std::string nodeName(int card)
{
    return "card" + std::to_string(card);
}

std::string connectorPath(const MachineFixture::Connector& connector)
{
    const std::string node = nodeName(connector.card);
    return MachineFixture::cardPath(connector.card) + "/drm/" + node + "/" + node + "-" + connector.name;
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
        const std::string number = std::to_string(connector.bus);
        if (connector.link == MachineFixture::Link::auxiliary)
            placed.push_back({connector.bus, "AMDGPU DM aux hw bus " + number, connectorPath(connector)});
        if (connector.link == MachineFixture::Link::ddc)
            placed.push_back(
                {connector.bus, "AMDGPU DM i2c hw bus " + number, MachineFixture::cardPath(connector.card)});
    }
    for (const auto* buses : {&machine.buses, &MachineFixture::forbiddenBuses()})
        for (const auto& bus : *buses)
            placed.push_back({bus.number, bus.name, MachineFixture::cardPath(bus.card)});
    return placed;
}

/// From 0 to the last one that has something.
int countOfCards(const MachineFixture& machine)
{
    int last = 0;
    for (const auto& connector : machine.connectors)
        last = std::max(last, connector.card);
    for (const auto& bus : machine.buses)
        last = std::max(last, bus.card);
    return last + 1;
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
    std::string text = "P: " + connectorPath(connector) + "\nE: SUBSYSTEM=drm\nE: DEVTYPE=drm_connector\n";
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

std::string cardText(int card)
{
    const std::string path = MachineFixture::cardPath(card);
    const std::string node = nodeName(card);
    return "P: " + path + "\nE: SUBSYSTEM=pci\nE: DRIVER=" + driver
        + "\nE: PCI_ID=1002:73BF\nA: class=0x030000\\n\nA: vendor=0x1002\\n\nA: device=0x73bf\\n\n"
          "L: driver=../../../bus/pci/drivers/"
        + driver + "\n\nP: " + path + "/drm/" + node + "\nN: dri/" + node + "\nE: DEVNAME=/dev/dri/" + node
        + "\nE: SUBSYSTEM=drm\nE: DEVTYPE=drm_minor\n\n";
}

void writeCard(int card, const fs::path& sysRoot)
{
    const fs::path device = sysRoot / MachineFixture::cardPath(card).substr(1);
    writeFile(device / "class", "0x030000\n");
    fs::create_directories(device / "drm" / nodeName(card));
    fs::create_directories(sysRoot / "bus/pci/drivers" / driver);
    link(device / "driver", sysRoot / "bus/pci/drivers" / driver);
    link(sysRoot / "class/drm" / nodeName(card), device / "drm" / nodeName(card));
}

} // namespace

std::string MachineFixture::cardPath(int card)
{
    return "/devices/pci0000:00/0000:00:0" + std::to_string(2 + card) + ".0";
}

const std::vector<MachineFixture::Bus>& MachineFixture::forbiddenBuses()
{
    static const std::vector<Bus> buses{{90, "AMDGPU SMU 0"}, {91, "AMDGPU DM i2c OEM bus"}};
    return buses;
}

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
    for (int card = 0; card < countOfCards(*this); ++card)
        writeCard(card, sysRoot);
    for (const PlacedBus& bus : placedBuses(*this)) {
        const std::string name = busName(bus.number);
        const fs::path directory = below(bus.parent) / name;
        writeFile(directory / "name", bus.name + "\n");
        fs::create_directories(directory / "i2c-dev" / name);
        link(sysRoot / "bus/i2c/devices" / name, directory);
        link(sysRoot / "class/i2c-dev" / name, directory / "i2c-dev" / name);
    }
    for (const Connector& connector : connectors) {
        const fs::path directory = below(connectorPath(connector));
        writeFile(directory / "status", connector.status + "\n");
        writeFile(directory / "edid", std::string(connector.edid.begin(), connector.edid.end()));
        if (connector.link == Link::ddc)
            link(directory / "ddc", below(cardPath(connector.card)) / busName(connector.bus));
        link(sysRoot / "class/drm" / directory.filename(), directory);
    }
}

std::string MachineFixture::asDeviceText() const
{
    std::string text;
    for (int card = 0; card < countOfCards(*this); ++card)
        text += cardText(card);
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
