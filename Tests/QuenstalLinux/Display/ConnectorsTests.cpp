#include "EmulatedMonitor/MachineFixture.hpp"
#include "QuenstalLinux/Display/Connectors.hpp"
#include "QuenstalLinux/Display/Edid.hpp"
#include "QuenstalLinux/Display/KnownBuses.hpp"
#include "QuenstalSimulation/SimulatedMonitor.hpp"

#include <algorithm>
#include <fstream>
#include <map>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include <fnmatch.h>
#include <gtest/gtest.h>

namespace quenstal {
namespace {

using Link = MachineFixture::Link;
using Bytes = std::vector<std::uint8_t>;

Bytes edidOf(const MonitorDescription& description)
{
    const SimulatedMonitor::Edid edid = SimulatedMonitor(description).edid();
    return {edid.begin(), edid.end()};
}

const Bytes edid = edidOf({.name = "Wide 34", .manufacturer = "ABC", .product = 0x1234});

struct DisplayConnectorsTest : testing::Test {
    std::vector<Connector> read(const MachineFixture& machine)
    {
        machine.writeTo(directory.path());
        return readConnectors(directory.path());
    }

    /// "name bus", in order.
    std::vector<std::string> namesAndBuses(const MachineFixture& machine)
    {
        std::vector<std::string> result;
        for (const Connector& connector : read(machine))
            result.push_back(connector.name + " " + connector.bus);
        return result;
    }

    std::filesystem::path connectorFile(const std::string& name, const std::string& file) const
    {
        return directory.path() / "class/drm" / ("card0-" + name) / file;
    }

    std::filesystem::path cardFile(const std::string& file) const
    {
        return directory.path() / MachineFixture::cardPath().substr(1) / file;
    }

    void rename(int bus, const std::string& name) const
    {
        std::ofstream(directory.path() / "bus/i2c/devices" / ("i2c-" + std::to_string(bus)) / "name") << name << "\n";
    }

