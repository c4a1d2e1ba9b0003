#include "QuenstalLinux/Keyboards/KeyServiceProtocol.hpp"
#include "QuenstalPlatform/EventTaps.hpp"

#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace quenstal {
namespace {

using testing::UnorderedElementsAre;

TEST(KeyServiceProtocolTest, ofAllShortPacketsExactlySixAreKeys)
{
    std::vector<VolumeKeyPress> understood;
    const auto offer = [&](const std::vector<std::uint8_t>& packet) {
        if (const auto press = pressFrom(packet))
            understood.push_back(*press);
    };
    offer({});
    for (int first = 0; first < 256; ++first) {
        const auto byte = static_cast<std::uint8_t>(first);
        offer({byte});
        for (int second = 0; second < 256; ++second) {
            offer({byte, static_cast<std::uint8_t>(second)});
            for (const std::uint8_t third : std::vector<std::uint8_t>{0, 1, 7, 255})
                offer({byte, static_cast<std::uint8_t>(second), third});
        }
    }
    EXPECT_THAT(understood,
        UnorderedElementsAre(VolumeKeyPress{AuxiliaryButton::soundUp, false},
            VolumeKeyPress{AuxiliaryButton::soundUp, true}, VolumeKeyPress{AuxiliaryButton::soundDown, false},
            VolumeKeyPress{AuxiliaryButton::soundDown, true}, VolumeKeyPress{AuxiliaryButton::mute, false},
            VolumeKeyPress{AuxiliaryButton::mute, true}));
}

TEST(KeyServiceProtocolTest, whatIsPackedIsReadBack)
{
    for (const std::int64_t button : {AuxiliaryButton::soundUp, AuxiliaryButton::soundDown, AuxiliaryButton::mute}) {
        for (const bool isRepeat : {false, true})
            EXPECT_EQ(pressFrom(packetOf({button, isRepeat})), (VolumeKeyPress{button, isRepeat}));
    }
}

TEST(KeyServiceProtocolTest, everyRefusalIsKnownByItsName)
{
    using enum KeyServiceRefusal;
    for (const KeyServiceRefusal refusal : {notActive, notAuthorized, inUse, takenByOther, noAccess, tooMany})
        EXPECT_EQ(refusalFrom(errorName(refusal)), refusal);
    for (const char* foreign : {"", "org.freedesktop.DBus.Error.AccessDenied", "app.quenstal.KeyService1.Error."})
        EXPECT_EQ(refusalFrom(foreign), std::nullopt) << foreign;
}

} // namespace
} // namespace quenstal
