// A sound output for a private audio session, plugged in for as long as this program runs.
//
//   audio_session_card monitor   a monitor on HDMI: fixed volume
//   audio_session_card monitor2  another one
//   audio_session_card socket    a monitor on a card of the computer: the server makes its volume, the card keeps it
//   audio_session_card surround  one with six speakers
//   audio_session_card usb       a USB card with a volume of its own, carried out by its hardware
//   audio_session_card builtin   built-in loudspeakers
//   audio_session_card talkative a monitor with a description of 60 kB, and quotation marks in its name
//   audio_session_card endless   a monitor with a name of 5 kB
//   audio_session_card theatre   a USB amplifier with six speakers, whose volume the server carries out
//
// Prints "ready" when the server shows it, and the card's own volume whenever it is set, as sliders show it: "volume
// 0.40", "volume 0.40 muted".

#include <array>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include <pipewire/pipewire.h>
#include <spa/monitor/device.h>
#include <spa/monitor/utils.h>
#include <spa/param/audio/raw.h>
#include <spa/param/param.h>
#include <spa/param/props.h>
#include <spa/param/route.h>
#include <spa/pod/builder.h>
#include <spa/pod/iter.h>

namespace {

using Properties = std::map<std::string, std::string>;

struct Output {
    Properties node;
    /// Empty for an output without a card.
    Properties card = {};
    /// The card's hardware carries the volume out, not the server.
    bool hardware = true;
};

const std::map<std::string_view, Output> outputs{
    {"monitor",
        {{
            {"node.name", "alsa_output.pci-0000_01_00.1.hdmi-stereo"},
            {"node.description", "Simulated Monitor"},
            {"audio.position", "FL,FR"},
            {"device.api", "alsa"},
            {"device.bus", "pci"},
            {"api.alsa.path", "hdmi:0"},
            {"device.profile.name", "hdmi-stereo"},
            {"priority.session", "700"},
            {"priority.driver", "700"},
        }}},
    {"monitor2",
        {{
            {"node.name", "alsa_output.pci-0000_01_00.1.hdmi-stereo-extra1"},
            {"node.description", "Second Monitor"},
            {"audio.position", "FL,FR"},
            {"device.api", "alsa"},
            {"device.bus", "pci"},
            {"api.alsa.path", "hdmi:0,1"},
            {"device.profile.name", "hdmi-stereo-extra1"},
            {"priority.session", "600"},
            {"priority.driver", "600"},
        }}},
    {"socket",
        {{
             {"node.name", "alsa_output.pci-0000_02_00.1.hdmi-stereo"},
             {"node.description", "Monitor on a Card"},
             {"audio.position", "FL,FR"},
             {"device.api", "alsa"},
             {"api.alsa.path", "hdmi:2"},
             {"device.profile.name", "hdmi-stereo"},
             {"card.profile.device", "0"},
             {"device.routes", "1"},
             {"priority.session", "750"},
             {"priority.driver", "750"},
         },
            {
                {"device.name", "alsa_card.pci-0000_02_00.1"},
                {"device.description", "Simulated Graphics Card"},
                {"device.api", "alsa"},
                {"device.bus", "pci"},
                {"media.class", "Audio/Device"},
            },
            false}},
    {"surround",
        {{
            {"node.name", "alsa_output.pci-0000_01_00.1.hdmi-surround"},
            {"node.description", "Surround Monitor"},
            {"audio.position", "FL,FR,FC,LFE,RL,RR"},
            {"device.api", "alsa"},
            {"device.bus", "pci"},
            {"api.alsa.path", "hdmi:0"},
            {"device.profile.name", "hdmi-surround"},
            {"priority.session", "500"},
            {"priority.driver", "500"},
        }}},
    {"usb",
        {{
             {"node.name", "alsa_output.usb-Simulated_DAC-00.analog-stereo"},
             {"node.description", "Simulated USB DAC"},
             {"audio.position", "FL,FR"},
             {"device.api", "alsa"},
             {"api.alsa.path", "front:9"},
             {"device.profile.name", "analog-stereo"},
             {"card.profile.device", "0"},
             {"device.routes", "1"},
             {"alsa.device", "0"},
             {"priority.session", "400"},
             {"priority.driver", "400"},
         },
            {
                {"device.name", "alsa_card.usb-Simulated_DAC-00"},
                {"device.description", "Simulated USB DAC"},
                {"device.api", "alsa"},
                {"device.bus", "usb"},
                {"alsa.card", "9"},
                {"media.class", "Audio/Device"},
            }}},
    {"builtin",
        {{
            {"node.name", "alsa_output.pci-0000_00_1f.3.analog-stereo"},
            {"node.description", "Simulated Loudspeakers"},
            {"audio.position", "FL,FR"},
            {"device.api", "alsa"},
            {"device.bus", "pci"},
            {"device.form-factor", "internal"},
            {"api.alsa.path", "front:0"},
            {"device.profile.name", "analog-stereo"},
            {"priority.session", "300"},
            {"priority.driver", "300"},
        }}},
    {"talkative",
        {{
            {"node.name", "alsa_output.\"B&O\" }"},
            {"node.description", std::string(60'000, 'W')},
            {"audio.position", "FL,FR"},
            {"device.api", "alsa"},
            {"device.bus", "pci"},
            {"device.profile.name", "hdmi-stereo"},
            {"priority.session", "800"},
            {"priority.driver", "800"},
        }}},
    {"endless",
        {{
            {"node.name", "alsa_output." + std::string(5000, 'n')},
            {"node.description", "Endless Monitor"},
            {"audio.position", "FL,FR"},
            {"device.api", "alsa"},
            {"device.bus", "pci"},
            {"device.profile.name", "hdmi-stereo"},
            {"priority.session", "900"},
            {"priority.driver", "900"},
        }}},
    {"theatre",
        {{
            {"node.name", "alsa_output.usb-Simulated_Theatre-00.analog-surround-51"},
            {"node.description", "Simulated Theatre"},
            {"audio.position", "FL,FR,FC,LFE,RL,RR"},
            {"device.api", "alsa"},
            {"device.bus", "usb"},
            {"device.profile.name", "analog-surround-51"},
            {"priority.session", "200"},
            {"priority.driver", "200"},
        }}},
};

pw_properties* toProperties(const Properties& properties)
{
    pw_properties* const made = pw_properties_new(nullptr, nullptr);
    for (const auto& [key, value] : properties)
        pw_properties_set(made, key.c_str(), value.c_str());
    return made;
}

void announceReady(void*, std::uint32_t)
{
    std::puts("ready");
    std::fflush(stdout);
}

/// Announces itself when the server has given it a number.
class Node {
public:
    void plugIn(pw_core* core, const Properties& properties, std::uint32_t card)
    {
        pw_properties* const all = toProperties(properties);
        pw_properties_set(all, "factory.name", "support.null-audio-sink");
        pw_properties_set(all, "media.class", "Audio/Sink");
        // Who records it hears what its loudspeakers would play.
        pw_properties_set(all, "monitor.channel-volumes", "true");
        if (card != SPA_ID_INVALID)
            pw_properties_setf(all, "device.id", "%u", card);
        proxy_ = static_cast<pw_proxy*>(
            pw_core_create_object(core, "adapter", PW_TYPE_INTERFACE_Node, PW_VERSION_NODE, &all->dict, 0));
        pw_properties_free(all);
        pw_proxy_add_listener(proxy_, &hook_, &events, nullptr);
    }

    bool isPluggedIn() const { return proxy_ != nullptr; }
    /// The samples are scaled from now on.
    void setVolume(const std::array<float, 2>& factors, bool muted)
    {
        std::array<std::uint8_t, 512> bytes{};
        spa_pod_builder builder{};
        spa_pod_builder_init(&builder, bytes.data(), static_cast<std::uint32_t>(bytes.size()));
        spa_pod_frame frame;
        spa_pod_builder_push_object(&builder, &frame, SPA_TYPE_OBJECT_Props, SPA_PARAM_Props);
        spa_pod_builder_prop(&builder, SPA_PROP_mute, 0);
        spa_pod_builder_bool(&builder, muted);
        spa_pod_builder_prop(&builder, SPA_PROP_channelVolumes, 0);
        spa_pod_builder_array(&builder, sizeof(float), SPA_TYPE_Float, 2, factors.data());
        const auto* const props = static_cast<const spa_pod*>(spa_pod_builder_pop(&builder, &frame));
        pw_node_set_param(reinterpret_cast<pw_node*>(proxy_), SPA_PARAM_Props, 0, props);
    }

private:
    static constexpr pw_proxy_events events = [] {
        pw_proxy_events made{};
        made.version = PW_VERSION_PROXY_EVENTS;
        made.bound = announceReady;
        return made;
    }();
    pw_proxy* proxy_ = nullptr;
    spa_hook hook_{};
};

/// A card with one jack, whose volume is a property of the hardware.
class Card {
public:
    explicit Card(const Output& output)
        : output_(output)
    {
        device_.iface = SPA_INTERFACE_INIT(SPA_TYPE_INTERFACE_Device, SPA_VERSION_DEVICE, &methods, this);
        spa_hook_list_init(&hooks_);
        for (const auto& [key, value] : output_.card)
            items_.push_back({key.c_str(), value.c_str()});
        dictionary_ = SPA_DICT_INIT(items_.data(), static_cast<std::uint32_t>(items_.size()));
        parameters_[0] = SPA_PARAM_INFO(SPA_PARAM_EnumRoute, SPA_PARAM_INFO_READ);
        parameters_[1] = SPA_PARAM_INFO(SPA_PARAM_Route, SPA_PARAM_INFO_READWRITE);
    }

    void plugIn(pw_core* core)
    {
        core_ = core;
        auto* const proxy
            = static_cast<pw_proxy*>(pw_core_export(core, SPA_TYPE_INTERFACE_Device, &dictionary_, &device_, 0));
        pw_proxy_add_listener(proxy, &proxyHook_, &proxyEvents, this);
    }

private:
    static Card& self(void* object) { return *static_cast<Card*>(object); }

    static void bound(void* data, std::uint32_t id)
    {
        self(data).node_.plugIn(self(data).core_, self(data).output_.node, id);
    }

    static int addListener(void* object, spa_hook* listener, const spa_device_events* events, void* data)
    {
        Card& card = self(object);
        spa_hook_list others;
        spa_hook_list_isolate(&card.hooks_, &others, listener, events, data);
        card.emit(SPA_DEVICE_CHANGE_MASK_PROPS | SPA_DEVICE_CHANGE_MASK_PARAMS);
        spa_hook_list_join(&card.hooks_, &others);
        return 0;
    }
    static int sync(void* object, int sequence)
    {
        spa_device_emit_result(&self(object).hooks_, sequence, 0, 0, nullptr);
        return 0;
    }
    static int enumParams(
        void* object, int sequence, std::uint32_t id, std::uint32_t start, std::uint32_t, const spa_pod*)
    {
        Card& card = self(object);
        if (id != SPA_PARAM_EnumRoute && id != SPA_PARAM_Route)
            return -ENOENT;
        if (start > 0)
            return 0;
        std::array<std::uint8_t, 2048> bytes{};
        spa_pod_builder builder{};
        spa_pod_builder_init(&builder, bytes.data(), static_cast<std::uint32_t>(bytes.size()));
        spa_result_device_params result{};
        result.id = id;
        result.next = 1;
        result.param = card.route(builder, id);
        spa_device_emit_result(&card.hooks_, sequence, 0, SPA_RESULT_TYPE_DEVICE_PARAMS, &result);
        return 0;
    }
    static int setParam(void* object, std::uint32_t id, std::uint32_t, const spa_pod* param)
    {
        Card& card = self(object);
        const auto* const route = reinterpret_cast<const spa_pod_object*>(param);
        const auto* const props = id == SPA_PARAM_Route && param
            ? spa_pod_object_find_prop(route, nullptr, SPA_PARAM_ROUTE_props)
            : nullptr;
        if (!props)
            return -EINVAL;
        const auto* const wanted = reinterpret_cast<const spa_pod_object*>(&props->value);
        if (const auto* const factors = spa_pod_object_find_prop(wanted, nullptr, SPA_PROP_channelVolumes)) {
            // One for all channels is how a session manager sets up a new card.
            if (spa_pod_copy_array(&factors->value, SPA_TYPE_Float, card.factors_.data(), 2) == 1)
                card.factors_[1] = card.factors_[0];
        }
        if (const auto* const mute = spa_pod_object_find_prop(wanted, nullptr, SPA_PROP_mute))
            spa_pod_get_bool(&mute->value, &card.muted_);
        // As a session manager does with what a card tells it.
        if (!card.output_.hardware && card.node_.isPluggedIn())
            card.node_.setVolume(card.factors_, card.muted_);
        std::printf("volume %.2f%s\n", static_cast<double>(std::cbrt(card.factors_[0])), card.muted_ ? " muted" : "");
        std::fflush(stdout);
        card.parameters_[1].flags ^= SPA_PARAM_INFO_SERIAL;
        card.emit(SPA_DEVICE_CHANGE_MASK_PARAMS);
        return 0;
    }

    void emit(std::uint64_t changes)
    {
        info_.version = SPA_VERSION_DEVICE_INFO;
        info_.change_mask = changes;
        info_.props = &dictionary_;
        info_.params = parameters_.data();
        info_.n_params = static_cast<std::uint32_t>(parameters_.size());
        spa_device_emit_info(&hooks_, &info_);
    }

    spa_pod* route(spa_pod_builder& builder, std::uint32_t id)
    {
        spa_pod_frame frames[2];
        const auto property
            = [&](std::uint32_t key, std::uint32_t flags = 0) { spa_pod_builder_prop(&builder, key, flags); };
        spa_pod_builder_push_object(&builder, &frames[0], SPA_TYPE_OBJECT_ParamRoute, id);
        property(SPA_PARAM_ROUTE_index);
        spa_pod_builder_int(&builder, 0);
        property(SPA_PARAM_ROUTE_direction);
        spa_pod_builder_id(&builder, SPA_DIRECTION_OUTPUT);
        property(SPA_PARAM_ROUTE_name);
        spa_pod_builder_string(&builder, "analog-output");
        property(SPA_PARAM_ROUTE_description);
        spa_pod_builder_string(&builder, "Line Out");
        property(SPA_PARAM_ROUTE_priority);
        spa_pod_builder_int(&builder, 100);
        property(SPA_PARAM_ROUTE_available);
        spa_pod_builder_id(&builder, SPA_PARAM_AVAILABILITY_yes);
        property(SPA_PARAM_ROUTE_devices);
        const std::int32_t device = 0;
        spa_pod_builder_array(&builder, sizeof device, SPA_TYPE_Int, 1, &device);
        if (id == SPA_PARAM_Route) {
            property(SPA_PARAM_ROUTE_device);
            spa_pod_builder_int(&builder, 0);
            property(SPA_PARAM_ROUTE_props);
            spa_pod_builder_push_object(&builder, &frames[1], SPA_TYPE_OBJECT_Props, id);
            const std::uint32_t flags = output_.hardware ? SPA_POD_PROP_FLAG_HARDWARE : 0;
            property(SPA_PROP_mute, flags);
            spa_pod_builder_bool(&builder, muted_);
            property(SPA_PROP_channelVolumes, flags);
            spa_pod_builder_array(&builder, sizeof(float), SPA_TYPE_Float, 2, factors_.data());
            const std::array<std::uint32_t, 2> positions{SPA_AUDIO_CHANNEL_FL, SPA_AUDIO_CHANNEL_FR};
            property(SPA_PROP_channelMap);
            spa_pod_builder_array(&builder, sizeof(std::uint32_t), SPA_TYPE_Id, 2, positions.data());
            spa_pod_builder_pop(&builder, &frames[1]);
            property(SPA_PARAM_ROUTE_save);
            spa_pod_builder_bool(&builder, false);
        }
        return static_cast<spa_pod*>(spa_pod_builder_pop(&builder, &frames[0]));
    }

    static constexpr spa_device_methods methods{SPA_VERSION_DEVICE_METHODS, addListener, sync, enumParams, setParam};
    static constexpr pw_proxy_events proxyEvents = [] {
        pw_proxy_events made{};
        made.version = PW_VERSION_PROXY_EVENTS;
        made.bound = bound;
        return made;
    }();

    const Output& output_;
    pw_core* core_ = nullptr;
    spa_device device_{};
    spa_hook_list hooks_{};
    spa_hook proxyHook_{};
    std::vector<spa_dict_item> items_;
    spa_dict dictionary_{};
    std::array<spa_param_info, 2> parameters_{};
    spa_device_info info_{};
    std::array<float, 2> factors_{1, 1};
    bool muted_ = false;
    Node node_;
};

} // namespace

int main(int argc, char** argv)
{
    const auto output = outputs.find(argc == 2 ? argv[1] : "");
    if (output == outputs.end()) {
        std::fputs("usage: audio_session_card monitor|monitor2|socket|surround|usb|builtin|theatre|talkative|endless\n",
            stderr);
        return 2;
    }
    pw_init(nullptr, nullptr);
    pw_main_loop* const loop = pw_main_loop_new(nullptr);
    pw_context* const context = pw_context_new(pw_main_loop_get_loop(loop), nullptr, 0);
    pw_core* const core = pw_context_connect(context, nullptr, 0);
    if (!core) {
        std::perror("pw_context_connect");
        return 1;
    }
    Card card(output->second);
    Node node;
    if (output->second.card.empty())
        node.plugIn(core, output->second.node, SPA_ID_INVALID);
    else
        card.plugIn(core);
    const auto quit = [](void* data, int) { pw_main_loop_quit(static_cast<pw_main_loop*>(data)); };
    pw_loop_add_signal(pw_main_loop_get_loop(loop), SIGTERM, quit, loop);
    pw_main_loop_run(loop);
    pw_core_disconnect(core);
    pw_context_destroy(context);
    pw_main_loop_destroy(loop);
    return 0;
}
