// A monitor behind the kernel's own I2C devices, on an emulated machine: a USB adapter that answers, hangs and is
// pulled out. `ddcutil` is the witness.

#include "EmulatedMonitor/MachineFixture.hpp"
#include "Machine/Emulator.hpp"
#include "Machine/MachineLoop.hpp"
#include "Machine/UsbMonitor.hpp"
#include "QuenstalDDC/DDC.hpp"
#include "QuenstalLinux/Display/LinuxMonitors.hpp"
#include "Support/BusRules.hpp"

#include <array>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

namespace quenstal {
namespace {

using namespace std::chrono_literals;
using Kind = DisplayBusProblem::Kind;
using Link = MachineFixture::Link;

/// What a command prints; its status does not matter here.
std::string outputOf(const std::string& command)
{
    const std::unique_ptr<std::FILE, int (*)(std::FILE*)> pipe(::popen(command.c_str(), "r"), ::pclose);
    std::string output;
    std::array<char, 256> part{};
    while (pipe && std::fgets(part.data(), part.size(), pipe.get()))
        output += part.data();
    return output;
}

/// Whether some thread of this process waits within the kernel, out of reach of every signal.
bool isStuckInTheKernel()
{
    for (const auto& thread : std::filesystem::directory_iterator("/proc/self/task")) {
        std::ifstream file(thread.path() / "stat");
        const std::string line{std::istreambuf_iterator<char>(file), {}};
        if (line.find(") D ") != std::string::npos)
            return true;
    }
    return false;
}

struct MachineMonitorTest : testing::Test {
    static void SetUpTestSuite()
    {
        if (!Emulator::isPresent())
            return;
        loadModules("vhci-hcd i2c-tiny-usb i2c-dev");
        powerController = std::make_unique<UsbMonitor>(powerChip);
        powerBus = powerController->bus();
    }

    static void TearDownTestSuite() { powerController.reset(); }

    void SetUp() override
    {
        if (!Emulator::isPresent())
            GTEST_SKIP() << "runs on an emulated machine";
        plugIn();
        writeCard({{"HDMI-A-1", Link::ddc, bus, edidOf(*monitor)}});
        start();
        ASSERT_TRUE(loop.runUntil([this] { return read().maximum > 0; }));
    }

    void TearDown() override
    {
        monitors.reset();
        adapter.reset();
        EXPECT_TRUE(loop.runUntil([this] { return !hasNode(); }));
        EXPECT_EQ(powerChip->messages(), 0u) << "the card's power controller was touched";
    }

    /// No driver of a graphics card has these buses: a card that says so is made up.
    void writeCard(std::vector<MachineFixture::Connector> connectors) const
    {
        MachineFixture(std::move(connectors), {{powerBus, "AMDGPU SMU 1"}}).writeTo(sysfs.path());
    }

    void plugIn()
    {
        adapter = std::make_unique<UsbMonitor>(monitor);
        bus = adapter->bus();
    }

    void start()
    {
        DisplayMachine machine;
        machine.sysRoot = sysfs.path();
        monitors = std::make_unique<LinuxMonitors>(loop, nullptr, machine);
    }

    static std::vector<std::uint8_t> edidOf(const SimulatedMonitor& one)
    {
        return {one.edid().begin(), one.edid().end()};
    }
    std::string node() const { return "/dev/i2c-" + std::to_string(bus); }
    bool hasNode() const { return std::filesystem::exists(node()); }

    QSDDCVolume read()
    {
        QSDDCVolume volume;
        QSDDCReadSpeakerVolume(monitors->buses(), &volume);
        return volume;
    }
    bool set(std::uint32_t value) { return QSDDCSetSpeakerVolume(monitors->buses(), value); }

    bool hasProblem(Kind kind)
    {
        const auto problems = monitors->watch().problems();
        return !problems.empty() && problems.front().kind == kind;
    }

    static inline const auto powerChip = std::make_shared<SimulatedMonitor>(MonitorDescription{.name = "Power"});
    static inline std::unique_ptr<UsbMonitor> powerController;
    static inline int powerBus = -1;

