#include "QuenstalDDC/SoftwareVolumeTap.hpp"
#include "QuenstalSimulation/SimulatedAudioTaps.hpp"
#include "QuenstalSimulation/SimulatedRunLoop.hpp"

#include <algorithm>
#include <array>
#include <cstring>
#include <limits>
#include <regex>
#include <set>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace quenstal {
namespace {

using Calls = std::vector<std::string>;

struct SessionTest : testing::Test {
    SessionTest() { objects.addOutput({.name = "DELL", .transport = AudioTransportCode::hdmi, .uid = "HDMI-1"}); }
    ~SessionTest() override { destroy(); }

    bool create(float gain = 1)
    {
        return QSSoftwareVolumeSessionCreate(taps, "HDMI-1", &session, message.data(), message.size(), gain);
    }
    void destroy()
    {
        QSSoftwareVolumeSessionDestroy(taps, session);
        session = nullptr;
    }
    std::string text() const { return message.data(); }

    SimulatedRunLoop loop;
    SimulatedAudioObjects objects{loop};
    SimulatedAudioTaps taps{objects, loop};
    QSSoftwareVolumeSession* session = nullptr;
    std::array<char, 512> message{};
};

const Calls stepsOfACreation{
    "translateProcessID",
    "createTap HDMI-1",
    "tapUID 900",
    "tapFormat 900",
    "createAggregate HDMI-1",
    "createIOProc 901",
    "startDevice 901",
};

TEST_F(SessionTest, aSessionIsBuiltStepByStepAndReleasedInReverse)
{
    ASSERT_TRUE(create());
    EXPECT_EQ(text(), "");
    EXPECT_EQ(taps.journal().calls(), stepsOfACreation);
    EXPECT_EQ(session->tapID, 900u);
    EXPECT_EQ(session->aggregateDeviceID, 901u);
    EXPECT_NE(session->ioProcID, nullptr);
    EXPECT_FALSE(taps.directPathIsAudible("HDMI-1"));

    taps.journal().clear();
    destroy();
    EXPECT_EQ(taps.journal().calls(),
        (Calls{"stopDevice 901", "destroyIOProc 901", "destroyAggregate 901", "destroyTap 900"}));
    EXPECT_EQ(taps.liveObjects(), 0u);
    EXPECT_TRUE(taps.directPathIsAudible("HDMI-1"));
}

TEST_F(SessionTest, everyFailingStepSaysSoAndReleasesWhatWasThere)
{
    const struct {
        const char* step;
        std::string message;
        Calls releases;
    } rows[] = {
        {"createTap",
            "Core Audio process tap creation failed with status -50. Grant system audio recording access to Quenstal "
            "in System Settings, then relaunch.",
            {}},
        {"tapUID", "Core Audio string property read failed with status -50.", {"destroyTap 900"}},
        {"tapFormat", "Core Audio stream format read failed with status -50.", {"destroyTap 900"}},
        {"createAggregate", "Core Audio aggregate device creation failed with status -50.", {"destroyTap 900"}},
        {"createIOProc", "Core Audio IO callback creation failed with status -50.",
            {"destroyAggregate 901", "destroyTap 900"}},
        {"startDevice", "Core Audio software volume start failed with status -50.",
            {"stopDevice 901", "destroyIOProc 901", "destroyAggregate 901", "destroyTap 900"}},
    };
    for (const auto& row : rows) {
        SimulatedAudioTaps machine(objects, loop);
        machine.journal().failWith(row.step, -50);
        EXPECT_FALSE(QSSoftwareVolumeSessionCreate(machine, "HDMI-1", &session, message.data(), message.size(), 1.0F));
        EXPECT_EQ(session, nullptr);
        EXPECT_EQ(text(), row.message);
        const Calls& calls = machine.journal().calls();
        const auto failed
            = std::ranges::find_if(calls, [&](const std::string& call) { return call.starts_with(row.step); });
        ASSERT_NE(failed, calls.end());
        EXPECT_EQ(Calls(failed + 1, calls.end()), row.releases) << row.step;
        EXPECT_EQ(machine.liveObjects(), 0u) << row.step;
    }
}

TEST_F(SessionTest, aTapWithoutAUIDFailsWithTheStatusOfTheRead)
{
    taps.withholdTapUID();
    EXPECT_FALSE(create());
    EXPECT_EQ(text(), "Core Audio string property read failed with status 0.");
    EXPECT_EQ(taps.liveObjects(), 0u);
}

TEST_F(SessionTest, aProcedureWithoutAnIdentifierFailsWithStatusZero)
{
    taps.withholdProcedureID();
    EXPECT_FALSE(create());
    EXPECT_EQ(text(), "Core Audio IO callback creation failed with status 0.");
    EXPECT_EQ(taps.journal().callsBeginning("stopDevice"), Calls{});
    EXPECT_EQ(taps.liveObjects(), 0u);
}

TEST_F(SessionTest, theHandlePlaceIsCheckedBeforeTheUID)
{
    EXPECT_FALSE(QSSoftwareVolumeSessionCreate(taps, "HDMI-1", nullptr, message.data(), message.size(), 1.0F));
    EXPECT_EQ(text(), "No software volume session output pointer was supplied.");
    EXPECT_FALSE(QSSoftwareVolumeSessionCreate(taps, nullptr, nullptr, message.data(), message.size(), 1.0F));
    EXPECT_EQ(text(), "No software volume session output pointer was supplied.");
    for (const char* uid : {static_cast<const char*>(nullptr), ""}) {
        session = reinterpret_cast<QSSoftwareVolumeSession*>(message.data());
        EXPECT_FALSE(QSSoftwareVolumeSessionCreate(taps, uid, &session, message.data(), message.size(), 1.0F));
        EXPECT_EQ(session, nullptr);
        EXPECT_EQ(text(), "Core Audio device UID is missing.");
    }
    EXPECT_EQ(taps.journal().calls(), Calls{});
}

TEST_F(SessionTest, aMissingOrEmptyBufferTakesNoMessage)
{
    message.fill('x');
    EXPECT_FALSE(QSSoftwareVolumeSessionCreate(taps, "", &session, nullptr, 512, 1.0F));
    EXPECT_FALSE(QSSoftwareVolumeSessionCreate(taps, "", &session, message.data(), 0, 1.0F));
    EXPECT_EQ(message[0], 'x');
}

TEST_F(SessionTest, aLongMessageIsCutToTheBufferWithItsTerminator)
{
    message.fill('x');
    QSSetError(message.data(), 5, "Could not");
    EXPECT_EQ(text(), "Coul");
    EXPECT_EQ(message[5], 'x');
    QSSetStatusError(message.data(), 15, "Stage", -50);
    EXPECT_EQ(text(), "Stage failed w");
    QSSetStatusError(message.data(), message.size(), "Stage", -50);
    EXPECT_EQ(text(), "Stage failed with status -50.");
    QSSetError(message.data(), 1, "Could not");
    EXPECT_EQ(text(), "");
}

TEST_F(SessionTest, theTapSilencesEveryoneButThisProgram)
{
    ASSERT_TRUE(create());
    EXPECT_EQ(taps.lastTapDescription(),
        (ProcessTapDescription{
            {700}, "HDMI-1", 0, "Quenstal Software Volume", true, TapMuteBehavior::mutedWhenTapped, false, false}));
    EXPECT_EQ(static_cast<std::uint32_t>(TapMuteBehavior::mutedWhenTapped), 2u);
}

TEST_F(SessionTest, anUnknownOwnProcessIsNotExcluded)
{
    taps.setOwnProcessObject(0);
    ASSERT_TRUE(create());
    EXPECT_TRUE(taps.lastTapDescription()->excludedProcesses.empty());
    destroy();
    taps.setOwnProcessObject(700);
    taps.journal().failWith("translateProcessID", -50);
    ASSERT_TRUE(create());
    EXPECT_TRUE(taps.lastTapDescription()->excludedProcesses.empty());
}

TEST_F(SessionTest, theAggregateDeviceIsDescribedByNineKeys)
{
    ASSERT_TRUE(create());
    AggregateDeviceDescription description = taps.lastAggregateDescription().value();
    const std::string uid = std::get<std::string>(description.at("uid"));
    EXPECT_TRUE(std::regex_match(uid,
        std::regex("app\\.quenstal\\.software\\."
                   "[0-9A-F]{8}-[0-9A-F]{4}-4[0-9A-F]{3}-[89AB][0-9A-F]{3}-[0-9A-F]{12}")))
        << uid;
    description.erase("uid");
    EXPECT_EQ(description,
        (AggregateDeviceDescription{
            {"name", std::string("Quenstal Software Volume")},
            {"private", true},
            {"stacked", false},
            {"subdevices", std::vector<AggregateMember>{{{"uid", std::string("HDMI-1")}}}},
            {"master", std::string("HDMI-1")},
            {"clock", std::string("HDMI-1")},
            {"taps", std::vector<AggregateMember>{{{"uid", std::string("simulated-tap-900")}, {"drift", true}}}},
            {"tapautostart", true},
        }));
}

TEST_F(SessionTest, everySessionHasANameOfItsOwn)
{
    std::set<std::string> names;
    for (int i = 0; i < 20; ++i) {
        ASSERT_TRUE(create());
        names.insert(std::get<std::string>(taps.lastAggregateDescription()->at("uid")));
        destroy();
    }
    EXPECT_EQ(names.size(), 20u);
}

TEST_F(SessionTest, theFormOfTheSamplesIsTakenFromTheTap)
{
    constexpr auto isFloat = AudioFormatFlag::isFloat;
    constexpr auto isSigned = AudioFormatFlag::isSignedInteger;
    constexpr const char* unsupported = "Software volume does not support this tap sample format.";
    const struct {
        FourCharCode id;
        std::uint32_t flags;
        std::uint32_t bits;
        std::uint32_t resolved;
        const char* message;
    } rows[] = {
        {audioFormatLinearPCM, isFloat, 32, 1, ""},
        {audioFormatLinearPCM, isFloat, 64, 2, ""},
        {audioFormatLinearPCM, isSigned, 16, 3, ""},
        {audioFormatLinearPCM, isSigned, 32, 4, ""},
        {audioFormatLinearPCM, isFloat | isSigned, 32, 1, ""},
        {audioFormatLinearPCM, isFloat | isSigned, 16, 3, ""},
        {audioFormatLinearPCM, isFloat, 16, 0, unsupported},
        {audioFormatLinearPCM, isSigned, 24, 0, unsupported},
        {audioFormatLinearPCM, isSigned, 8, 0, unsupported},
        {audioFormatLinearPCM, 0, 16, 0, unsupported},
        {audioFormatLinearPCM, 0, 32, 0, unsupported},
        {fourCharCode("aac "), isFloat, 32, 0, "Software volume only supports linear PCM audio taps."},
        {0, isFloat, 32, 0, "Software volume only supports linear PCM audio taps."},
    };
    for (const auto& row : rows) {
        AudioStreamBasicDescription format;
        format.formatID = row.id;
        format.formatFlags = row.flags;
        format.bitsPerChannel = row.bits;
        std::uint32_t resolved = 0;
        message.fill(0);
        EXPECT_EQ(QSResolveSampleFormat(format, &resolved, message.data(), message.size()), row.resolved != 0);
        EXPECT_EQ(resolved, row.resolved);
        EXPECT_EQ(text(), row.message);
    }
}

TEST_F(SessionTest, anUnsupportedFormReleasesTheTap)
{
    objects.outputWithUID("HDMI-1")->format.bitsPerChannel = 24;
    EXPECT_FALSE(create());
    EXPECT_EQ(text(), "Software volume does not support this tap sample format.");
    EXPECT_EQ(taps.liveObjects(), 0u);
}

TEST_F(SessionTest, rateAndChannelsAreTheTapsOrTheUsualOnes)
{
    const struct {
        double rate;
        std::uint32_t channels;
        std::uint32_t extraFlags;
        double expectedRate;
        std::uint32_t expectedChannels;
    } rows[] = {
        {44100, 6, 0, 44100, 6},
        {96000, 1, AudioFormatFlag::isNonInterleaved, 96000, 1},
        {0, 0, 0, 48000, 2},
        {-1, 2, 0, 48000, 2},
    };
    for (const auto& row : rows) {
        auto& format = objects.outputWithUID("HDMI-1")->format;
        format.sampleRate = row.rate;
        format.channelsPerFrame = row.channels;
        format.formatFlags = AudioFormatFlag::isFloat | row.extraFlags;
        ASSERT_TRUE(create());
        EXPECT_EQ(session->sampleRate, row.expectedRate);
        EXPECT_EQ(session->channelCount, row.expectedChannels);
        EXPECT_EQ(session->nonInterleaved, row.extraFlags != 0);
        destroy();
    }
}

TEST_F(SessionTest, aNewRecordPassesSoundThroughAtItsGain)
{
    const struct {
        float gain;
        float expected;
    } rows[] = {
        {0.5F, 0.5F},
        {2.0F, 1.0F},
        {-1.0F, 0.0F},
        {std::numeric_limits<float>::quiet_NaN(), 0.0F},
    };
    for (const auto& row : rows) {
        ASSERT_TRUE(create(row.gain));
        EXPECT_EQ(session->gain, row.expected);
        EXPECT_FALSE(session->eqEnabled);
        EXPECT_EQ(session->preampGain, 1.0F);
        EXPECT_EQ(session->clipHoldFrames, 0);
        for (const auto& band : session->coefficients) {
            EXPECT_EQ(band.b0, 1.0F);
            EXPECT_EQ(band.b1 + band.b2 + band.a1 + band.a2, 0.0F);
        }
        destroy();
    }
}

TEST_F(SessionTest, theFirstCycleAlreadyHasTheGain)
{
    taps.play([](std::uint32_t, std::uint64_t) { return 0.8F; });
    ASSERT_TRUE(create(0.5F));
    const auto heard = taps.runCycles(1);
    ASSERT_EQ(heard.size(), 2u);
    EXPECT_EQ(heard[0].front(), 0.4F);
    EXPECT_EQ(heard[1].front(), 0.4F);
}

TEST_F(SessionTest, settersAndCyclesShareTheRecordWithoutLocks)
{
    taps.play([](std::uint32_t, std::uint64_t frame) { return frame % 2 == 0 ? 0.8F : -0.8F; });
    ASSERT_TRUE(create());
    QSSoftwareEQProfile profile{true, 3, 5, {{60, 3}, {250, 1}, {1000, -4}, {4000, 2}, {12000, 4}}};
    taps.requestCycles(200);
    QSSoftwareLevels levels;
    for (int i = 0; i < 200; ++i) {
        QSSoftwareVolumeSessionSetGain(session, static_cast<float>(i % 100) / 100);
        profile.enabled = !profile.enabled;
        QSSoftwareVolumeSessionSetEQProfile(session, &profile);
        QSSoftwareVolumeSessionReadLevels(session, &levels);
    }
    EXPECT_EQ(taps.awaitCycles()[0].size(), 200u * 256u);
}

TEST_F(SessionTest, destroyingWaitsForTheCycleThatRuns)
{
    taps.play([](std::uint32_t, std::uint64_t) { return 0.8F; });
    ASSERT_TRUE(create());
    taps.requestCycles(100000);
    destroy();
    EXPECT_EQ(taps.liveObjects(), 0u);
}

TEST_F(SessionTest, aChangedRateIsTakenOver)
{
    ASSERT_TRUE(create());
    taps.changeRate("HDMI-1", 96000);
    QSSoftwareVolumeSessionUpdateFormat(taps, session);
    EXPECT_EQ(session->sampleRate, 96000);
    taps.journal().failWith("tapFormat", -50);
    QSSoftwareVolumeSessionUpdateFormat(taps, session);
    EXPECT_EQ(session->sampleRate, 96000);
}

TEST_F(SessionTest, aNullSessionIsTakenEverywhere)
{
    QSSoftwareVolumeSessionDestroy(taps, nullptr);
    QSSoftwareVolumeSessionUpdateFormat(taps, nullptr);
    EXPECT_EQ(taps.journal().calls(), Calls{});
}

} // namespace
} // namespace quenstal
