#include "QuenstalCore/DecodingChecks.hpp"
#include "QuenstalCore/Models/Json.hpp"
#include "QuenstalCore/Printing.hpp"
#include "Support/Neighbours.hpp"

#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace quenstal {
namespace {

using namespace test;
using Kind = DecodingError::Kind;

EQBand bandWith(const std::string& id)
{
    return decodeJSON<EQBand>(R"({"id":)" + id + R"(,"frequencyHz":60,"label":"LOW","gainDB":0})");
}

VolumeSnapshot volumeWith(const std::string& level)
{
    return decodeJSON<VolumeSnapshot>(R"({"level":)" + level + R"(,"isMuted":false})");
}

TEST(JsonDecodingTest, aModeWithTwoKeysOrNoneFailsWithItsOwnText)
{
    const std::string text = "Invalid number of keys found, expected one.";
    expectFaults<ControlMode>({
        {"{}", Kind::typeMismatch, "", text},
        {R"({"disabled":{},"systemVolume":{"deviceID":"42"}})", Kind::typeMismatch, "", text},
        {R"({"systemVolume":{"deviceID":"42"},"unavailable":{"_0":"noOutputDevice"}})", Kind::typeMismatch, "", text},
    });
}

TEST(JsonDecodingTest, aModesUnknownKeyIsNoKeyOfItAndNeverStandsBesideAKnownOne)
{
    const std::string text = "Invalid number of keys found, expected one.";
    expectFaults<ControlMode>({
        {R"({"nonsense":{}})", Kind::typeMismatch, "", text},
        {R"({"Disabled":{}})", Kind::typeMismatch, "", text},
        {R"({"":{}})", Kind::typeMismatch, "", text},
        {R"({"disabled":{},"nonsense":{}})", Kind::typeMismatch, "", text},
        {R"({"nonsense":1,"disabled":{}})", Kind::typeMismatch, "", text},
    });
}

TEST(JsonDecodingTest, aModesPayloadMustBeAnObjectThatHoldsItsLabel)
{
    expectFaults<ControlMode>({
        {R"({"disabled":5})", Kind::typeMismatch, "disabled", "Expected object, found number."},
        {R"({"disabled":null})", Kind::typeMismatch, "disabled", "Expected object, found null."},
        {R"({"disabled":[]})", Kind::typeMismatch, "disabled", "Expected object, found array."},
        {R"({"systemVolume":"42"})", Kind::typeMismatch, "systemVolume", "Expected object, found string."},
        {R"({"systemVolume":{}})", Kind::missingKey, "systemVolume.deviceID", "The key is missing."},
        {R"({"systemVolume":{"displayID":"7"}})", Kind::missingKey, "systemVolume.deviceID", "The key is missing."},
        {R"({"systemVolume":{"deviceID":42}})", Kind::typeMismatch, "systemVolume.deviceID",
            "Expected string, found number."},
        {R"({"hardwareDDC":{"deviceID":"7"}})", Kind::missingKey, "hardwareDDC.displayID", "The key is missing."},
        {R"({"hardwareDDC":{"displayID":null}})", Kind::typeMismatch, "hardwareDDC.displayID",
            "Expected string, found null."},
        {R"({"softwareTap":{"_0":"42"}})", Kind::missingKey, "softwareTap.deviceID", "The key is missing."},
        {R"({"softwareTap":{"deviceID":true}})", Kind::typeMismatch, "softwareTap.deviceID",
            "Expected string, found boolean."},
        {R"({"unavailable":{}})", Kind::missingKey, "unavailable._0", "The key is missing."},
        {R"({"unavailable":{"_0":"bored"}})", Kind::unknownRawValue, "unavailable._0", R"(Unknown raw value "bored".)"},
        {R"({"unavailable":{"_0":1}})", Kind::typeMismatch, "unavailable._0", "Expected string, found number."},
        {R"({"unavailable":"noOutputDevice"})", Kind::typeMismatch, "unavailable", "Expected object, found string."},
    });
}

TEST(JsonDecodingTest, aModeMustBeAnObject)
{
    expectFaults<ControlMode>({
        {"[]", Kind::typeMismatch, "", "Expected object, found array."},
        {R"("disabled")", Kind::typeMismatch, "", "Expected object, found string."},
        {"null", Kind::typeMismatch, "", "Expected object, found null."},
        {"7", Kind::typeMismatch, "", "Expected object, found number."},
    });
}

TEST(JsonDecodingTest, aModesPayloadMayHoldUnknownKeys)
{
    EXPECT_EQ(decodeJSON<ControlMode>(R"({"disabled":{"since":1}})"), ControlMode::disabled());
    EXPECT_EQ(decodeJSON<ControlMode>(R"({"softwareTap":{"a":1,"deviceID":"42"}})"), ControlMode::softwareTap("42"));
}

TEST(JsonDecodingTest, aMissingOrMistypedFieldOfADeviceIsNamed)
{
    expectFaults<AudioOutputDevice>({
        {R"({"name":"LG","transport":"hdmi","supportsNativeVolume":true})", Kind::missingKey, "id",
            "The key is missing."},
        {R"({"id":"1","transport":"hdmi","supportsNativeVolume":true})", Kind::missingKey, "name",
            "The key is missing."},
        {R"({"id":"1","name":"LG","supportsNativeVolume":true})", Kind::missingKey, "transport", "The key is missing."},
        {R"({"id":"1","name":"LG","transport":"hdmi"})", Kind::missingKey, "supportsNativeVolume",
            "The key is missing."},
        {R"({"id":null,"name":"LG","transport":"hdmi","supportsNativeVolume":true})", Kind::typeMismatch, "id",
            "Expected string, found null."},
        {R"({"id":"1","name":7,"transport":"hdmi","supportsNativeVolume":true})", Kind::typeMismatch, "name",
            "Expected string, found number."},
        {R"({"id":"1","name":"LG","transport":"scart","supportsNativeVolume":true})", Kind::unknownRawValue,
            "transport", R"(Unknown raw value "scart".)"},
        {R"({"id":"1","name":"LG","transport":3,"supportsNativeVolume":true})", Kind::typeMismatch, "transport",
            "Expected string, found number."},
        {R"({"id":"1","name":"LG","transport":"hdmi","supportsNativeVolume":1})", Kind::typeMismatch,
            "supportsNativeVolume", "Expected boolean, found number."},
        {R"({"id":"1","name":"LG","transport":"hdmi","supportsNativeVolume":"true"})", Kind::typeMismatch,
            "supportsNativeVolume", "Expected boolean, found string."},
        {R"({"id":"1","name":"LG","transport":"hdmi","supportsNativeVolume":true,"coreAudioUID":5})",
            Kind::typeMismatch, "coreAudioUID", "Expected string, found number."},
        {R"(["1","LG","hdmi",true])", Kind::typeMismatch, "", "Expected object, found array."},
    });
}

TEST(JsonDecodingTest, nullReadsAsAbsentForOptionalFields)
{
    const auto device = decodeJSON<AudioOutputDevice>(
        R"({"id":"1","name":"LG","transport":"hdmi","supportsNativeVolume":true,"coreAudioUID":null})");
    EXPECT_EQ(device.coreAudioUID, std::nullopt);
    const auto issue = decodeJSON<DiagnosticIssue>(
        R"({"code":"commandIgnored","severity":"info","message":"A.","recoverySuggestion":null})");
    EXPECT_EQ(issue.recoverySuggestion, std::nullopt);
}

TEST(JsonDecodingTest, aMissingOrMistypedFieldOfAnyRecordIsNamed)
{
    expectFaults<DisplayControlTarget>({
        {"{}", Kind::missingKey, "id", "The key is missing."},
        {R"({"id":"7","name":"LG","supportsVolumeCommand":true})", Kind::missingKey, "supportsDDC",
            "The key is missing."},
        {R"({"id":"7","name":"LG","supportsDDC":true})", Kind::missingKey, "supportsVolumeCommand",
            "The key is missing."},
        {R"({"id":"7","name":"LG","supportsDDC":null})", Kind::typeMismatch, "supportsDDC",
            "Expected boolean, found null."},
    });
    expectFaults<PermissionState>({
        {R"({"systemAudioCapture":"granted"})", Kind::missingKey, "accessibility", "The key is missing."},
        {R"({"accessibility":"granted"})", Kind::missingKey, "systemAudioCapture", "The key is missing."},
        {R"({"accessibility":"yes","systemAudioCapture":"granted"})", Kind::unknownRawValue, "accessibility",
            R"(Unknown raw value "yes".)"},
    });
    expectFaults<VolumeSnapshot>({
        {R"({"isMuted":true})", Kind::missingKey, "level", "The key is missing."},
        {R"({"level":0.5})", Kind::missingKey, "isMuted", "The key is missing."},
        {R"({"level":"0.5","isMuted":true})", Kind::typeMismatch, "level", "Expected number, found string."},
        {R"({"level":true,"isMuted":true})", Kind::typeMismatch, "level", "Expected number, found boolean."},
        {R"({"level":null,"isMuted":true})", Kind::typeMismatch, "level", "Expected number, found null."},
        {R"({"level":0.5,"isMuted":0})", Kind::typeMismatch, "isMuted", "Expected boolean, found number."},
    });
    expectFaults<SoundLevelSnapshot>({
        {R"({"levelL":0,"levelR":0,"peakL":0,"clipping":true})", Kind::missingKey, "peakR", "The key is missing."},
        {R"({"levelL":0,"levelR":0,"peakL":0,"peakR":0})", Kind::missingKey, "clipping", "The key is missing."},
        {R"({"levelL":[],"levelR":0,"peakL":0,"peakR":0})", Kind::typeMismatch, "levelL",
            "Expected number, found array."},
    });
    expectFaults<DiagnosticIssue>({
        {R"({"severity":"info","message":""})", Kind::missingKey, "code", "The key is missing."},
        {R"({"code":"ddcUnavailable","message":""})", Kind::missingKey, "severity", "The key is missing."},
        {R"({"code":"ddcUnavailable","severity":"info"})", Kind::missingKey, "message", "The key is missing."},
        {R"({"code":"ddcUnavailable","severity":"fatal","message":""})", Kind::unknownRawValue, "severity",
            R"(Unknown raw value "fatal".)"},
        {R"({"code":"","severity":"info","message":""})", Kind::unknownRawValue, "code", R"(Unknown raw value "".)"},
    });
}

TEST(JsonDecodingTest, theKeyPathLeadsThroughObjectsAndLists)
{
    const std::string good = R"({"id":0,"frequencyHz":60,"label":"LOW","gainDB":0})";
    const auto profile = [](const std::string& bands) {
        return R"({"enabled":true,"preset":"flat","bands":)" + bands + R"(,"preampDB":0})";
    };
    expectFaults<EQProfile>({
        {profile("5"), Kind::typeMismatch, "bands", "Expected array, found number."},
        {profile("{}"), Kind::typeMismatch, "bands", "Expected array, found object."},
        {profile("null"), Kind::typeMismatch, "bands", "Expected array, found null."},
        {profile("[7]"), Kind::typeMismatch, "bands[0]", "Expected object, found number."},
        {profile("[" + good + ",{}]"), Kind::missingKey, "bands[1].id", "The key is missing."},
        {profile("[" + good + "," + good + R"(,{"id":0,"frequencyHz":60,"label":"LOW","gainDB":"0"}])"),
            Kind::typeMismatch, "bands[2].gainDB", "Expected number, found string."},
        {R"({"enabled":true,"preset":"loud","bands":[],"preampDB":0})", Kind::unknownRawValue, "preset",
            R"(Unknown raw value "loud".)"},
        {R"({"enabled":true,"preset":"flat","bands":[]})", Kind::missingKey, "preampDB", "The key is missing."},
        {R"({"preset":"flat","bands":[],"preampDB":0})", Kind::missingKey, "enabled", "The key is missing."},
    });
    const auto state = [&](const std::string& bands) {
        return R"({"profile":)" + profile(bands)
            + R"(,"levels":{"levelL":0,"levelR":0,"peakL":0,"peakR":0,"clipping":false},"diagnostic":"unknown",)"
              R"("canSwitchToSoftware":false,"boostHintVisible":false})";
    };
    expectFaults<AudioProcessingState>({
        {state(R"([{"id":0,"frequencyHz":60,"gainDB":0}])"), Kind::missingKey, "profile.bands[0].label",
            "The key is missing."},
        {state("[true]"), Kind::typeMismatch, "profile.bands[0]", "Expected object, found boolean."},
        {R"({"profile":{}})", Kind::missingKey, "profile.enabled", "The key is missing."},
    });
    EXPECT_EQ(decodeJSON<AudioProcessingState>(state("[" + good + "]")).profile.bands.size(), 1U);
}

TEST(JsonDecodingTest, aWholeNumberMayBeWrittenWithAFraction)
{
    struct Row {
        std::string json;
        std::int64_t id;
    };
    const std::vector<Row> rows{
        {"3", 3},
        {"3.0", 3},
        {"-3.0", -3},
        {"30e-1", 3},
        {"3E2", 300},
        {"-0", 0},
        {"-0.0", 0},
        {"9007199254740991.0", 9007199254740991},
        {"9223372036854775807", INT64_MAX},
        {"-9223372036854775808", INT64_MIN},
    };
    for (const Row& row : rows)
        EXPECT_EQ(bandWith(row.json).id, row.id) << row.json;
}

TEST(JsonDecodingTest, aFractionABooleanOrANumberThatDoesNotFitIsNoInteger)
{
    struct Row {
        std::string json;
        std::string description;
    };
    const std::vector<Row> rows{
        {"3.5", "Expected whole number of 64 bits, found 3.5."},
        {"-0.1", "Expected whole number of 64 bits, found -0.1."},
        {"1e-9", "Expected whole number of 64 bits, found 1e-09."},
        {"1e300", "Expected whole number of 64 bits, found 1e+300."},
        {"9223372036854775808", "Expected whole number of 64 bits, found 9223372036854775808."},
        {"-9223372036854775809", "Expected whole number of 64 bits, found -9.223372036854776e+18."},
        // These digits do not survive as a double.
        {"9007199254740993.0", "Expected whole number of 64 bits, found 9.007199254740992e+15."},
        {"true", "Expected whole number, found boolean."},
        {"\"3\"", "Expected whole number, found string."},
        {"null", "Expected whole number, found null."},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.json);
        try {
            bandWith(row.json);
            ADD_FAILURE() << "decoded";
        } catch (const DecodingError& error) {
            EXPECT_EQ(error.kind(), Kind::typeMismatch);
            EXPECT_EQ(error.path(), "id");
            EXPECT_EQ(error.description(), row.description);
        }
    }
}

