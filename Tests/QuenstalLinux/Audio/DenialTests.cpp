#include "AudioSessionTest.hpp"

#include <algorithm>
#include <cmath>
#include <functional>
#include <string>
#include <vector>

namespace quenstal {
namespace {

/// Another program of the same server takes this one's rights away, as a sandbox's guard would. The server then tells
/// of a refused request when it has been sent long ago.
struct DenialTest : AudioSessionTest {
    /// Bits of the server: what this program may do with an object.
    static constexpr int onlySee = 0400;
    static constexpr int doEverything = 0710;
    void setRights(std::uint32_t object, int rights)
    {
        const std::string complaint
            = outputOf("pw-cli permissions " + std::to_string(parts->connection.clientNumber().value()) + ' '
                + std::to_string(object) + ' ' + std::to_string(rights));
        EXPECT_EQ(complaint, "");
    }
    std::uint32_t numberOfTargets()
    {
        const std::string number = outputOf("pw-metadata -n default | sed -n 's/.*metadata //p'");
        return number.empty() ? SPA_ID_INVALID : static_cast<std::uint32_t>(std::stoul(number));
    }

    bool waitUntilNothingIsLeft()
    {
        return loop.runUntil([this] { return outputOf("pw-cli ls Node | grep quenstal.software || true").empty(); });
    }
    std::string errorOfSoftwareVolume(const AudioOutputDevice& device)
    {
        return errorOf([&] { parts->software.setVolume({0.5, false}, device); });
    }
};

TEST_F(DenialTest, aDeniedVolumeIsToldByTheNextCommandAndReadAsItIs)
{
    const AudioOutputDevice device = plugInDefault("usb", usbUID);
    // The volume that the session manager gives it comes last.
    ASSERT_TRUE(loop.runUntil(
        [&] { return defaultOutput()->supportsNativeVolume && parts->system.readVolume(device).level < 0.999; }));
    parts->system.setVolume({0.5, false}, device);
    ASSERT_TRUE(loop.runUntil([&] { return outputOf("wpctl get-volume @DEFAULT_AUDIO_SINK@") == "Volume: 0.50"; }));
    ASSERT_FALSE(parts->graph.graph().devices.empty());
    const std::uint32_t card = parts->graph.graph().devices.begin()->first;
    setRights(card, onlySee | 0100); // and ask it

    int reports = 0;
    const auto watch = parts->objects.onVolumeChangedElsewhere([&](AudioObjectID) { ++reports; });
    EXPECT_EQ(errorOf([&] { parts->system.setVolume({0.25, false}, device); }), "") << "nobody knows yet";
    EXPECT_TRUE(loop.runUntil([&] { return reports > 0; }));
    EXPECT_TRUE(loop.runUntil([&] { return std::abs(parts->system.readVolume(device).level - 0.5) < 1e-4; }));
    EXPECT_EQ(outputOf("wpctl get-volume @DEFAULT_AUDIO_SINK@"), "Volume: 0.50");
    EXPECT_EQ(errorOf([&] {
        parts->system.setVolume({0.25, false}, device);
    }),
        "Core Audio volume set failed with status -13.");

    setRights(card, doEverything);
    parts->system.setVolume({0.75, false}, device);
    EXPECT_TRUE(loop.runUntil([&] { return outputOf("wpctl get-volume @DEFAULT_AUDIO_SINK@") == "Volume: 0.75"; }));
}

constexpr const char* deniedText = "Core Audio process tap creation failed with status -13. Grant system audio "
                                   "recording access to Quenstal in System Settings, then relaunch.";

/// Who may not move streams, or may not make any, has no session; everyone else's sound stays on its direct path.
TEST_F(DenialTest, aDeniedSessionEndsAndLeavesTheSoundPlaying)
{
    const AudioOutputDevice device = plugInDefault("monitor", monitorUID);
    ProbeRecorder recorder(loop, monitorUID);
    ProbePlayer player(loop, countedSample);
    ASSERT_TRUE(waitForSound(recorder, 1));
    const struct {
        const char* what;
        std::uint32_t object;
        bool concernsSmartFilters;
    } rows[] = {
        {"moving streams", numberOfTargets(), false},
        {"making streams", PW_ID_CORE, true},
    };
    for (const auto& row : rows) {
        if (parts->graph.graph().insertsSmartFilters && !row.concernsSmartFilters)
            continue;
        std::vector<TapChange> changes;
        const auto watch
            = parts->taps.onTapChanged([&](AudioObjectID, TapChange change) { changes.push_back(change); });
        setRights(row.object, onlySee);
        EXPECT_EQ(errorOfSoftwareVolume(device), "") << row.what << ": nobody knows yet";
        EXPECT_TRUE(loop.runUntil([&] { return std::ranges::find(changes, TapChange::ended) != changes.end(); }))
            << row.what;
        EXPECT_EQ(parts->software.readLevels(device), SoundLevelSnapshot::zero());
        EXPECT_NE(errorOf([&] { parts->software.setEQProfile({}, device); }), "") << row.what;
        EXPECT_EQ(errorOfSoftwareVolume(device), deniedText) << row.what;
        EXPECT_TRUE(waitForSound(recorder, 1)) << row.what << ": on the direct path";
        EXPECT_TRUE(waitUntilNothingIsLeft()) << row.what;

        setRights(row.object, doEverything);
        parts = std::make_unique<Parts>(loop);
        ASSERT_TRUE(waitForDefault(monitorUID));
        EXPECT_EQ(errorOfSoftwareVolume(device), "") << row.what;
        EXPECT_TRUE(waitForSound(recorder, 0.5F)) << row.what << ": allowed again";
        parts->software.stopAll();
        EXPECT_TRUE(waitForSound(recorder, 1));
        EXPECT_TRUE(waitUntilNothingIsLeft()) << row.what;
    }
}

} // namespace
} // namespace quenstal
