// The program's own calls on real device nodes and a real /sys, which an emulation answers; `ddcutil` is the witness.

#include "EmulatedMonitor/EmulatedMachine.hpp"
#include "QuenstalDDC/DDC.hpp"
#include "QuenstalLinux/Display/LinuxMonitors.hpp"
#include "QuenstalSimulation/SimulatedRunLoop.hpp"
#include "Support/BusRules.hpp"

#include <array>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <memory>
#include <thread>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace quenstal {
namespace {

using namespace std::chrono_literals;
using Link = MachineFixture::Link;
using Monitor = std::shared_ptr<SimulatedMonitor>;

Monitor monitorNamed(const std::string& name, std::uint16_t product, const MonitorQuirks& quirks = {})
{
    return std::make_shared<SimulatedMonitor>(MonitorDescription{.name = name, .product = product, .quirks = quirks});
}

std::vector<std::uint8_t> edidOf(const Monitor& monitor)
{
    return {monitor->edid().begin(), monitor->edid().end()};
}

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

bool hasWitness()
{
    return std::system("command -v ddcutil >/dev/null") == 0;
}

struct DisplayEmulatedTest : testing::Test {
    void SetUp() override
    {
        if (!EmulatedMachine::isPossible())
            GTEST_SKIP() << "run it with umockdev-wrapper";
    }

    void TearDown() override
    {
        monitors.reset();
        if (!emulation || hasOtherProgram)
            return; // Its transactions are in the journals, too.
        EXPECT_THAT(emulation->forbiddenBusesOpened(), testing::IsEmpty());
        EXPECT_TRUE(panel->journal().empty()) << "a panel inside the machine was probed";
        for (const Monitor& one : {monitor, other})
            expectBusRules(*one);
    }

    void emulate(const MachineFixture& machine, EmulatedMachine::Monitors behind)
    {
        emulation = std::make_unique<EmulatedMachine>(machine, std::move(behind));
    }

    void emulateOne()
    {
        emulate({{{"eDP-1", Link::auxiliary, 3, edidOf(panel)}, {"HDMI-A-1", Link::ddc, 5, edidOf(monitor)}}, {}},
            {{3, panel}, {5, monitor}});
    }

    void start()
    {
        monitors = std::make_unique<LinuxMonitors>(loop, [this] { return playing; });
    }

    QSDDCVolume read()
    {
        QSDDCVolume volume;
        QSDDCReadSpeakerVolume(monitors->buses(), &volume);
        return volume;
    }

    /// A busy machine may need longer than the first call waits.
    QSDDCVolume startAndRead(bool isThere = true)
    {
        start();
        QSDDCVolume volume = read();
        if (isThere)
            turnUntil([&] { return (volume = read()).maximum > 0; });
        return volume;
    }

    /// After a Set the monitor answers nobody, another program as little as this one.
    void letMonitorRest()
    {
        const auto rested = std::chrono::steady_clock::now() + 60ms;
        turnUntil([rested] { return std::chrono::steady_clock::now() >= rested; });
    }

    /// Turns the run loop, in real time, until something is so; false after five seconds.
    bool turnUntil(const std::function<bool()>& isSo)
    {
        const auto limit = std::chrono::steady_clock::now() + 5s;
        while (!isSo() && std::chrono::steady_clock::now() < limit) {
            std::this_thread::sleep_for(2ms);
            loop.advance(2ms);
        }
        return isSo();
    }

