// What any program may have a sound server tell: numbers that are none, sizes that are wrong, texts without end.

#include "QuenstalLinux/Audio/ServerLimits.hpp"
#include "QuenstalLinux/Audio/ServerText.hpp"
#include "QuenstalLinux/Audio/VolumePods.hpp"

#include <array>
#include <cstdint>
#include <functional>
#include <limits>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <spa/param/audio/format.h>
#include <spa/param/audio/raw.h>
#include <spa/param/param.h>
#include <spa/param/props.h>
#include <spa/param/route.h>
#include <spa/pod/builder.h>
#include <spa/pod/iter.h>
#include <spa/utils/dict.h>

namespace quenstal {
namespace {

constexpr float infinity = std::numeric_limits<float>::infinity();
constexpr float notANumber = std::numeric_limits<float>::quiet_NaN();

/// An object in the server's binary form, at the very end of its memory: who reads on is found out by the sanitizer.
class Pod {
public:
    using Fill = std::function<void(spa_pod_builder&)>;

    Pod(std::uint32_t type, std::uint32_t id, const Fill& fill)
    {
        std::vector<std::uint8_t> room(1 << 20);
        spa_pod_builder builder{};
        spa_pod_builder_init(&builder, room.data(), static_cast<std::uint32_t>(room.size()));
        spa_pod_frame frame;
        spa_pod_builder_push_object(&builder, &frame, type, id);
        fill(builder);
        spa_pod_builder_pop(&builder, &frame);
        bytes_.assign(room.begin(), room.begin() + builder.state.offset);
    }
    const spa_pod* get() const { return reinterpret_cast<const spa_pod*>(bytes_.data()); }
    /// The array under that key is told to have elements of that size.
    void setElementSize(std::uint32_t key, std::uint32_t size)
    {
        const auto* const object = reinterpret_cast<const spa_pod_object*>(bytes_.data());
        const auto* const property = spa_pod_object_find_prop(object, nullptr, key);
        const auto place = reinterpret_cast<const std::uint8_t*>(&property->value) - bytes_.data();
        reinterpret_cast<spa_pod_array*>(&bytes_[static_cast<std::size_t>(place)])->body.child.size = size;
    }

private:
    std::vector<std::uint8_t> bytes_;
};

void addFactors(spa_pod_builder& builder, const std::vector<float>& factors)
{
    spa_pod_builder_prop(&builder, SPA_PROP_channelVolumes, 0);
    spa_pod_builder_array(
        &builder, sizeof(float), SPA_TYPE_Float, static_cast<std::uint32_t>(factors.size()), factors.data());
}

Pod volumePod(const std::vector<float>& factors, const std::vector<std::uint32_t>& positions = {})
{
    return {SPA_TYPE_OBJECT_Props, SPA_PARAM_Props, [&](spa_pod_builder& builder) {
                addFactors(builder, factors);
                if (positions.empty())
                    return;
                spa_pod_builder_prop(&builder, SPA_PROP_channelMap, 0);
                spa_pod_builder_array(&builder, sizeof(std::uint32_t), SPA_TYPE_Id,
                    static_cast<std::uint32_t>(positions.size()), positions.data());
            }};
}

Pod ratePod(std::int32_t rate)
{
    return {SPA_TYPE_OBJECT_Format, SPA_PARAM_Format, [rate](spa_pod_builder& builder) {
                spa_pod_builder_prop(&builder, SPA_FORMAT_AUDIO_rate, 0);
                spa_pod_builder_int(&builder, rate);
            }};
}

TEST(ServerLimits, aFactorIsANumberThatServersHave)
{
    const struct {
        float told;
        float taken;
    } rows[] = {{0, 0}, {0.5F, 0.5F}, {1, 1}, {3.375F, 3.375F}, {10, 10}, {10.5F, 10}, {1e30F, 10}, {infinity, 10},
        {-0.5F, 0}, {-infinity, 0}, {notANumber, 0}};
    for (const auto& row : rows) {
        const auto volume = parseVolume(volumePod({row.told, 1}).get());
        ASSERT_TRUE(volume);
        EXPECT_EQ(volume->channels, (std::vector{row.taken, 1.0F})) << row.told;
    }
}

TEST(ServerLimits, thereAreNoMoreSpeakersThanAStreamCanHave)
{
    EXPECT_EQ(parseVolume(volumePod(std::vector<float>(64, 1)).get())->channels.size(), 64u);
    EXPECT_EQ(parseVolume(volumePod(std::vector<float>(100'000, 1)).get())->channels.size(), 64u);
    EXPECT_FALSE(parseVolume(volumePod({}).get()));
}

TEST(ServerLimits, speakersWithoutAFactorAreNone)
{
    EXPECT_EQ(parseVolume(volumePod({1, 1}, {3, 4}).get())->positions, (std::vector<std::uint32_t>{3, 4}));
    EXPECT_TRUE(parseVolume(volumePod({1, 1}, std::vector<std::uint32_t>(64, 3)).get())->positions.empty());
    EXPECT_TRUE(parseVolume(volumePod({1, 1}, {3}).get())->positions.empty());
}

TEST(ServerLimits, anArrayWhoseElementsHaveAnotherSizeIsNotRead)
{
    for (const std::uint32_t size : {0U, 1U, 3U, 8U, 256U, 4096U, 0x8000'0000U, 0xFFFF'FFFFU}) {
        Pod pod = volumePod(std::vector<float>(2048, 1));
        pod.setElementSize(SPA_PROP_channelVolumes, size);
        EXPECT_FALSE(parseVolume(pod.get())) << size;
    }
}

TEST(ServerLimits, aRateIsOneThatSoundCardsHave)
{
    const struct {
        std::int32_t told;
        std::uint32_t taken;
    } rows[] = {{48000, 48000}, {4000, 4000}, {768'000, 768'000}, {0, 0}, {1, 0}, {3999, 0}, {768'001, 0},
        {std::numeric_limits<std::int32_t>::max(), 0}, {std::numeric_limits<std::int32_t>::min(), 0}, {-48000, 0}};
    for (const auto& row : rows)
        EXPECT_EQ(parseRate(ratePod(row.told).get()), row.taken) << row.told;
    EXPECT_EQ(parseRate(volumePod({1}).get()), 0u);
    EXPECT_EQ(parseRate(nullptr), 0u);
}

TEST(ServerLimits, aFormatsSpeakersAreNotLookedAt)
{
    Pod pod(SPA_TYPE_OBJECT_Format, SPA_PARAM_Format, [](spa_pod_builder& builder) {
        const std::vector<std::uint32_t> positions(4096, SPA_AUDIO_CHANNEL_FL);
        spa_pod_builder_prop(&builder, SPA_FORMAT_mediaType, 0);
        spa_pod_builder_id(&builder, SPA_MEDIA_TYPE_audio);
        spa_pod_builder_prop(&builder, SPA_FORMAT_mediaSubtype, 0);
        spa_pod_builder_id(&builder, SPA_MEDIA_SUBTYPE_raw);
        spa_pod_builder_prop(&builder, SPA_FORMAT_AUDIO_rate, 0);
        spa_pod_builder_int(&builder, 44100);
        spa_pod_builder_prop(&builder, SPA_FORMAT_AUDIO_position, 0);
        spa_pod_builder_array(&builder, sizeof(std::uint32_t), SPA_TYPE_Id, 4096, positions.data());
    });
    pod.setElementSize(SPA_FORMAT_AUDIO_position, 256);
    EXPECT_EQ(parseRate(pod.get()), 44100u);
}

TEST(ServerLimits, aJackOfAnEndlessKindIsOfNone)
{
    for (const std::size_t length : {4U, 128U, 129U, 60'000U}) {
        const std::string kind(length, 'x');
        const Pod pod(SPA_TYPE_OBJECT_ParamRoute, SPA_PARAM_Route, [&kind](spa_pod_builder& builder) {
            spa_pod_builder_prop(&builder, SPA_PARAM_ROUTE_index, 0);
            spa_pod_builder_int(&builder, std::numeric_limits<std::int32_t>::min());
            spa_pod_builder_prop(&builder, SPA_PARAM_ROUTE_direction, 0);
            spa_pod_builder_id(&builder, SPA_DIRECTION_OUTPUT);
            spa_pod_builder_prop(&builder, SPA_PARAM_ROUTE_device, 0);
            spa_pod_builder_int(&builder, std::numeric_limits<std::int32_t>::max());
            spa_pod_builder_prop(&builder, SPA_PARAM_ROUTE_info, 0);
            spa_pod_frame frame;
            spa_pod_builder_push_struct(&builder, &frame);
            // More than there are.
            spa_pod_builder_int(&builder, 1000);
            spa_pod_builder_string(&builder, "port.type");
            spa_pod_builder_string(&builder, kind.c_str());
            spa_pod_builder_pop(&builder, &frame);
        });
        const auto route = parseOutputRoute(pod.get());
        ASSERT_TRUE(route);
        EXPECT_EQ(route->second.portType, length <= ServerLimits::key ? kind : "") << length;
    }
}

TakenProperties taken(const std::vector<std::pair<std::string, std::string>>& told)
{
    std::vector<spa_dict_item> items;
    for (const auto& [key, value] : told)
        items.push_back({key.c_str(), value.c_str()});
    const spa_dict dictionary{0, static_cast<std::uint32_t>(items.size()), items.data()};
    return takenProperties(&dictionary);
}

TEST(ServerText, aLongDescriptionIsCutAndNotWithinACharacter)
{
    const std::string fits(ServerLimits::description, 'a');
    EXPECT_EQ(taken({{"node.description", fits}}).properties.at("node.description"), fits);
    EXPECT_TRUE(taken({{"node.description", fits}}).areWhole);
    const TakenProperties longer = taken({{"node.description", fits + "b"}});
    EXPECT_EQ(longer.properties.at("node.description"), std::string(ServerLimits::description - 3, 'a') + "…");
    EXPECT_FALSE(longer.areWhole);
    std::string umlauts = "a";
    for (int i = 0; i < 30'000; ++i)
        umlauts += "ü";
    const std::string cut = taken({{"node.description", umlauts}}).properties.at("node.description");
    EXPECT_LE(cut.size(), ServerLimits::description);
    EXPECT_EQ(cut.size() % 2, 0u) << "one a, whole umlauts, and the three bytes of the sign";
    const std::string noText(60'000, '\x80');
    EXPECT_EQ(taken({{"node.description", noText}}).properties.at("node.description"), "…");
}

TEST(ServerText, aNameIsTakenWholeOrNotAtAll)
{
    const std::string fits(ServerLimits::value, 'a');
    EXPECT_EQ(taken({{"node.name", fits}}).properties.at("node.name"), fits);
    const TakenProperties longer = taken({{"node.name", fits + "b"}, {"media.class", "Audio/Sink"}});
    EXPECT_FALSE(longer.properties.contains("node.name"));
    EXPECT_TRUE(longer.properties.contains("media.class"));
    EXPECT_FALSE(longer.areWhole);
}

TEST(ServerText, keysAndTheirNumberHaveAnEnd)
{
    EXPECT_TRUE(taken({{std::string(60'000, 'k'), "v"}}).properties.empty());
    std::vector<std::pair<std::string, std::string>> many;
    for (int i = 0; i < 20'000; ++i)
        many.emplace_back(std::to_string(i), "v");
    EXPECT_EQ(taken(many).properties.size(), ServerLimits::properties);
    EXPECT_FALSE(taken(many).areWhole);
    EXPECT_TRUE(takenProperties(nullptr).properties.empty());
    const spa_dict_item nothing{nullptr, nullptr};
    const spa_dict dictionary{0, 1, &nothing};
    EXPECT_EQ(takenProperties(&dictionary).properties, (AudioProperties{{"", ""}}));
}

TEST(ServerText, theNameInAnObjectIsFoundBesideAnythingElse)
{
    const std::string longest(ServerLimits::value, 'n');
    const auto nested = [](std::size_t depth) {
        return "{\"a\":" + std::string(depth, '[') + std::string(depth, ']') + ",\"name\":\"x\"}";
    };
    const struct {
        std::string json;
        std::string name;
    } rows[] = {
        {R"({"name":"x"})", "x"},
        {R"({ "name": "x" })", "x"},
        {R"({"other":1,"name":"x"})", "x"},
        {R"({"other":{"name":"y"},"name":"x"})", "x"},
        {nested(1000), "x"},
        {nested(100'000), ""},
        {R"({"name":"quoted \"B\""})", "quoted \"B\""},
        {R"({"name":)", ""},
        {R"({"name")", ""},
        {R"({)", ""},
        {"", ""},
        {"null", ""},
        {"\"name\"", ""},
        {"[\"name\",\"x\"]", ""},
        {"{\"name\":\"" + longest + "\"}", longest},
        {"{\"name\":\"" + longest + "n\"}", ""},
        {"{\"name\":\"" + std::string(60'000, 'n') + "\"}", ""},
    };
    for (const auto& row : rows)
        EXPECT_EQ(nameIn(row.json.c_str()), row.name) << row.json.substr(0, 60);
    EXPECT_EQ(nameIn(nullptr), "");
}

TEST(ServerText, noCharacterOfANameEndsItsQuotationMarks)
{
    for (const std::string name : {"plain", "", "B&O \"Beo\" \\", "\", \"x\": \"y", "\n\t\x01\x1f", "Büro"})
        EXPECT_EQ(nameIn(("{ \"name\": " + quotedForJson(name) + " }").c_str()), name);
}

} // namespace
} // namespace quenstal
