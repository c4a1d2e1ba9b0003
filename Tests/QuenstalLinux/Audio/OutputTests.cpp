#include "AudioSessionTest.hpp"
#include "QuenstalApp/PresentableText.hpp"
#include "QuenstalLinux/Audio/ServerLimits.hpp"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cmath>
#include <string>
#include <utility>
#include <vector>

namespace quenstal {
namespace {

struct OutputTest : AudioSessionTest {
    /// Plugged in, and at the volume that the session manager gives it, which is not the card's own.
    AudioOutputDevice plugInUsb()
    {
        const AudioOutputDevice device = plugInDefault("usb", usbUID);
        EXPECT_TRUE(waitForLevel(device, [](double level) { return level < 0.999; }));
        // What is to be told about that is told now.
        bool told = false;
        loop.post([&] { told = true; });
        EXPECT_TRUE(loop.runUntil([&] { return told; }));
        return defaultOutput().value_or(device);
    }
    /// By another program, which asks the card nothing. One that did and went before the answer, as wpctl may on a busy
    /// machine, would have the server answer everyone with what was before.
    void changeElsewhere(const std::string& properties)
    {
        const std::uint32_t card = parts->graph.graph().devices.begin()->first;
        outputOf("pw-cli set-param " + std::to_string(card) + " Route '{ index: 0, device: 0, props: { " + properties
            + " } }'");
    }
    static PipeWireProxy<pw_node> makeNode(PipeWireConnection& program, const char* mediaClass, const std::string& name)
    {
        const std::array<spa_dict_item, 3> items{{
            {"factory.name", "support.null-audio-sink"},
            {"media.class", mediaClass},
            {"node.name", name.c_str()},
        }};
        const spa_dict properties{0, items.size(), items.data()};
        return PipeWireProxy<pw_node>(static_cast<pw_node*>(
            pw_core_create_object(program.core(), "adapter", PW_TYPE_INTERFACE_Node, PW_VERSION_NODE, &properties, 0)));
    }
    bool waitForLevel(const AudioOutputDevice& device, const std::function<bool(double)>& fits)
    {
        return loop.runUntil(
            [&] { return defaultOutput()->supportsNativeVolume && fits(parts->system.readVolume(device).level); });
    }
};

TEST_F(OutputTest, aMonitorIsAnOutputOfFixedVolume)
{
    const AudioOutputDevice device = plugInDefault("monitor", monitorUID);
    EXPECT_EQ(device.name, "Simulated Monitor");
    EXPECT_EQ(device.transport, AudioTransport::hdmi);
    EXPECT_FALSE(device.supportsNativeVolume);
    EXPECT_THROW(parts->system.readVolume(device), QuenstalError);
    const auto object = static_cast<AudioObjectID>(std::stoul(device.id));
    const AudioPropertyAddress volume{AudioPropertySelector::volumeScalar, AudioPropertyScope::output, 1};
    float value = 0;
    EXPECT_EQ(parts->objects.getFloat32(object, volume, value), -ENOENT);
    EXPECT_EQ(parts->objects.setFloat32(object, volume, 0.5F), -ENOENT) << "and not that the output has gone";
}

TEST_F(OutputTest, everyOutputHasItsTransportAndItsVolume)
{
    const struct {
        const char* name;
        const char* uid;
        AudioTransport transport;
        bool nativeVolume;
    } rows[] = {
        {"builtin", "alsa_output.pci-0000_00_1f.3.analog-stereo", AudioTransport::builtIn, true},
        {"usb", usbUID, AudioTransport::usb, true},
        {"monitor2", secondMonitorUID, AudioTransport::hdmi, false},
    };
    for (const auto& row : rows) {
        const AudioOutputDevice device = plugInDefault(row.name, row.uid);
        // The card may be announced after the output.
        EXPECT_TRUE(loop.runUntil([&] { return defaultOutput()->transport == row.transport; })) << row.name;
        EXPECT_TRUE(loop.runUntil([&] { return defaultOutput()->supportsNativeVolume == row.nativeVolume; }))
            << row.name;
    }
}

TEST_F(OutputTest, theDefaultFollowsWhatIsPluggedInAndOut)
{
    int changes = 0;
    const auto watch = parts->objects.onOutputsChanged([&] { ++changes; });
    const AudioOutputDevice monitor = plugInDefault("monitor", monitorUID);
    EXPECT_GT(changes, 0);
    session("plug usb");
    session("unplug monitor");
    EXPECT_TRUE(waitForDefault(usbUID));
    session("unplug usb");
    EXPECT_TRUE(loop.runUntil([&] { return !defaultOutput(); })) << "the stand-in of the server is no output";
    EXPECT_THROW(parts->system.readVolume(monitor), QuenstalError);
    EXPECT_EQ(plugInDefault("monitor", monitorUID).id, monitor.id) << "the number goes with the name";
}

TEST_F(OutputTest, anEndlessDescriptionIsCut)
{
    EXPECT_EQ(plugInDefault("talkative", talkativeUID).name, std::string(longestName - 1, 'W') + "…");
}

TEST_F(OutputTest, anOutputWithAnEndlessNameIsNone)
{
    const AudioOutputDevice monitor = plugInDefault("monitor", monitorUID);
    session("plug endless");
    EXPECT_TRUE(loop.runUntil([&] { return !defaultOutput(); })) << "it is what the session manager prefers";
    session("unplug endless");
    EXPECT_TRUE(waitForDefault(monitorUID));
    EXPECT_EQ(defaultOutput()->id, monitor.id);
}

TEST_F(OutputTest, aStormOfOutputsIsTakenToAPointAndForgottenWhenItIsOver)
{
    const AudioOutputDevice monitor = plugInDefault("monitor", monitorUID);
    const auto sinks = [&] { return parts->graph.graph().sinks.size(); };
    const auto isThere = [&](const std::string& name) {
        return std::ranges::any_of(
            parts->graph.graph().others, [&](const auto& entry) { return entry.second.name == name; });
    };
    constexpr std::size_t many = 200;
    static_assert(many > ServerLimits::outputs);
    for (const std::string round : {"first", "second"}) {
        PipeWireConnection other(loop);
        std::vector<PipeWireProxy<pw_node>> storm;
        for (std::size_t i = 0; i < many; ++i)
            storm.push_back(makeNode(other, "Audio/Sink", round + std::to_string(i)));
        // Announced after all of them.
        storm.push_back(makeNode(other, "Audio/Source/Virtual", round));
        ASSERT_TRUE(loop.runUntil([&] { return isThere(round); }, std::chrono::seconds(30)));
        EXPECT_EQ(sinks(), ServerLimits::outputs);
    }
    ASSERT_TRUE(loop.runUntil([&] { return sinks() == 1; }, std::chrono::seconds(30)));
    EXPECT_TRUE(waitForDefault(monitorUID));
    EXPECT_EQ(defaultOutput()->id, monitor.id);
}

TEST_F(OutputTest, onlyTargetsOfStreamsThatAreThereAreRememberedAndOnlyShortOnes)
{
    plugInDefault("monitor", monitorUID);
    ProbePlayer player(loop, countedSample);
    const auto& graph = parts->graph.graph();
    const auto stream = [&] {
        return std::ranges::find_if(
            graph.others, [](const auto& entry) { return entry.second.mediaClass == "Stream/Output/Audio"; });
    };
    ASSERT_TRUE(loop.runUntil([&] { return stream() != graph.others.end(); }));
    const std::uint32_t number = stream()->first;
    parts->graph.setStreamTarget(999'999, StreamTarget{"Spa:Id", "1"});
    EXPECT_TRUE(graph.streamTargets.empty());
    parts->graph.setStreamTarget(number, StreamTarget{"", std::string(ServerLimits::value, 'x')});
    EXPECT_TRUE(graph.streamTargets.contains(number));
    parts->graph.setStreamTarget(number, StreamTarget{"", std::string(ServerLimits::value + 1, 'x')});
    EXPECT_TRUE(graph.streamTargets.empty());
}

TEST_F(OutputTest, theVolumeIsTheOneThatTheDesktopShows)
{
    const AudioOutputDevice device = plugInUsb();
    for (const auto& [level, shown] : {std::pair(0.5, "Volume: 0.50"), std::pair(0.25, "Volume: 0.25")}) {
        parts->system.setVolume({level, false}, device);
        EXPECT_NEAR(parts->system.readVolume(device).level, level, 1e-6) << "what was set is read at once";
        EXPECT_TRUE(loop.runUntil([&] { return outputOf("wpctl get-volume @DEFAULT_AUDIO_SINK@") == shown; }));
    }
    parts->system.setVolume({0.25, true}, device);
    EXPECT_TRUE(
        loop.runUntil([&] { return outputOf("wpctl get-volume @DEFAULT_AUDIO_SINK@") == "Volume: 0.25 [MUTED]"; }));
    EXPECT_TRUE(parts->system.readVolume(device).isMuted);
}

TEST_F(OutputTest, loudspeakersKeepTheirBalanceThroughAVolumeOfZero)
{
    const AudioOutputDevice device = plugInDefault("theatre", theatreUID);
    const auto sink = [&] { return parts->graph.graph().sinkNamed(theatreUID).value(); };
    const auto factors = [&] { return parts->graph.graph().sinks.at(sink()).volume->channels; };
    const std::vector<float> chosen{0.125F, 0.125F, 0.0625F, 0, 0.25F, 0.125F};
    outputOf("pw-cli set-param " + std::to_string(sink())
        + " Props '{ channelVolumes: [ 0.125, 0.125, 0.0625, 0.0, 0.25, 0.125 ] }'");
    ASSERT_TRUE(loop.runUntil([&] { return factors() == chosen; }));
    parts->system.setVolume({0, false}, device);
    ASSERT_TRUE(loop.runUntil([&] { return factors() == std::vector<float>(6, 0); }));
    parts->system.setVolume({0.5, false}, device);
    EXPECT_TRUE(loop.runUntil([&] { return factors() == chosen; })) << testing::PrintToString(factors());
}

TEST_F(OutputTest, aVolumeChangedElsewhereIsReportedAndReadOurOwnIsNot)
{
    const AudioOutputDevice device = plugInUsb();
    int reports = 0;
    const auto watch = parts->objects.onVolumeChangedElsewhere([&](AudioObjectID) { ++reports; });
    parts->system.setVolume({0.9, false}, device);
    loop.runUntil([&] { return outputOf("wpctl get-volume @DEFAULT_AUDIO_SINK@") == "Volume: 0.90"; });
    EXPECT_EQ(reports, 0);
    changeElsewhere("channelVolumes: [ 0.343, 0.343 ]");
    EXPECT_TRUE(loop.runUntil([&] { return reports > 0; }));
    EXPECT_TRUE(waitForLevel(device, [](double level) { return std::abs(level - 0.7) < 0.001; }));
    changeElsewhere("mute: true");
    EXPECT_TRUE(loop.runUntil([&] { return parts->system.readVolume(device).isMuted; }));
}

TEST_F(OutputTest, aCardThatChangesIsAskedOnceForItsMonitorHoweverOftenItTellsItsRoutes)
{
    struct RouteAnswers final : PipeWireGraph::Observer {
        void graphChanged(GraphChange change) override { count += change == GraphChange::volumes ? 1 : 0; }
        int count = 0;
    };
    plugInUsb();
    std::vector<std::pair<int, int>> asked;
    PipeWireGraph graph(parts->connection, loop, [&](int card, int device) {
        asked.emplace_back(card, device);
        return std::optional<Eld>();
    });
    RouteAnswers answers;
    graph.addObserver(answers);
    const auto route = [&]() -> const OutputRoute* {
        const auto sink = graph.graph().sinkNamed(usbUID);
        return sink ? graph.graph().routeOf(graph.graph().sinks.at(*sink)) : nullptr;
    };
    // The routes are asked for three times, and are told again each time.
    const auto change = [&](bool muted) {
        answers.count = 0;
        changeElsewhere(muted ? "mute: true" : "mute: false");
        return loop.runUntil([&] { return route() && route()->volume->muted == muted && answers.count >= 3; });
    };
    ASSERT_TRUE(change(true));
    asked.clear();
    ASSERT_TRUE(change(false));
    EXPECT_EQ(asked, (std::vector{std::pair(9, 0)}));
    graph.removeObserver(answers);
}

TEST_F(OutputTest, theServerIsWaitedForAndFoundAgain)
{
    const AudioOutputDevice monitor = plugInDefault("monitor", monitorUID);
    session("stop server");
    EXPECT_TRUE(loop.runUntil([&] { return !defaultOutput(); }));
    EXPECT_THROW(parts->software.setVolume({0.5, false}, monitor), QuenstalError);
    session("unplug monitor");
    parts = std::make_unique<Parts>(loop);
    EXPECT_EQ(defaultOutput(), std::nullopt) << "started without a server";
    session("stop manager");
    session("stop pulse");
    session("start server");
    session("start manager");
    session("start pulse");
    EXPECT_EQ(plugInDefault("monitor", monitorUID).name, "Simulated Monitor");
}

} // namespace
} // namespace quenstal
