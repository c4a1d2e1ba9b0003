#include "AudioSessionTest.hpp"
#include "QuenstalLinux/Audio/SoftwareNodes.hpp"

#include <algorithm>
#include <cerrno>
#include <string>
#include <vector>

namespace quenstal {
namespace {

using namespace std::chrono_literals;

/// The streams end at the server while the output and everything else live on.
struct StreamFailureTest : AudioSessionTest {
    enum class Side { capture, playback };

    void start(const AudioOutputDevice& device)
    {
        // A failure of an earlier session on the output is not remembered.
        parts = std::make_unique<Parts>(loop);
        ASSERT_TRUE(waitForDefault(monitorUID));
        changes.clear();
        watch = parts->taps.onTapChanged([this](AudioObjectID, TapChange change) { changes.push_back(change); });
        parts->software.setVolume({0.5, false}, device);
    }
    /// Of the latest session: an earlier one may still be on its way out.
    std::uint32_t streamOf(Side side) const
    {
        std::uint32_t stream = SPA_ID_INVALID;
        std::uint64_t latest = 0;
        for (const auto& [id, node] : parts->graph.graph().others) {
            if (isSoftwareNodeName(node.name) && node.name.ends_with(".out") == (side == Side::playback)
                && node.serial > latest) {
                stream = id;
                latest = node.serial;
            }
        }
        return stream;
    }
    void destroy(std::uint32_t stream) { outputOf("pw-cli destroy " + std::to_string(stream)); }
    /// As a session manager does that has no place for the stream.
    void refuse(std::uint32_t stream, int status)
    {
        registry.reset(pw_core_get_registry(manager.core(), PW_VERSION_REGISTRY, 0));
        client.reset(static_cast<pw_client*>(pw_registry_bind(
            registry.get(), parts->connection.clientNumber().value(), PW_TYPE_INTERFACE_Client, PW_VERSION_CLIENT, 0)));
        pw_client_error(client.get(), stream, status, "no place for this stream");
    }
    bool waitForTheEnd()
    {
        return loop.runUntil([this] { return isTold(TapChange::ended); });
    }

    /// The next session starts, is heard, and loses its stream.
    void loseSession(const AudioOutputDevice& device, ProbeRecorder& recorder)
    {
        ASSERT_EQ(errorOf([&] { parts->software.setEQProfile({}, device); }), "");
        // What was heard last may still be the session before.
        ASSERT_TRUE(waitForCycles());
        ASSERT_TRUE(waitForSound(recorder, 0.5F));
        changes.clear();
        refuse(streamOf(Side::playback), -ENOSPC);
        ASSERT_TRUE(waitForTheEnd());
    }
    bool isTold(TapChange change) const { return std::ranges::find(changes, change) != changes.end(); }

    PipeWireConnection manager{loop};
    PipeWireProxy<pw_registry> registry;
    PipeWireProxy<pw_client> client;
    std::vector<TapChange> changes;
    Cancellation watch;
};

TEST_F(StreamFailureTest, aStreamThatIsLostIsReplacedByTheNextRefresh)
{
    const AudioOutputDevice device = plugInDefault("monitor", monitorUID);
    ProbeRecorder recorder(loop, monitorUID);
    ProbePlayer player(loop, countedSample);
    for (const Side side : {Side::capture, Side::playback}) {
        for (const bool isDestroyed : {true, false}) {
            SCOPED_TRACE(testing::Message() << (side == Side::capture ? "capture" : "playback") << " stream "
                                            << (isDestroyed ? "destroyed" : "refused"));
            start(device);
            ASSERT_TRUE(waitForCycles());
            ASSERT_TRUE(waitForSound(recorder, 0.5F));
            isDestroyed ? destroy(streamOf(side)) : refuse(streamOf(side), -ENOSPC);
            ASSERT_TRUE(waitForTheEnd());
            EXPECT_TRUE(waitForSound(recorder, 1)) << "on the direct path";
            EXPECT_EQ(errorOf([&] { parts->software.setEQProfile({}, device); }), "");
            EXPECT_TRUE(waitForSound(recorder, 0.5F)) << "at the volume that it had";
        }
    }
}

TEST_F(StreamFailureTest, aSecondLossIsExplainedAndLeavesTheSoundOnItsDirectPath)
{
    const AudioOutputDevice device = plugInDefault("monitor", monitorUID);
    ProbeRecorder recorder(loop, monitorUID);
    ProbePlayer player(loop, countedSample);
    start(device);
    loseSession(device, recorder);
    loseSession(device, recorder);
    EXPECT_EQ(errorOf([&] {
        parts->software.setVolume({0.25, false}, device);
    }),
        "Core Audio process tap creation failed with status -28. Grant system audio recording access to Quenstal in "
        "System Settings, then relaunch.");
    EXPECT_EQ(parts->software.readLevels(device), SoundLevelSnapshot::zero());
    EXPECT_TRUE(waitForSound(recorder, 1)) << "on the direct path";
}

TEST_F(StreamFailureTest, theEndOfARefusalIsToldOnceAndNotAfterTheNextTry)
{
    const AudioOutputDevice device = plugInDefault("monitor", monitorUID);
    ProbeRecorder recorder(loop, monitorUID);
    ProbePlayer player(loop, countedSample);
    const auto errorOfASession = [&] { return errorOf([&] { parts->software.setEQProfile({}, device); }); };
    start(device);
    loseSession(device, recorder);
    loseSession(device, recorder);
    EXPECT_NE(errorOfASession(), "");
    EXPECT_FALSE(isTold(TapChange::refusalOver));
    loop.letPass(5s);
    EXPECT_TRUE(loop.runUntil([&] { return isTold(TapChange::refusalOver); }));
    loseSession(device, recorder);
    EXPECT_NE(errorOfASession(), "");
    loop.letPass(5s);
    EXPECT_EQ(errorOfASession(), "") << "it may be tried";
    EXPECT_TRUE(waitForSound(recorder, 0.5F));
    EXPECT_FALSE(isTold(TapChange::refusalOver)) << "nobody is asked to";
}

} // namespace
} // namespace quenstal