    const std::shared_ptr<SimulatedMonitor> monitor = std::make_shared<SimulatedMonitor>();
    TemporaryDirectory sysfs;
    MachineLoop loop;
    std::unique_ptr<UsbMonitor> adapter;
    int bus = -1;
    std::unique_ptr<LinuxMonitors> monitors;
};

TEST_F(MachineMonitorTest, theVolumeIsReadAndWrittenThroughTheKernelsOwnDriver)
{
    EXPECT_EQ(read(), (QSDDCVolume{37, 100}));
    for (std::uint32_t value = 38; value <= 60; ++value)
        EXPECT_TRUE(set(value));
    EXPECT_TRUE(loop.runUntil([this] { return monitor->volume() == 60; }));
    expectBusRules(*monitor);
}

TEST_F(MachineMonitorTest, theCardsPowerControllerIsLeftAloneWhateverIsLookedFor)
{
    // Whoever asked it would find the very monitor that is missing.
    writeCard({{"HDMI-A-1", Link::ddc, bus, edidOf(*monitor)}, {"HDMI-A-2", Link::none, -1, edidOf(*powerChip)}});
    monitors.reset();
    start();
    EXPECT_TRUE(loop.runUntil([this] { return hasProblem(Kind::unknownBuses); }));
    EXPECT_TRUE(loop.runUntil([this] { return read().maximum > 0; }));
}

TEST_F(MachineMonitorTest, whatOneProgramWritesTheOtherReads)
{
    const std::string witness = "ddcutil --bus " + std::to_string(bus);
    if (outputOf("command -v ddcutil").empty())
        GTEST_SKIP() << "ddcutil is missing";
    EXPECT_TRUE(set(40));
    EXPECT_TRUE(loop.runUntil([this] { return monitor->volume() == 40; }));
    monitors.reset();
    EXPECT_EQ(outputOf(witness + " --brief getvcp 62 2>&1"), "VCP 62 CNC x00 x64 x00 x28\n");
    outputOf(witness + " setvcp 62 55 2>&1");
    EXPECT_EQ(monitor->volume(), 55);
    start();
    EXPECT_TRUE(loop.runUntil([this] { return read() == QSDDCVolume{55, 100}; }));
}

TEST_F(MachineMonitorTest, anAdapterPulledOutWhileInUseGoesAndItsReturnIsNoticed)
{
    EXPECT_TRUE(set(50));
    adapter.reset();
    // The kernel keeps an adapter for as long as a program holds its node open.
    EXPECT_TRUE(loop.runUntil([this] { return !hasNode(); }));
    EXPECT_TRUE(loop.runUntil([this] { return read().maximum == 0; }));
    EXPECT_FALSE(set(51));
    EXPECT_TRUE(loop.runUntil([this] { return hasProblem(Kind::notAnswering); }));
    const int before = bus;
    plugIn();
    ASSERT_EQ(bus, before);
    EXPECT_TRUE(loop.runUntil([this] { return read().maximum == 100; }));
    EXPECT_TRUE(set(52));
    EXPECT_TRUE(loop.runUntil([this] { return monitor->volume() == 52; }));
}

TEST_F(MachineMonitorTest, aDriverThatHangsHoldsUpNeitherTheKeysNorTheEnd)
{
    adapter->hang(true);
    set(50);
    ASSERT_TRUE(loop.runUntil([this] { return adapter->isHanging() && isStuckInTheKernel(); }));
    for (std::uint32_t value = 51; value <= 70; ++value) {
        read();
        set(value);
    }
    EXPECT_TRUE(loop.runUntil([this] { return hasProblem(Kind::stuck); }));
    // The message that hung before the first of them still does.
    EXPECT_TRUE(adapter->isHanging());
    monitors.reset();
    EXPECT_TRUE(adapter->isHanging());
    EXPECT_TRUE(isStuckInTheKernel());
}

TEST_F(MachineMonitorTest, aHangThatPassesIsRecoveredFrom)
{
    adapter->hang(true);
    set(50);
    ASSERT_TRUE(loop.runUntil([this] { return adapter->isHanging(); }));
    EXPECT_TRUE(loop.runUntil([this] { return hasProblem(Kind::stuck); }));
    adapter->hang(false);
    EXPECT_TRUE(loop.runUntil([this] { return read().maximum == 100 && monitors->watch().problems().empty(); }));
    EXPECT_TRUE(set(53));
    EXPECT_TRUE(loop.runUntil([this] { return monitor->volume() == 53; }));
}

} // namespace
} // namespace quenstal
