#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

namespace quenstal {

/// Graphics cards with their connectors and buses, from which the kernel's view of them is made: as a directory, or as
/// the text that an emulation of devices reads. The first card has two buses besides that nobody may touch.
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
        int card = 0;
    };
    /// A bus of a card that no connector is linked to. Without another name it leads to a display.
    struct Bus {
        int number;
        std::string name = "DPMST";
        int card = 0;
    };

    std::vector<Connector> connectors;
    std::vector<Bus> buses;

    /// The power controller and the lights.
    static const std::vector<Bus>& forbiddenBuses();

    /// Numbers of all buses.
    std::vector<int> busNumbers() const;
    /// A tree that stands for /sys. Replaces what was there.
    void writeTo(const std::filesystem::path& sysRoot) const;
    std::string asDeviceText() const;

    static std::string cardPath(int card = 0);
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
