#include "QuenstalLinux/Display/Connectors.hpp"

#include "QuenstalLinux/Display/Edid.hpp"
#include "QuenstalLinux/Display/KnownBuses.hpp"

#include <algorithm>
#include <array>
#include <cstring>
#include <fstream>
#include <iterator>
#include <set>
#include <string_view>

#include <system_error>

namespace quenstal {
namespace {

namespace fs = std::filesystem;

constexpr std::array<std::string_view, 4> internalTypes{"eDP", "LVDS", "DSI", "DPI"};
constexpr std::array<std::string_view, 2> typesWithoutMonitor{"Writeback", "Virtual"};
constexpr std::string_view busPrefix = "i2c-";

/// Nothing below /sys that is read here is longer; a fault elsewhere must not fill the memory.
constexpr std::size_t longestFile = 32 * edidBlockLength;

std::string contents(const fs::path& file)
{
    std::ifstream stream(file, std::ios::binary);
    std::string text(longestFile, '\0');
    stream.read(text.data(), static_cast<std::streamsize>(text.size()));
    text.resize(static_cast<std::size_t>(stream.gcount()));
    return text;
}

/// By their names and numbers, "card1-DP-2" before "card1-DP-10".
bool comesBefore(const std::string& a, const std::string& b)
{
    return ::strverscmp(a.c_str(), b.c_str()) < 0;
}

std::vector<std::string> namesIn(const fs::path& directory)
{
    std::vector<std::string> names;
    std::error_code error;
    for (fs::directory_iterator entry(directory, error), end; !error && entry != end; entry.increment(error))
        names.push_back(entry->path().filename());
    std::ranges::sort(names, comesBefore);
    return names;
}

bool isBus(std::string_view name)
{
    const std::string_view digits = name.substr(std::min(busPrefix.size(), name.size()));
    return name.starts_with(busPrefix) && !digits.empty()
        && std::ranges::all_of(digits, [](char character) { return character >= '0' && character <= '9'; });
}

/// A DisplayPort's own bus, which is its child.
std::string auxiliaryBus(const fs::path& connector)
{
    const std::vector<std::string> names = namesIn(connector);
    const auto bus = std::ranges::find_if(names, isBus);
    return bus == names.end() ? std::string() : *bus;
}

/// The bus that the connector is linked to.
std::string linkedBus(const fs::path& connector)
{
    std::error_code error;
    const std::string target = fs::canonical(connector / "ddc", error).filename();
    return !error && isBus(target) ? target : std::string();
}

/// The buses that are this connector's, the one that serves its monitor first. A DisplayPort has a second one for
/// adapters to another plug.
std::vector<std::string> busesOf(const fs::path& connector)
{
    std::vector<std::string> buses{auxiliaryBus(connector), linkedBus(connector)};
    std::erase(buses, std::string());
    return buses;
}

/// "HDMI-A-1" of "card1-HDMI-A-1"; empty for anything that is not a connector.
std::string_view connectorType(std::string_view name)
{
    const std::size_t dash = name.find('-');
    return name.starts_with("card") && dash != std::string_view::npos ? name.substr(dash + 1) : std::string_view();
}

template <std::size_t size>
bool startsWithOneOf(std::string_view text, const std::array<std::string_view, size>& prefixes)
{
    return std::ranges::any_of(prefixes, [text](std::string_view prefix) { return text.starts_with(prefix); });
}

bool isConnector(std::string_view name)
{
    const std::string_view type = connectorType(name);
    return !type.empty() && !startsWithOneOf(type, typesWithoutMonitor);
}

bool isConnected(const fs::path& connector)
{
    // Not "disconnected" and not "unknown".
    return contents(connector / "status").starts_with("connected");
}

Connector readConnector(const fs::path& directory, const std::string& name)
{
    const std::string edid = contents(directory / "edid");
    Connector connector;
    connector.name = name;
    connector.isInternal = startsWithOneOf(connectorType(name), internalTypes);
    connector.edid.assign(edid.begin(), edid.end());
    connector.identity = monitorIdentityOf(connector.edid).value_or(MonitorIdentity{});
    return connector;
}

std::vector<std::string> connectorNames(const fs::path& directory)
{
    std::vector<std::string> names = namesIn(directory);
    std::erase_if(names, [](const std::string& name) { return !isConnector(name); });
    return names;
}

std::string firstLine(const fs::path& file)
{
    const std::string text = contents(file);
    return text.substr(0, text.find('\n'));
}

std::string driverOf(const fs::path& device)
{
    std::error_code error;
    return fs::read_symlink(device / "driver", error).filename();
}

/// "card1" of a graphics card's device; empty for every other.
std::string cardOf(const fs::path& device)
{
    const std::vector<std::string> nodes = namesIn(device / "drm");
    const auto node = std::ranges::find_if(nodes, [](const std::string& name) { return name.starts_with("card"); });
    return node == nodes.end() ? std::string() : *node;
}

/// What the property is of the nearest device above the bus that has it.
std::string nearest(const fs::path& bus, std::string (*property)(const fs::path& device))
{
    std::error_code error;
    fs::path device = fs::canonical(bus, error);
    std::string found;
    while (found.empty() && device.has_relative_path()) {
        device = device.parent_path();
        found = property(device);
    }
    return found;
}

CardBus readBus(const fs::path& sysRoot, const std::string& device)
{
    const fs::path directory = sysRoot / "bus/i2c/devices" / device;
    CardBus bus{device, firstLine(directory / "name"), nearest(directory, cardOf)};
    bus.isKnown = leadsToDisplay(nearest(directory, driverOf), bus.name);
    return bus;
}

void adoptBus(Connector& connector, const CardBus& bus)
{
    if (bus.isKnown)
        connector.bus = bus.device;
    else
        connector.leftAlone.push_back(bus.title());
}

} // namespace

std::vector<Connector> readConnectors(const fs::path& sysRoot)
{
    const fs::path directory = sysRoot / "class/drm";
    std::vector<Connector> connectors;
    for (const std::string& name : connectorNames(directory)) {
        if (!isConnected(directory / name))
            continue;
        Connector connector = readConnector(directory / name, name);
        if (const std::vector<std::string> buses = busesOf(directory / name); !buses.empty())
            adoptBus(connector, readBus(sysRoot, buses.front()));
        connectors.push_back(std::move(connector));
    }
    return connectors;
}

std::vector<CardBus> unclaimedBuses(const fs::path& sysRoot)
{
    // Disconnected and internal connectors keep their buses, too.
    std::set<std::string> claimed;
    for (const std::string& name : connectorNames(sysRoot / "class/drm"))
        for (std::string& bus : busesOf(sysRoot / "class/drm" / name))
            claimed.insert(std::move(bus));
    std::vector<CardBus> buses;
    for (const std::string& device : namesIn(sysRoot / "bus/i2c/devices")) {
        if (!isBus(device) || claimed.contains(device))
            continue;
        if (CardBus bus = readBus(sysRoot, device); !bus.card.empty())
            buses.push_back(std::move(bus));
    }
    return buses;
}

bool hasI2CDevices(const fs::path& sysRoot)
{
    return !namesIn(sysRoot / "class/i2c-dev").empty();
}

} // namespace quenstal