    const Monitor monitor = monitorNamed("Simulated 27", 0x1234);
    const Monitor other = monitorNamed("Simulated 32", 0x4321);
    const Monitor panel = monitorNamed("Panel", 1, {.isDeaf = true});
    SimulatedRunLoop loop;
    std::optional<MonitorIdentity> playing;
    bool hasOtherProgram = false;
    std::unique_ptr<EmulatedMachine> emulation;
    std::unique_ptr<LinuxMonitors> monitors;
};

struct LayoutRow {
    const char* what;
    MachineFixture machine;
    EmulatedMachine::Monitors behind;
    bool isFound;
};

TEST_F(DisplayEmulatedTest, theMonitorIsFoundHoweverTheDriverLinksIt)
{
    const auto edid = edidOf(monitor);
    const MachineFixture::Connector inside{"eDP-1", Link::auxiliary, 3, edidOf(panel)};
    const std::vector<LayoutRow> rows{
        {"HDMI by its link", {{inside, {"HDMI-A-1", Link::ddc, 5, edid}}, {}}, {{3, panel}, {5, monitor}}, true},
        {"DP by its child", {{inside, {"DP-1", Link::auxiliary, 5, edid}}, {}}, {{3, panel}, {5, monitor}}, true},
        {"DP by its link", {{inside, {"DP-1", Link::ddc, 5, edid}}, {}}, {{3, panel}, {5, monitor}}, true},
        {"MST by EDID",
            {{inside, {"DP-1", Link::auxiliary, 4, {}, "disconnected"}, {"DP-5", Link::none, -1, edid}}, {{7}, {8}}},
            {{3, panel}, {7, other}, {8, monitor}}, true},
        {"no link at all", {{{"HDMI-A-1", Link::none, -1, edid}}, {{2, "AMDGPU SMU 1"}, {6}}}, {{6, monitor}}, true},
        {"on an unknown bus only", {{{"HDMI-A-1", Link::none, -1, edid}}, {{2, "AMDGPU SMU 1"}}}, {{2, monitor}},
            false},
        {"a panel inside the machine alone", {{inside}, {}}, {{3, panel}}, false},
    };
    for (const LayoutRow& row : rows) {
        SCOPED_TRACE(row.what);
        emulation.reset();
        emulate(row.machine, row.behind);
        const std::size_t messages = monitor->messages();
        EXPECT_EQ(startAndRead(row.isFound), row.isFound ? (QSDDCVolume{37, 100}) : QSDDCVolume{});
        monitors.reset();
        EXPECT_EQ(monitor->messages() > messages, row.isFound);
        EXPECT_THAT(emulation->forbiddenBusesOpened(), testing::IsEmpty());
    }
    EXPECT_TRUE(other->journal().empty()) << "a bus without a connector was probed";
}

TEST_F(DisplayEmulatedTest, whatOneProgramWritesTheOtherReads)
{
    if (!hasWitness())
        GTEST_SKIP() << "ddcutil is missing";
    hasOtherProgram = true;
    emulateOne();
    EXPECT_NE(outputOf("ddcutil detect 2>/dev/null").find("Simulated 27"), std::string::npos);

    startAndRead();
    EXPECT_TRUE(QSDDCSetSpeakerVolume(monitors->buses(), 40));
    monitors.reset();
    letMonitorRest();
    EXPECT_EQ(outputOf("ddcutil --brief getvcp 62 2>/dev/null"), "VCP 62 CNC x00 x64 x00 x28\n");

    outputOf("ddcutil setvcp 62 55 2>/dev/null");
    EXPECT_EQ(monitor->volume(), 55);
    EXPECT_EQ(startAndRead(), (QSDDCVolume{55, 100}));
}

TEST_F(DisplayEmulatedTest, twoProgramsAtOnceDoNotDisturbEachOther)
{
    if (!hasWitness())
        GTEST_SKIP() << "ddcutil is missing";
    hasOtherProgram = true;
    // The other program gives up at once when a monitor rests.
    monitor->setQuirks({.busyAfterSet = {}});
    emulateOne();
    startAndRead();
    std::string seen;
    std::thread witness([&seen] { seen = outputOf("ddcutil --brief getvcp 62 2>/dev/null"); });
    for (std::uint32_t value = 38; value <= 60; ++value) {
        EXPECT_TRUE(QSDDCSetSpeakerVolume(monitors->buses(), value));
        turnUntil([this, until = loop.steadyNow() + 20ms] { return loop.steadyNow() >= until; });
    }
    witness.join();
    EXPECT_TRUE(turnUntil([this] { return monitor->volume() == 60; }));
    EXPECT_NE(seen.find("VCP 62 "), std::string::npos) << seen;
}

TEST_F(DisplayEmulatedTest, theMonitorThatPlaysGetsTheVolume)
{
    emulate({{{"DP-1", Link::auxiliary, 5, edidOf(monitor)}, {"HDMI-A-1", Link::ddc, 6, edidOf(other)}}, {}},
        {{5, monitor}, {6, other}});
    playing = MonitorIdentity{"Simulated 32", {}, 0x4321};
    startAndRead();
    EXPECT_TRUE(QSDDCSetSpeakerVolume(monitors->buses(), 12));
    EXPECT_TRUE(turnUntil([this] { return other->volume() == 12; }));
    EXPECT_EQ(monitor->volume(), 37);
}

TEST_F(DisplayEmulatedTest, pluggingInAndOutIsNoticed)
{
    emulate({{{"HDMI-A-1", Link::ddc, 5, edidOf(monitor), "disconnected"}}, {}}, {{5, monitor}});
    start();
    EXPECT_EQ(read(), QSDDCVolume{});
    int refreshes = 0;
    const Cancellation observation = monitors->watch().observeChanges([&] { ++refreshes; });
    emulation->setStatus("HDMI-A-1", "connected");
    EXPECT_TRUE(turnUntil([&] { return refreshes > 0 && read().maximum == 100; }));
    emulation->setStatus("HDMI-A-1", "disconnected");
    EXPECT_TRUE(turnUntil([&] { return read().maximum == 0; }));
}

TEST_F(DisplayEmulatedTest, aStormOfEventsIsSurvived)
{
    emulateOne();
    startAndRead();
    for (int event = 0; event < 40; ++event) {
        emulation->announceHotplug();
        loop.runUntilIdle();
    }
    EXPECT_TRUE(turnUntil([this] { return getsAsked(*monitor) > 1; }));
    EXPECT_TRUE(turnUntil([this] { return read().maximum == 100; }));
    EXPECT_LE(getsAsked(*monitor), 5);
}

TEST_F(DisplayEmulatedTest, aDriverWithoutMessagesIsServedByPlainReadsAndWrites)
{
    // The real calls, with the one that such a driver refuses.
    class WithoutMessages final : public I2CDevices {
    public:
        int open(const std::string& path, int& descriptor) override { return system_.open(path, descriptor); }
        void close(int descriptor) override { system_.close(descriptor); }
        int lock(int descriptor) override { return system_.lock(descriptor); }
        void unlock(int descriptor) override { system_.unlock(descriptor); }
        int write(int, Address, std::span<const std::uint8_t>) override { return EINVAL; }
        int read(int, Address, std::span<std::uint8_t>) override { return EINVAL; }
        int choose(int descriptor, Address address) override { return system_.choose(descriptor, address); }
        int writeChosen(int descriptor, std::span<const std::uint8_t> bytes) override
        {
            return system_.writeChosen(descriptor, bytes);
        }
        int readChosen(int descriptor, std::span<std::uint8_t> bytes) override
        {
            return system_.readChosen(descriptor, bytes);
        }

    private:
        SystemI2CDevices system_;
    };
    emulateOne();
    DisplayMachine machine;
    machine.devices = std::make_shared<WithoutMessages>();
    monitors = std::make_unique<LinuxMonitors>(loop, nullptr, machine);
    EXPECT_TRUE(turnUntil([this] { return read().maximum > 0; }));
    EXPECT_TRUE(QSDDCSetSpeakerVolume(monitors->buses(), 21));
    EXPECT_TRUE(turnUntil([this] { return monitor->volume() == 21; }));
}

} // namespace
} // namespace quenstal
