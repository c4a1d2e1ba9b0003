#include "QuenstalPlatform/VcpMessages.hpp"

#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace quenstal {
namespace {

using Bytes = std::vector<std::uint8_t>;
using testing::ElementsAre;

constexpr VcpFeature audioMute = 0x8D;
constexpr VcpFeature version = 0xDF;

VcpReply read(const Bytes& bytes)
{
    VcpReply reply{};
    std::ranges::copy(bytes, reply.begin());
    return reply;
}

TEST(VcpMessagesTest, questionsAndSetsAreTheBytesOfTheStandard)
{
    EXPECT_THAT(vcpQuestion(speakerVolumeFeature), ElementsAre(0x51, 0x82, 0x01, 0x62, 0xDE));
    EXPECT_THAT(vcpQuestion(audioMute), ElementsAre(0x51, 0x82, 0x01, 0x8D, 0x31));
    EXPECT_THAT(vcpQuestion(version), ElementsAre(0x51, 0x82, 0x01, 0xDF, 0x63));
    EXPECT_THAT(vcpSet({speakerVolumeFeature, 40}), ElementsAre(0x51, 0x84, 0x03, 0x62, 0x00, 0x28, 0xF2));
    EXPECT_THAT(vcpSet({speakerVolumeFeature, 0x0123}), ElementsAre(0x51, 0x84, 0x03, 0x62, 0x01, 0x23, 0xF8));
    EXPECT_THAT(vcpSet({audioMute, 0xFFFF}), ElementsAre(0x51, 0x84, 0x03, 0x8D, 0xFF, 0xFF, 0x35));
}

TEST(VcpMessagesTest, aReplyIsTheBytesOfTheStandard)
{
    EXPECT_THAT(vcpReply(speakerVolumeFeature, vcp::noError, {.current = 37, .maximum = 100}),
        ElementsAre(0x6E, 0x88, 0x02, 0x00, 0x62, 0x00, 0x00, 0x64, 0x00, 0x25, 0x97));
    EXPECT_THAT(vcpReply(version, vcp::noError, {.current = 0x0202, .maximum = 0xFFFF}),
        ElementsAre(0x6E, 0x88, 0x02, 0x00, 0xDF, 0x00, 0xFF, 0xFF, 0x02, 0x02, 0x6B));
    EXPECT_THAT(vcp::toHost<0>({}), ElementsAre(0x6E, 0x80, 0xBE)) << "the message that says nothing";
}

struct RequestRow {
    const char* what;
    Bytes message;
    std::optional<VcpFeature> question;
    std::optional<VcpSetting> setting;
};

TEST(VcpMessagesTest, aDisplayUnderstandsMessagesThatAddUp)
{
    // clang-format off
    const std::vector<RequestRow> rows{
        {"a question",           {0x51, 0x82, 0x01, 0x62, 0xDE},             0x62,         std::nullopt},
        {"a Set",                {0x51, 0x84, 0x03, 0x62, 0x12, 0x34, 0xFC}, std::nullopt, VcpSetting{0x62, 0x1234}},
        {"nothing",              {},                                         std::nullopt, std::nullopt},
        {"what wakes the bus",   {0x51},                                     std::nullopt, std::nullopt},
        {"no payload",           {0x51, 0x80, 0xBF},                         std::nullopt, std::nullopt},
        {"a bit lost",           {0x51, 0x82, 0x01, 0x62, 0xDF},             std::nullopt, std::nullopt},
        {"another length",       {0x51, 0x83, 0x01, 0x62, 0xDF},             std::nullopt, std::nullopt},
        {"no flag",              {0x51, 0x02, 0x01, 0x62, 0x5E},             std::nullopt, std::nullopt},
        {"another source",       {0x50, 0x82, 0x01, 0x62, 0xDF},             std::nullopt, std::nullopt},
        {"another opcode",       {0x51, 0x82, 0x07, 0x62, 0xD8},             std::nullopt, std::nullopt},
        {"a Set without value",  {0x51, 0x82, 0x03, 0x62, 0xDC},             std::nullopt, std::nullopt},
        {"one byte too many",    {0x51, 0x83, 0x01, 0x62, 0x00, 0xDF},       std::nullopt, std::nullopt},
    };
    // clang-format on
    for (const RequestRow& row : rows) {
        SCOPED_TRACE(row.what);
        EXPECT_EQ(questionIn(row.message), row.question);
        EXPECT_EQ(settingIn(row.message), row.setting);
    }
}

struct ReplyRow {
    const char* what;
    Bytes reply;
    std::optional<VcpValue> value;
    bool isDamaged;
    bool isUnsupported;
};

TEST(VcpMessagesTest, aHostFindsTheValueWhereverItStandsAndKnowsDamage)
{
    // clang-format off
    const std::vector<ReplyRow> rows{
        {"good",                    {0x6E, 0x88, 2, 0, 0x62, 0, 0, 100, 0, 37, 0x97},                VcpValue{37, 100},           false, false},
        {"a wrong sum",             {0x6E, 0x88, 2, 0, 0x62, 0, 0, 100, 0, 37, 0x98},                VcpValue{37, 100},           true,  false},
        {"a bit of the value lost", {0x6E, 0x88, 2, 0, 0x62, 0, 0, 100, 0, 36, 0x97},                VcpValue{36, 100},           true,  false},
        {"one byte in front",       {0x6E, 0x6E, 0x88, 2, 0, 0x62, 0, 0, 100, 0, 37, 0},             VcpValue{37, 100},           false, false},
        {"six bytes in front",      {9, 9, 9, 9, 9, 9, 9, 9, 2, 0, 0x62, 0, 1, 2, 3, 4},             VcpValue{0x0304, 0x0102},    false, false},
        {"seven bytes in front",    {9, 9, 9, 9, 9, 9, 9, 9, 9, 2, 0, 0x62, 0, 0, 100, 0},           std::nullopt,                false, false},
        {"the largest there is",    {0x6E, 0x88, 2, 0, 0x62, 0, 0xFF, 0xFF, 0xFF, 0xFF, 0xD6},       VcpValue{0xFFFF, 0xFFFF},    false, false},
        {"unsupported",             {0x6E, 0x88, 2, 1, 0x62, 0, 0, 0, 0, 0, 0xD7},                   std::nullopt,                false, true},
        {"so, with a wrong sum",    {0x6E, 0x88, 2, 1, 0x62, 0, 0, 0, 0, 0, 0xD6},                   std::nullopt,                true,  false},
        {"of another feature",      {0x6E, 0x88, 2, 0, 0x10, 0, 0, 100, 0, 37, 0xE5},                std::nullopt,                false, false},
        {"empty",                   {0x6E, 0x80, 0xBE},                                              std::nullopt,                false, false},
        {"nothing at all",          {},                                                              std::nullopt,                false, false},
    };
    // clang-format on
    for (const ReplyRow& row : rows) {
        SCOPED_TRACE(row.what);
        EXPECT_EQ(valueIn(read(row.reply), speakerVolumeFeature), row.value);
        EXPECT_EQ(isDamaged(read(row.reply)), row.isDamaged);
        EXPECT_EQ(saysUnsupported(read(row.reply), speakerVolumeFeature), row.isUnsupported);
    }
}

TEST(VcpMessagesTest, whatIsWrittenIsWhatIsRead)
{
    for (const VcpFeature feature : {speakerVolumeFeature, audioMute, version}) {
        for (const VcpValue value : {VcpValue{0, 0}, VcpValue{37, 100}, VcpValue{0xFFFF, 0x0100}}) {
            const auto bytes = vcpReply(feature, vcp::noError, value);
            const VcpReply reply = read({bytes.begin(), bytes.end()});
            EXPECT_EQ(valueIn(reply, feature), value);
            EXPECT_FALSE(isDamaged(reply));
            EXPECT_EQ(settingIn(vcpSet({feature, value.current})), (VcpSetting{feature, value.current}));
        }
        EXPECT_EQ(questionIn(vcpQuestion(feature)), feature);
    }
}

} // namespace
} // namespace quenstal
