#include "QuenstalCore/Models/Device.hpp"
#include "QuenstalCore/Models/Json.hpp"

#include <unordered_set>

#include <gtest/gtest.h>

namespace quenstal {
namespace {

AudioOutputDevice monitorOutput()
{
    return {"42", "LG UltraFine", AudioTransport::displayPort, false, "uid-42"};
}

TEST(AudioTransportTest, everyCaseHasItsRawValueAndClassInDeclarationOrder)
{
    struct Row {
        AudioTransport transport;
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
    ASSERT_EQ(allCases<AudioTransport>().size(), rows.size());
    for (std::size_t i = 0; i < rows.size(); ++i) {
        SCOPED_TRACE(rows[i].rawValue);
        EXPECT_EQ(allCases<AudioTransport>()[i], rows[i].transport);
        EXPECT_EQ(rawValue(rows[i].transport), rows[i].rawValue);
        EXPECT_EQ(fromRawValue<AudioTransport>(rows[i].rawValue), rows[i].transport);
        EXPECT_EQ(isExternalDisplayLike(rows[i].transport), rows[i].isExternalDisplayLike);
    }
}

TEST(AudioTransportTest, onlyHDMIAndDisplayPortAreMonitorLike)
{
    for (const AudioTransport transport : allCases<AudioTransport>()) {
        const bool isMonitor = transport == AudioTransport::hdmi || transport == AudioTransport::displayPort;
        EXPECT_EQ(isExternalDisplayLike(transport), isMonitor) << rawValue(transport);
    }
}

TEST(AudioTransportTest, aggregateAndUnknownAreNotMonitorLike)
{
    EXPECT_FALSE(isExternalDisplayLike(AudioTransport::aggregate));
    EXPECT_FALSE(isExternalDisplayLike(AudioTransport::unknown));
}

TEST(PermissionStatusTest, onlyGrantedIsGranted)
{
    struct Row {
        PermissionStatus status;
        std::string_view rawValue;
        bool isGranted;
    };
    const std::vector<Row> rows{
        {PermissionStatus::granted, "granted", true},
        {PermissionStatus::denied, "denied", false},
        {PermissionStatus::notDetermined, "notDetermined", false},
    };
    ASSERT_EQ(allCases<PermissionStatus>().size(), rows.size());
    for (std::size_t i = 0; i < rows.size(); ++i) {
        SCOPED_TRACE(rows[i].rawValue);
        EXPECT_EQ(allCases<PermissionStatus>()[i], rows[i].status);
        EXPECT_EQ(rawValue(rows[i].status), rows[i].rawValue);
        EXPECT_EQ(isGranted(rows[i].status), rows[i].isGranted);
    }
}

TEST(PermissionStateTest, allGrantedGrantsBoth)
{
    static_assert(
        PermissionState::allGranted() == PermissionState{PermissionStatus::granted, PermissionStatus::granted});
    EXPECT_TRUE(isGranted(PermissionState::allGranted().accessibility));
    EXPECT_TRUE(isGranted(PermissionState::allGranted().systemAudioCapture));
}

TEST(UnavailableReasonTest, everyCaseHasItsRawValueInDeclarationOrder)
{
    struct Row {
        UnavailableReason reason;
        std::string_view rawValue;
    };
    const std::vector<Row> rows{
        {UnavailableReason::noOutputDevice, "noOutputDevice"},
        {UnavailableReason::quenstalDisabled, "quenstalDisabled"},
        {UnavailableReason::fixedVolumeDeviceUnsupported, "fixedVolumeDeviceUnsupported"},
        {UnavailableReason::systemAudioCapturePermissionMissing, "systemAudioCapturePermissionMissing"},
        {UnavailableReason::softwareFallbackUnavailable, "softwareFallbackUnavailable"},
    };
    ASSERT_EQ(allCases<UnavailableReason>().size(), rows.size());
    for (std::size_t i = 0; i < rows.size(); ++i) {
        SCOPED_TRACE(rows[i].rawValue);
        EXPECT_EQ(allCases<UnavailableReason>()[i], rows[i].reason);
        EXPECT_EQ(rawValue(rows[i].reason), rows[i].rawValue);
    }
}

TEST(EnumerationTest, aTextThatIsNoRawValueNamesNoCase)
{
    static_assert(!fromRawValue<AudioTransport>("thunderbolt"));
    for (const std::string_view text : {"", "HDMI", "hdmi ", " hdmi", "hdm", "hdmii"})
        EXPECT_FALSE(fromRawValue<AudioTransport>(text)) << text;
    EXPECT_FALSE(fromRawValue<PermissionStatus>("Granted"));
    EXPECT_FALSE(fromRawValue<UnavailableReason>("hdmi"));
}

TEST(EnumerationTest, casesCanBeKeptInHashedCollections)
{
    const auto transports = allCases<AudioTransport>();
    EXPECT_EQ(std::unordered_set<AudioTransport>(transports.begin(), transports.end()).size(), transports.size());
}

TEST(AudioOutputDeviceTest, isEqualOnlyWhenEveryFieldIs)
{
    const AudioOutputDevice device = monitorOutput();
    EXPECT_EQ(device, monitorOutput());
    const std::vector<AudioOutputDevice> others{
        {"43", "LG UltraFine", AudioTransport::displayPort, false, "uid-42"},
        {"42", "LG", AudioTransport::displayPort, false, "uid-42"},
        {"42", "LG UltraFine", AudioTransport::hdmi, false, "uid-42"},
        {"42", "LG UltraFine", AudioTransport::displayPort, true, "uid-42"},
        {"42", "LG UltraFine", AudioTransport::displayPort, false, "uid-43"},
        {"42", "LG UltraFine", AudioTransport::displayPort, false, std::nullopt},
    };
    for (const AudioOutputDevice& other : others)
        EXPECT_NE(device, other) << encodeJSON(other);
}

TEST(DisplayControlTargetTest, isEqualOnlyWhenEveryFieldIs)
{
    const DisplayControlTarget display{"7", "LG", true, false};
    EXPECT_EQ(display, (DisplayControlTarget{"7", "LG", true, false}));
    const std::vector<DisplayControlTarget> others{
        {"8", "LG", true, false},
        {"7", "Dell", true, false},
        {"7", "LG", false, false},
        {"7", "LG", true, true},
    };
    for (const DisplayControlTarget& other : others)
        EXPECT_NE(display, other) << encodeJSON(other);
}

} // namespace
} // namespace quenstal
