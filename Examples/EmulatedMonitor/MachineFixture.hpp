#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

namespace quenstal {

/// A graphics card with its connectors and buses, from which the kernel's view of it is made: as a directory, or as
/// the text that an emulation of devices reads.
struct MachineFixture {
    enum class Link {
        /// The driver does not say which bus belongs to the connector.
        none,
        /// The bus is a child of the connector.
        auxiliary,
        /// The connector has a link named "ddc".
        ddc
    };
    struct Connector {
        /// Without the card: "HDMI-A-1".
        std::string name;
        Link link = Link::none;
        int bus = -1;
        std::vector<std::uint8_t> edid = {};
        std::string status = "connected";
    };
    /// A bus of the card that no connector is linked to.
    struct Bus {
        int number;
        std::string name = "card bus";
    };

    std::vector<Connector> connectors;
    std::vector<Bus> buses;

    /// Numbers of all buses.
    std::vector<int> busNumbers() const;
    /// A tree that stands for /sys. Replaces what was there.
    void writeTo(const std::filesystem::path& sysRoot) const;
    std::string asDeviceText() const;

    static constexpr const char* cardPath = "/devices/pci0000:00/0000:00:02.0";
};

/// A directory that goes with its owner.
class TemporaryDirectory {
public:
    TemporaryDirectory();
    ~TemporaryDirectory();
    TemporaryDirectory(const TemporaryDirectory&) = delete;
    TemporaryDirectory& operator=(const TemporaryDirectory&) = delete;

    const std::filesystem::path& path() const { return path_; }

private:
    std::filesystem::path path_;
};

} // namespace quenstal