TEST(JsonDecodingTest, aNumberReadsFromEveryWayOfWritingIt)
{
    struct Row {
        std::string json;
        double level;
    };
    const std::vector<Row> rows{
        {"0", 0},
        {"-0.0", 0},
        {"5e-1", 0.5},
        {"12345678901234567890", 12345678901234567890.0},
        {"1e308", 1e308},
        {"5e-324", smallestDouble},
        {"1e-999", 0},
        {"0." + std::string(5000, '3'), 1.0 / 3},
    };
    for (const Row& row : rows)
        EXPECT_EQ(volumeWith(row.json).level, row.level) << row.json.substr(0, 30);
}

TEST(JsonDecodingTest, valuesAreTakenAsTheyStandWithoutClampingOrNormalising)
{
    EXPECT_EQ(volumeWith("1.5").level, 1.5);
    EXPECT_EQ(volumeWith("-7").level, -7);
    const auto band = decodeJSON<EQBand>(R"({"id":77,"frequencyHz":-1,"label":"?","gainDB":99.1})");
    EXPECT_EQ(band.id, 77);
    EXPECT_EQ(band.gainDB, 99.1);
    const auto profile = decodeJSON<EQProfile>(
        R"({"enabled":true,"preset":"voice","bands":[{"id":4,"frequencyHz":1,"label":"x","gainDB":0.1}],"preampDB":40})");
    EXPECT_EQ(profile.bands.size(), 1U);
    EXPECT_EQ(profile.bands[0].gainDB, 0.1);
    EXPECT_EQ(profile.preampDB, 40);
    const auto levels
        = decodeJSON<SoundLevelSnapshot>(R"({"levelL":2,"levelR":-2,"peakL":9,"peakR":0,"clipping":false})");
    EXPECT_EQ(levels.levelL, 2);
    EXPECT_EQ(levels.levelR, -2);
}

