#include "QuenstalCore/EnumerationChecks.hpp"
#include "QuenstalCore/Models/Device.hpp"
#include "QuenstalCore/Printing.hpp"

#include <unordered_set>

#include <gtest/gtest.h>

namespace quenstal {
namespace {

using test::expectCases;
using test::expectOnlyRawValuesDecode;

TEST(AudioTransportTest, everyCaseHasItsRawValueAndClassInDeclarationOrder)
{
    struct Row {
        AudioTransport value;
        std::string_view rawValue;
        bool isExternalDisplayLike;
    };
    const std::vector<Row> rows{
        {AudioTransport::builtIn, "builtIn", false},
        {AudioTransport::bluetooth, "bluetooth", false},
        {AudioTransport::usb, "usb", false},
        {AudioTransport::hdmi, "hdmi", true},
        {AudioTransport::displayPort, "displayPort", true},
        {AudioTransport::airPlay, "airPlay", false},
        {AudioTransport::aggregate, "aggregate", false},
        {AudioTransport::unknown, "unknown", false},
    };
    expectCases(rows);
    for (const Row& row : rows)
        EXPECT_EQ(isExternalDisplayLike(row.value), row.isExternalDisplayLike) << row.rawValue;
}

TEST(AudioTransportTest, onlyHDMIAndDisplayPortAreMonitorLikeAndAggregateAndUnknownAreNot)
{
    static_assert(isExternalDisplayLike(AudioTransport::hdmi) && isExternalDisplayLike(AudioTransport::displayPort));
    static_assert(!isExternalDisplayLike(AudioTransport::aggregate) && !isExternalDisplayLike(AudioTransport::unknown));
    const auto cases = allCases<AudioTransport>();
    EXPECT_EQ(std::ranges::count_if(cases, isExternalDisplayLike), 2);
}

TEST(AudioTransportTest, decodingATextThatIsNoRawValueFails)
{
    expectOnlyRawValuesDecode<AudioTransport>();
}

TEST(PermissionStatusTest, everyCaseHasItsRawValueInDeclarationOrderAndOnlyGrantedIsGranted)
{
    struct Row {
        PermissionStatus value;
        std::string_view rawValue;
        bool isGranted;
    };
    const std::vector<Row> rows{
        {PermissionStatus::granted, "granted", true},
        {PermissionStatus::denied, "denied", false},
        {PermissionStatus::notDetermined, "notDetermined", false},
    };
    expectCases(rows);
    for (const Row& row : rows)
        EXPECT_EQ(isGranted(row.value), row.isGranted) << row.rawValue;
}

TEST(PermissionStatusTest, decodingATextThatIsNoRawValueFails)
{
    expectOnlyRawValuesDecode<PermissionStatus>();
}

TEST(PermissionStateTest, allGrantedGrantsBoth)
{
    constexpr PermissionState state = PermissionState::allGranted();
    static_assert(state.accessibility == PermissionStatus::granted);
    static_assert(state.systemAudioCapture == PermissionStatus::granted);
}

TEST(PermissionStateTest, isEqualOnlyWhenBothFieldsAre)
{
    constexpr auto granted = PermissionStatus::granted;
    constexpr auto denied = PermissionStatus::denied;
    static_assert(PermissionState{granted, denied} == PermissionState{granted, denied});
    static_assert(PermissionState{granted, denied} != PermissionState{granted, granted});
    static_assert(PermissionState{granted, denied} != PermissionState{denied, denied});
}

TEST(UnavailableReasonTest, everyCaseHasItsRawValueInDeclarationOrder)
{
    struct Row {
        UnavailableReason value;
        std::string_view rawValue;
    };
    expectCases(std::vector<Row>{
        {UnavailableReason::noOutputDevice, "noOutputDevice"},
        {UnavailableReason::quenstalDisabled, "quenstalDisabled"},
        {UnavailableReason::fixedVolumeDeviceUnsupported, "fixedVolumeDeviceUnsupported"},
        {UnavailableReason::systemAudioCapturePermissionMissing, "systemAudioCapturePermissionMissing"},
        {UnavailableReason::softwareFallbackUnavailable, "softwareFallbackUnavailable"},
    });
}

TEST(UnavailableReasonTest, decodingATextThatIsNoRawValueFails)
{
    expectOnlyRawValuesDecode<UnavailableReason>();
}

TEST(EnumerationTest, aTextThatIsNoRawValueNamesNoCase)
{
    static_assert(fromRawValue<AudioTransport>("hdmi") == AudioTransport::hdmi);
    static_assert(!fromRawValue<AudioTransport>("thunderbolt"));
    for (const std::string_view text : {"", "HDMI", "hdmi ", " hdmi", "hdm", "hdmii"})
        EXPECT_FALSE(fromRawValue<AudioTransport>(text)) << text;
    EXPECT_FALSE(fromRawValue<AudioTransport>(std::string_view("hdmi\0", 5)));
}

TEST(EnumerationDeathTest, aValueThatIsNoneOfTheCasesStopsTheProcess)
{
    EXPECT_DEATH(rawValue(static_cast<AudioTransport>(8)), "programming error: The value is none of its enumeration");
    EXPECT_DEATH(isExternalDisplayLike(static_cast<AudioTransport>(-1)), "programming error");
}

TEST(EnumerationTest, casesCanBeKeptInHashedCollections)
{
    const auto transports = allCases<AudioTransport>();
    EXPECT_EQ(std::unordered_set<AudioTransport>(transports.begin(), transports.end()).size(), transports.size());
}

TEST(AudioOutputDeviceTest, isEqualOnlyWhenEveryFieldIs)
{
    const AudioOutputDevice device{"42", "LG", AudioTransport::displayPort, false, "uid"};
    EXPECT_EQ(device, AudioOutputDevice(device));
    const std::vector<AudioOutputDevice> others{
        {"43", "LG", AudioTransport::displayPort, false, "uid"},
        {"42", "Dell", AudioTransport::displayPort, false, "uid"},
        {"42", "LG", AudioTransport::hdmi, false, "uid"},
        {"42", "LG", AudioTransport::displayPort, true, "uid"},
        {"42", "LG", AudioTransport::displayPort, false, "other"},
        {"42", "LG", AudioTransport::displayPort, false, ""},
        {"42", "LG", AudioTransport::displayPort, false, std::nullopt},
    };
    for (const AudioOutputDevice& other : others)
        EXPECT_NE(device, other);
}

TEST(DisplayControlTargetTest, isEqualOnlyWhenEveryFieldIs)
{
    const DisplayControlTarget display{"7", "LG", true, false};
    EXPECT_EQ(display, DisplayControlTarget(display));
    const std::vector<DisplayControlTarget> others{
        {"8", "LG", true, false},
        {"7", "Dell", true, false},
        {"7", "LG", false, false},
        {"7", "LG", true, true},
    };
    for (const DisplayControlTarget& other : others)
        EXPECT_NE(display, other);
}

} // namespace
} // namespace quenstal
