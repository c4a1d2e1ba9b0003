#include "AudioSessionTest.hpp"
#include "QuenstalLinux/Audio/MetadataQuestion.hpp"

#include <string>
#include <utility>

namespace quenstal {
namespace {

/// Another program that asks for the session manager's metadata.
class Asker {
public:
    Asker(RunLoop& loop, std::uint32_t metadataNumber)
        : connection_(loop)
        , registry_(pw_core_get_registry(connection_.core(), PW_VERSION_REGISTRY, 0))
        , metadata_(static_cast<pw_metadata*>(
              pw_registry_bind(registry_.get(), metadataNumber, PW_TYPE_INTERFACE_Metadata, PW_VERSION_METADATA, 0)))
    {
        pw_metadata_add_listener(metadata_.get(), &hook_, &events, this);
        pw_core_add_listener(connection_.core(), &coreHook_, &coreEvents, this);
    }
    bool isAnswered() const { return isAnswered_; }
    /// Whether the server has read everything until now, also of others.
    bool letTheServerRead(EpollRunLoop& loop)
    {
        bool hasRead = true;
        for (int i = 0; i < 2; ++i) {
            const int before = done_;
            pw_core_sync(connection_.core(), PW_ID_CORE, 0);
            hasRead = loop.runUntil([&] { return done_ > before; }) && hasRead;
        }
        return hasRead;
    }
    /// As when the session manager itself decides.
    void setDefault(const std::string& name)
    {
        const std::string value = "{\"name\":\"" + name + "\"}";
        pw_metadata_set_property(metadata_.get(), 0, "default.audio.sink", "Spa:String:JSON", value.c_str());
    }

private:
    static int property(void* data, std::uint32_t, const char*, const char*, const char*)
    {
        static_cast<Asker*>(data)->isAnswered_ = true;
        return 0;
    }
    static void done(void* data, std::uint32_t, int) { ++static_cast<Asker*>(data)->done_; }
    static constexpr pw_metadata_events events{PW_VERSION_METADATA_EVENTS, property};
    static constexpr pw_core_events coreEvents = [] {
        pw_core_events made{};
        made.version = PW_VERSION_CORE_EVENTS;
        made.done = done;
        return made;
    }();

    PipeWireConnection connection_;
    PipeWireHook hook_;
    PipeWireHook coreHook_;
    PipeWireProxy<pw_registry> registry_;
    PipeWireProxy<pw_metadata> metadata_;
    bool isAnswered_ = false;
    int done_ = 0;
};

struct MissedChangeTest : AudioSessionTest {
    void TearDown() override
    {
        AudioSessionTest::TearDown();
        // Who was there before hears nothing any more when a program has gone without its answer.
        if (!IsSkipped())
            restartManager();
    }
    void restartManager()
    {
        session("stop manager");
        session("start manager");
    }
    void signalManager(const std::string& signal)
    {
        outputOf("kill -" + signal + " $(cat \"$QUENSTAL_AUDIO_SESSION/manager.pid\")");
    }
    std::uint32_t metadataNumber()
    {
        const auto number
            = outputOf("pw-cli ls Metadata | grep -B9 '\"default\"' | sed -n 's/.*id \\([0-9]*\\),.*/\\1/p' | tail -1");
        return static_cast<std::uint32_t>(std::stoul(number));
    }
    /// From now on nothing is told to those who are there.
    void letAProgramGoWithoutItsAnswer()
    {
        const std::uint32_t metadata = metadataNumber();
        Asker other(loop, metadata);
        ASSERT_TRUE(loop.runUntil([&] { return other.isAnswered(); }));
        signalManager("STOP");
        {
            Asker program(loop, metadata);
            EXPECT_TRUE(other.letTheServerRead(loop));
            EXPECT_FALSE(program.isAnswered());
        }
        EXPECT_TRUE(other.letTheServerRead(loop));
        signalManager("CONT");
    }
};

TEST_F(MissedChangeTest, aDefaultThatChangesWhileTheServerAnswersAnotherProgramIsHeardOfAllTheSame)
{
    plugInDefault("monitor", monitorUID);
    session("plug usb");
    const std::uint32_t metadata = metadataNumber();
    Asker settings(loop, metadata);
    ASSERT_TRUE(loop.runUntil([&] { return settings.isAnswered(); }));

    signalManager("STOP");
    settings.setDefault(usbUID);
    EXPECT_TRUE(settings.letTheServerRead(loop));
    Asker program(loop, metadata);
    EXPECT_TRUE(settings.letTheServerRead(loop));
    EXPECT_FALSE(program.isAnswered());
    signalManager("CONT");
    EXPECT_TRUE(waitForDefault(usbUID));
}

TEST_F(MissedChangeTest, aDefaultThatNobodyIsToldOfIsHeardOfWhenAnOutputGoes)
{
    plugInDefault("monitor", monitorUID);
    session("plug usb");
    letAProgramGoWithoutItsAnswer();
    session("unplug monitor");
    EXPECT_TRUE(waitForDefault(usbUID));
}

TEST_F(MissedChangeTest, ourOwnTargetDoesNotPassForTheUsersWhenItsEndIsMissed)
{
    const AudioOutputDevice device = plugInDefault("monitor", monitorUID);
    ProbePlayer player(loop, countedSample);
    parts->software.setVolume({0.5, false}, device);
    ASSERT_TRUE(waitForCycles());
    letAProgramGoWithoutItsAnswer();
    parts->software.stopAll();
    parts->software.setVolume({0.5, false}, device);
    ASSERT_TRUE(waitForCycles());
    parts->software.stopAll();
    EXPECT_TRUE(loop.runUntil([this] { return outputOf("pw-cli ls Node | grep quenstal || true").empty(); }));
    EXPECT_EQ(outputOf("pw-metadata -n default | grep target.object || true"), "");
}

TEST_F(MissedChangeTest, questionsDoNotHoldUpASessionThatStarts)
{
    const AudioOutputDevice device = plugInDefault("monitor", monitorUID);
    const std::uint32_t metadata = metadataNumber();
    int answers = 0;
    MetadataQuestion question(parts->connection, [&](auto&&...) { ++answers; });
    question.ask(metadata);
    ProbePlayer player(loop, countedSample);
    for (int i = 0; i < 20; ++i) {
        parts->software.setVolume({0.5, false}, device);
        const bool hasStarted = loop.runUntil([&] {
            if (std::exchange(answers, 0) > 0)
                question.ask(metadata);
            return parts->taps.cycles() > 1;
        });
        ASSERT_TRUE(hasStarted) << i;
        parts->software.stopAll();
    }
}

TEST_F(MissedChangeTest, aQuestionWhoseConnectionWasClosedIsAskedOverANewOne)
{
    const std::uint32_t metadata = metadataNumber();
    int answers = 0;
    MetadataQuestion question(parts->connection, [&](auto&&...) { ++answers; });
    question.ask(metadata);
    ASSERT_TRUE(loop.runUntil([&] { return answers > 0; }));
    const std::string own = std::to_string(parts->connection.clientNumber().value());
    outputOf("pw-cli ls Client | awk '$1==\"id\"{id=$2+0} /\"Quenstal\"/ && id!=" + own
        + "{print id}' | while read -r id; do pw-cli destroy $id; done");
    answers = 0;
    const auto again = loop.repeat(std::chrono::milliseconds(50), [&] { question.ask(metadata); });
    EXPECT_TRUE(loop.runUntil([&] { return answers > 0; }));
}

} // namespace
} // namespace quenstal