TEST(JsonDecodingTest, unknownExtraKeysInRecordsAreIgnored)
{
    EXPECT_EQ(
        decodeJSON<VolumeSnapshot>(R"({"x":[{}],"isMuted":true,"level":0.5,"y":null})"), VolumeSnapshot(0.5, true));
}

TEST(JsonDecodingTest, ofAKeyThatStandsTwiceTheLastOneCounts)
{
    EXPECT_EQ(decodeJSON<VolumeSnapshot>(R"({"level":0.1,"isMuted":true,"level":0.5})"), VolumeSnapshot(0.5, true));
    EXPECT_EQ(decodeJSON<ControlMode>(R"({"softwareTap":{"deviceID":"1"},"softwareTap":{"deviceID":"2"}})"),
        ControlMode::softwareTap("2"));
}

TEST(JsonDecodingTest, keysCompareCharacterByCharacter)
{
    expectFaults<VolumeSnapshot>({
        {R"({"Level":0.5,"isMuted":true})", Kind::missingKey, "level", "The key is missing."},
        {R"({"level\u0000":0.5,"isMuted":true})", Kind::missingKey, "level", "The key is missing."},
    });
    EXPECT_EQ(volumeWith("1"), decodeJSON<VolumeSnapshot>(R"({"\u006cevel":1,"isMuted":false})"));
}

TEST(JsonDecodingTest, spaceAroundTheValueIsNotTrailingText)
{
    EXPECT_EQ(decodeJSON<ControlMode>(" \t\r\n{ \"disabled\" : { } }\n"), ControlMode::disabled());
}

TEST(JsonDecodingTest, anAbsentOptionalFieldLeavesNothingOfAnEarlierValueBehind)
{
    AudioOutputDevice device{"1", "LG", AudioTransport::hdmi, true, "stale"};
    from_json(json::parse(R"({"id":"2","name":"Dell","transport":"usb","supportsNativeVolume":false})"), device);
    EXPECT_EQ(device, (AudioOutputDevice{"2", "Dell", AudioTransport::usb, false, std::nullopt}));
}

} // namespace
} // namespace quenstal