    TemporaryDirectory directory;
};

using Names = std::vector<std::string>;

TEST_F(DisplayConnectorsTest, theBusIsTheAuxiliaryChildElseTheLink)
{
    EXPECT_EQ(namesAndBuses({{{"DP-1", Link::auxiliary, 4}, {"HDMI-A-1", Link::ddc, 5}, {"DP-2", Link::ddc, 6},
                                 {"DVI-D-1", Link::ddc, 7}, {"DP-3"}},
                  {}}),
        (Names{"card0-DP-1 i2c-4", "card0-DP-2 i2c-6", "card0-DP-3 ", "card0-DVI-D-1 i2c-7", "card0-HDMI-A-1 i2c-5"}));
}

TEST_F(DisplayConnectorsTest, onlyConnectedConnectorsThatCanHaveAMonitorCount)
{
    EXPECT_EQ(namesAndBuses({{{"DP-1", Link::ddc, 1, edid, "disconnected"}, {"DP-2", Link::ddc, 2, edid, "unknown"},
                                 {"DP-3", Link::ddc, 3, edid, ""}, {"Writeback-1", Link::ddc, 4},
                                 {"Virtual-1", Link::ddc, 5}, {"DP-4", Link::ddc, 6}},
                  {}}),
        Names{"card0-DP-4 i2c-6"});
}

TEST_F(DisplayConnectorsTest, theOrderIsThatOfTheNumbers)
{
    EXPECT_EQ(namesAndBuses({{{"HDMI-A-2"}, {"DP-10"}, {"HDMI-A-1"}, {"DP-2"}}, {}}),
        (Names{"card0-DP-2 ", "card0-DP-10 ", "card0-HDMI-A-1 ", "card0-HDMI-A-2 "}));
}

struct InternalRow {
    const char* name;
    bool isInternal;
};

TEST_F(DisplayConnectorsTest, panelsInsideTheMachineAreTold)
{
    const std::vector<InternalRow> rows{
        {"eDP-1", true},
        {"LVDS-1", true},
        {"DSI-1", true},
        {"DPI-1", true},
        {"DP-1", false},
        {"HDMI-A-1", false},
        {"DVI-I-1", false},
        {"VGA-1", false},
    };
    for (const InternalRow& row : rows) {
        SCOPED_TRACE(row.name);
        EXPECT_EQ(read({{{row.name}}, {}}).at(0).isInternal, row.isInternal);
    }
}

TEST_F(DisplayConnectorsTest, aMonitorIsKnownByItsEdid)
{
    const Connector connector = read({{{"DP-1", Link::ddc, 1, edid}}, {}}).at(0);
    // "ABC" is 0x0443, the high byte first.
    EXPECT_EQ(connector.identity, (MonitorIdentity{"Wide 34", 0x4304, 0x1234}));
    EXPECT_EQ(connector.title(), "Wide 34");
    EXPECT_EQ(connector.card(), "card0");
}

TEST_F(DisplayConnectorsTest, anEdidThatIsTruncatedOrDoesNotAddUpIdentifiesNobody)
{
    Bytes changed = edid;
    changed[20] ^= 1;
    for (const Bytes& broken : {Bytes{}, Bytes(edid.begin(), edid.begin() + 127), changed, Bytes(256, 0xFF)}) {
        const Connector connector = read({{{"DP-1", Link::ddc, 1, broken}}, {}}).at(0);
        EXPECT_EQ(connector.identity, MonitorIdentity{});
        EXPECT_EQ(connector.title(), "card0-DP-1");
        EXPECT_EQ(connector.bus, "i2c-1") << "it may still be asked";
    }
}

TEST_F(DisplayConnectorsTest, missingAndOddFilesLeaveTheirFieldEmpty)
{
    const MachineFixture machine{{{"DP-1", Link::ddc, 1, edid}}, {}};
    machine.writeTo(directory.path());
    std::filesystem::remove(connectorFile("DP-1", "edid"));
    std::filesystem::remove(connectorFile("DP-1", "ddc"));
    std::filesystem::create_symlink("nowhere", connectorFile("DP-1", "ddc"));
    const Connector connector = readConnectors(directory.path()).at(0);
    EXPECT_EQ(connector.edid, Bytes{});
    EXPECT_EQ(connector.bus, "");

    std::filesystem::remove(connectorFile("DP-1", "status"));
    EXPECT_TRUE(readConnectors(directory.path()).empty());
    EXPECT_TRUE(readConnectors(directory.path() / "nothing here").empty());
    EXPECT_TRUE(unclaimedBuses(directory.path() / "nothing here").empty());
}

TEST_F(DisplayConnectorsTest, aLinkToSomethingThatIsNoBusIsNone)
{
    const MachineFixture machine{{{"DP-1"}}, {}};
    machine.writeTo(directory.path());
    for (const char* target : {"i2c-", "i2c-5x", "not-a-bus"}) {
        std::filesystem::create_directories(directory.path() / target);
        std::filesystem::remove(connectorFile("DP-1", "ddc"));
        std::filesystem::create_symlink(directory.path() / target, connectorFile("DP-1", "ddc"));
        EXPECT_EQ(readConnectors(directory.path()).at(0).bus, "") << target;
    }
}

TEST_F(DisplayConnectorsTest, aBusThatIsNotKnownIsNamedAndNotTheConnectors)
{
    const MachineFixture machine{{{"DP-1", Link::auxiliary, 1, edid}, {"HDMI-A-1", Link::ddc, 2, edid}}, {}};
    machine.writeTo(directory.path());
    rename(1, "some new bus");
    rename(2, "");
    const std::vector<Connector> connectors = readConnectors(directory.path());
    EXPECT_EQ(connectors.at(0).bus, "");
    EXPECT_EQ(connectors.at(0).leftAlone, Names{"i2c-1 (some new bus)"});
    EXPECT_EQ(connectors.at(1).bus, "");
    EXPECT_EQ(connectors.at(1).leftAlone, Names{"i2c-2 ()"});
}

TEST_F(DisplayConnectorsTest, onlyBusesThatNoConnectorClaimsAreOnesToSearch)
{
    const MachineFixture machine{{{"eDP-1", Link::auxiliary, 1, edid}, {"DP-1", Link::ddc, 2, {}, "disconnected"},
                                     {"DP-2", Link::none, -1, edid}},
        {{3, "Synopsys DesignWare I2C adapter"}, {12}, {4, "DPMST", 1}}};
    machine.writeTo(directory.path());
    EXPECT_EQ(unclaimedBuses(directory.path()),
        (std::vector<CardBus>{{"i2c-3", "Synopsys DesignWare I2C adapter", "card0", false},
            {"i2c-4", "DPMST", "card1", true}, {"i2c-12", "DPMST", "card0", true},
            {"i2c-90", "AMDGPU SMU 0", "card0", false}, {"i2c-91", "AMDGPU DM i2c OEM bus", "card0", false}}));

    std::filesystem::remove_all(cardFile("drm"));
    EXPECT_EQ(unclaimedBuses(directory.path()).size(), 1u) << "not below a graphics card";
}

TEST_F(DisplayConnectorsTest, aConnectorWithTwoBusesClaimsBoth)
{
    const MachineFixture machine{{{"eDP-1", Link::auxiliary, 1, edid}}, {{2, "AMDGPU DM i2c hw bus 2"}}};
    machine.writeTo(directory.path());
    ASSERT_EQ(unclaimedBuses(directory.path()).front().device, "i2c-2");
    std::filesystem::create_symlink(directory.path() / "bus/i2c/devices/i2c-2", connectorFile("eDP-1", "ddc"));
    EXPECT_EQ(readConnectors(directory.path()).at(0).bus, "i2c-1");
    EXPECT_EQ(unclaimedBuses(directory.path()).front().device, "i2c-90");
}

TEST_F(DisplayConnectorsTest, aBusIsKnownByItsDriverToo)
{
    const MachineFixture machine{{{"DP-1", Link::ddc, 1, edid}}, {}};
    machine.writeTo(directory.path());
    EXPECT_EQ(readConnectors(directory.path()).at(0).bus, "i2c-1");
    std::filesystem::remove(cardFile("driver"));
    EXPECT_EQ(readConnectors(directory.path()).at(0).bus, "") << "no driver";
    std::filesystem::create_symlink("nowhere/i915", cardFile("driver"));
    EXPECT_EQ(readConnectors(directory.path()).at(0).bus, "") << "another driver";
}

struct NamedBus {
    bool hasDisplay = false;
    std::string driver;
    std::string name;
};

std::vector<NamedBus> namedBuses()
{
    std::ifstream file(QUENSTAL_BUSES);
    std::vector<NamedBus> buses;
    for (std::string line; std::getline(file, line);) {
        std::istringstream words(line);
        std::string answer;
        NamedBus bus;
        words >> answer >> bus.driver >> std::ws;
        std::getline(words, bus.name);
        bus.hasDisplay = answer == "yes";
        if (answer != "#")
            buses.push_back(std::move(bus));
    }
    return buses;
}

TEST(KnownBusesTest, theNamesOfKernelsAreToldApart)
{
    ASSERT_FALSE(namedBuses().empty());
    for (const NamedBus& bus : namedBuses())
        EXPECT_EQ(leadsToDisplay(bus.driver, bus.name), bus.hasDisplay) << bus.driver << ": " << bus.name;
    EXPECT_FALSE(leadsToDisplay("", ""));
}

TEST(KnownBusesTest, everyRowHasAnExample)
{
    const std::vector<NamedBus> examples = namedBuses();
    for (const KnownBus& known : knownBuses()) {
        const auto isExample = [&known](const NamedBus& bus) {
            return bus.driver == known.driver && ::fnmatch(known.name, bus.name.c_str(), 0) == 0;
        };
        EXPECT_TRUE(std::ranges::any_of(examples, isExample)) << known.driver << ": " << known.name;
    }
}

TEST(KnownBusesTest, theRuleOfTheDeviceManagerIsAboutTheSameBuses)
{
    std::map<std::string, std::string> names;
    for (const KnownBus& known : knownBuses()) {
        std::string& ofDriver = names[known.driver];
        ofDriver += (ofDriver.empty() ? "" : "|") + std::string(known.name);
    }
    std::set<std::string> expected;
    for (const auto& [driver, pattern] : names)
        expected.insert(
            R"(SUBSYSTEM=="i2c-dev", DRIVERS==")" + driver + R"(", ATTR{name}==")" + pattern + R"(", TAG+="uaccess")");
    std::set<std::string> rules;
    std::ifstream file(QUENSTAL_I2C_RULE);
    for (std::string line; std::getline(file, line);)
        if (!line.starts_with("#"))
            rules.insert(line);
    EXPECT_EQ(rules, expected);
}

TEST_F(DisplayConnectorsTest, withoutTheKernelModuleThereAreNoDevices)
{
    const MachineFixture machine{{{"DP-1", Link::ddc, 1, edid}}, {}};
    machine.writeTo(directory.path());
    EXPECT_TRUE(hasI2CDevices(directory.path()));
    std::filesystem::remove_all(directory.path() / "class/i2c-dev");
    EXPECT_FALSE(hasI2CDevices(directory.path()));
}

struct IdentityRow {
    const char* what;
    MonitorIdentity a;
    MonitorIdentity b;
    bool isSame;
};

TEST(MonitorIdentityTest, somethingMustBeEqualAndNothingMayDiffer)
{
    const std::vector<IdentityRow> rows{
        {"all equal", {"A", 1, 2}, {"A", 1, 2}, true},
        {"by name alone", {"A", {}, {}}, {"A", 1, 2}, true},
        {"by numbers alone", {"", 1, 2}, {"A", 1, 2}, true},
        {"another name", {"B", 1, 2}, {"A", 1, 2}, false},
        {"another maker", {"A", 3, 2}, {"A", 1, 2}, false},
        {"another product", {"A", 1, 3}, {"A", 1, 2}, false},
        {"nothing known", {"", {}, {}}, {"A", 1, 2}, false},
        {"nothing in common", {"A", {}, {}}, {"", 1, 2}, false},
    };
    for (const IdentityRow& row : rows) {
        SCOPED_TRACE(row.what);
        EXPECT_EQ(describeSameMonitor(row.a, row.b), row.isSame);
        EXPECT_EQ(describeSameMonitor(row.b, row.a), row.isSame);
    }
}

} // namespace
} // namespace quenstal
