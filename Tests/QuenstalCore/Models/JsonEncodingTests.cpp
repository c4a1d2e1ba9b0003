#include "QuenstalCore/Models/Json.hpp"
#include "QuenstalCore/Printing.hpp"
#include "Support/Neighbours.hpp"

#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace quenstal {
namespace {

using namespace test;

/// Encodes to exactly this text, and decodes back equal.
template <typename T>
void expectJSON(const T& value, std::string_view text)
{
    EXPECT_EQ(encodeJSON(value), text);
    EXPECT_EQ(decodeJSON<T>(text), value);
}

TEST(JsonEncodingTest, aDeviceHasItsKeysInFieldOrder)
{
    expectJSON(AudioOutputDevice{"42", "LG", AudioTransport::displayPort, true, "uid"},
        R"({"id":"42","name":"LG","transport":"displayPort","supportsNativeVolume":true,"coreAudioUID":"uid"})");
}

TEST(JsonEncodingTest, aDeviceWithNoUIDEncodesWithoutThatKeyAndDecodesBackEqual)
{
    expectJSON(AudioOutputDevice{"42", "LG", AudioTransport::builtIn, false, std::nullopt},
        R"({"id":"42","name":"LG","transport":"builtIn","supportsNativeVolume":false})");
}

TEST(JsonEncodingTest, anEmptyUIDIsNotAnAbsentOne)
{
    expectJSON(AudioOutputDevice{"", "", AudioTransport::usb, false, ""},
        R"({"id":"","name":"","transport":"usb","supportsNativeVolume":false,"coreAudioUID":""})");
}

TEST(JsonEncodingTest, aDisplayHasItsKeysInFieldOrder)
{
    expectJSON(DisplayControlTarget{"7", "LG", true, false},
        R"({"id":"7","name":"LG","supportsDDC":true,"supportsVolumeCommand":false})");
}

TEST(JsonEncodingTest, permissionsHaveTheirKeysInFieldOrder)
{
    expectJSON(PermissionState{PermissionStatus::granted, PermissionStatus::notDetermined},
        R"({"accessibility":"granted","systemAudioCapture":"notDetermined"})");
}

TEST(JsonEncodingTest, aModeIsAnObjectWithOneKey)
{
    struct Row {
        ControlMode mode;
        std::string json;
    };
    const std::vector<Row> rows{
        {ControlMode::systemVolume("42"), R"({"systemVolume":{"deviceID":"42"}})"},
        {ControlMode::hardwareDDC("7"), R"({"hardwareDDC":{"displayID":"7"}})"},
        {ControlMode::softwareTap("42"), R"({"softwareTap":{"deviceID":"42"}})"},
        {ControlMode::unavailable(UnavailableReason::noOutputDevice), R"({"unavailable":{"_0":"noOutputDevice"}})"},
        {ControlMode::disabled(), R"({"disabled":{}})"},
    };
    for (const Row& row : rows)
        expectJSON(row.mode, row.json);
}

TEST(JsonEncodingTest, everyUnavailableReasonStandsUnderItsUnlabelledKey)
{
    for (const UnavailableReason reason : allCases<UnavailableReason>())
        expectJSON(
            ControlMode::unavailable(reason), R"({"unavailable":{"_0":")" + std::string(rawValue(reason)) + R"("}})");
}

TEST(JsonEncodingTest, disabledEncodesAsAnEmptyNestedObject)
{
    EXPECT_EQ(encodeJSON(ControlMode::disabled()), R"({"disabled":{}})");
}

TEST(JsonEncodingTest, aVolumeHasItsKeysInFieldOrder)
{
    expectJSON(VolumeSnapshot(0.5, true), R"({"level":0.5,"isMuted":true})");
}

TEST(JsonEncodingTest, aBandHasItsKeysInFieldOrder)
{
    expectJSON(EQBand{3, 4000, "H-MID", -2.5}, R"({"id":3,"frequencyHz":4000,"label":"H-MID","gainDB":-2.5})");
}

TEST(JsonEncodingTest, aProfileHasItsKeysInFieldOrder)
{
    expectJSON(EQProfile(true, EQPresetName::voice, 0),
        R"({"enabled":true,"preset":"voice","bands":[)"
        R"({"id":0,"frequencyHz":60,"label":"LOW","gainDB":-3},)"
        R"({"id":1,"frequencyHz":250,"label":"L-MID","gainDB":-1},)"
        R"({"id":2,"frequencyHz":1000,"label":"MID","gainDB":4},)"
        R"({"id":3,"frequencyHz":4000,"label":"H-MID","gainDB":3},)"
        R"({"id":4,"frequencyHz":12000,"label":"HIGH","gainDB":0}],"preampDB":0})");
}

TEST(JsonEncodingTest, aProfileWithoutBandsHasAnEmptyList)
{
    EQProfile profile;
    profile.bands.clear();
    expectJSON(profile, R"({"enabled":false,"preset":"flat","bands":[],"preampDB":0})");
}

TEST(JsonEncodingTest, levelsHaveTheirKeysInFieldOrder)
{
    expectJSON(SoundLevelSnapshot(0.25, 0.5, 0.75, 1, true),
        R"({"levelL":0.25,"levelR":0.5,"peakL":0.75,"peakR":1,"clipping":true})");
}

TEST(JsonEncodingTest, anIssueHasItsKeysInFieldOrder)
{
    expectJSON(DiagnosticIssue{DiagnosticCode::ddcUnavailable, DiagnosticSeverity::info, "A.", "B."},
        R"({"code":"ddcUnavailable","severity":"info","message":"A.","recoverySuggestion":"B."})");
}

TEST(JsonEncodingTest, anIssueWithoutSuggestionEncodesWithoutThatKeyAndDecodesBackEqual)
{
    expectJSON(DiagnosticIssue{DiagnosticCode::commandIgnored, DiagnosticSeverity::error, "A.", std::nullopt},
        R"({"code":"commandIgnored","severity":"error","message":"A."})");
}

TEST(JsonEncodingTest, theProcessingStateNestsTheFormsOfItsFields)
{
    AudioProcessingState state;
    state.profile.bands = {EQBand{0, 60, "LOW", 0.5}};
    state.diagnostic = AudioProcessingDiagnostic::ddcHardwareMode;
    state.canSwitchToSoftware = true;
    expectJSON(state,
        R"({"profile":{"enabled":false,"preset":"flat","bands":[{"id":0,"frequencyHz":60,"label":"LOW","gainDB":0.5}],)"
        R"("preampDB":0},"levels":{"levelL":0,"levelR":0,"peakL":0,"peakR":0,"clipping":false},)"
        R"("diagnostic":"ddcHardwareMode","canSwitchToSoftware":true,"boostHintVisible":false})");
}

TEST(JsonEncodingTest, wholeNumbersHaveNoFraction)
{
    struct Row {
        double level;
        std::string number;
    };
    const std::vector<Row> rows{
        {0, "0"},
        {-0.0, "0"},
        {1, "1"},
        {-3, "-3"},
        {0.5, "0.5"},
        {-2.5, "-2.5"},
        {0.1, "0.1"},
        {1e15, "1000000000000000"},
        {9007199254740991, "9007199254740991"},
        {-9007199254740991, "-9007199254740991"},
        {9007199254740992, "9.007199254740992e+15"},
        {1e300, "1e+300"},
        {-largestDouble, "-1.7976931348623157e+308"},
        {smallestDouble, "5e-324"},
        {justBelow(1), "0.9999999999999999"},
        {justAbove(1), "1.0000000000000002"},
    };
    for (const Row& row : rows) {
        VolumeSnapshot volume;
        volume.level = row.level;
        expectJSON(volume, R"({"level":)" + row.number + R"(,"isMuted":false})");
    }
}

TEST(JsonEncodingTest, textsAreEscapedAndKeptAsUTF8)
{
    struct Row {
        std::string text;
        std::string json;
    };
    const std::vector<Row> rows{
        {"a\"b\\c/d", R"("a\"b\\c/d")"},
        {"line\nfeed\ttab", R"("line\nfeed\ttab")"},
        {std::string("nul\0bell\a", 9), R"("nul\u0000bell\u0007")"},
        {"Büro 音 🔊", R"("Büro 音 🔊")"},
    };
    for (const Row& row : rows)
        expectJSON(ControlMode::systemVolume(row.text), R"({"systemVolume":{"deviceID":)" + row.json + "}}");
}

TEST(JsonEncodingTest, aNumberThatIsNotFiniteCannotBeEncoded)
{
    for (const double number : {notANumber, infinity, -infinity}) {
        SCOPED_TRACE(number);
        VolumeSnapshot volume;
        volume.level = number;
        EXPECT_THROW(encodeJSON(volume), EncodingError);
        EQProfile profile;
        profile.preampDB = number;
        EXPECT_THROW(encodeJSON(profile), EncodingError);
        profile = EQProfile::defaultProfile();
        profile.bands[4].frequencyHz = number;
        EXPECT_THROW(encodeJSON(profile), EncodingError);
        profile = EQProfile::defaultProfile();
        profile.bands[4].gainDB = number;
        EXPECT_THROW(encodeJSON(profile), EncodingError);
        SoundLevelSnapshot levels;
        levels.peakR = number;
        EXPECT_THROW(encodeJSON(levels), EncodingError);
    }
}

TEST(JsonEncodingTest, aTextThatIsNotUTF8CannotBeEncoded)
{
    for (const char* text : {"\xFF", "abc\xC3", "\xED\xA0\x80", "\xC0\xAF", "\xF4\x90\x80\x80"}) {
        EXPECT_THROW(encodeJSON(ControlMode::softwareTap(text)), EncodingError);
        EXPECT_THROW(encodeJSON(DisplayControlTarget{"7", text, true, true}), EncodingError);
    }
}

TEST(JsonEncodingTest, theErrorSaysWhatCannotBeEncoded)
{
    VolumeSnapshot volume;
    volume.level = notANumber;
    try {
        encodeJSON(volume);
        ADD_FAILURE() << "encoded";
    } catch (const std::exception& error) {
        EXPECT_STREQ(error.what(), "A number that is not finite has no JSON form.");
    }
    try {
        encodeJSON(ControlMode::softwareTap("\xFF"));
        ADD_FAILURE() << "encoded";
    } catch (const std::exception& error) {
        EXPECT_STREQ(error.what(), "A text that is not UTF-8 has no JSON form.");
    }
}

} // namespace
} // namespace quenstal
