#include "QuenstalLinux/Audio/PipeWireGraph.hpp"

#include "QuenstalLinux/Audio/VolumePods.hpp"

#include <algorithm>
#include <array>
#include <charconv>
#include <string>
#include <utility>

#include <spa/param/param.h>
#include <spa/utils/json.h>

namespace quenstal {

namespace {

constexpr const char* defaultMetadata = "default";
constexpr const char* settingsMetadata = "settings";
/// Only a session manager that inserts filters by itself makes it.
constexpr const char* filtersMetadata = "filters";

constexpr std::size_t longestName = 1024;
/// By then everyone who asks at a change has been answered.
constexpr auto secondQuestion = std::chrono::milliseconds(50);
/// Also on a busy machine.
constexpr auto lastQuestion = std::chrono::milliseconds(500);

AudioProperties copied(const spa_dict* dictionary)
{
    AudioProperties properties;
    for (std::uint32_t i = 0; dictionary && i < dictionary->n_items; ++i)
        properties.insert_or_assign(dictionary->items[i].key, dictionary->items[i].value);
    return properties;
}

template <typename Number>
Number numberOf(std::string_view text, Number otherwise)
{
    Number number = otherwise;
    std::from_chars(text.data(), text.data() + text.size(), number);
    return number;
}

/// The text under "name"; empty when the value is none, or no such object.
std::string nameIn(const char* json)
{
    spa_json outer{};
    spa_json object{};
    spa_json_init(&outer, json ? json : "", json ? std::char_traits<char>::length(json) : 0);
    if (spa_json_enter_object(&outer, &object) <= 0)
        return {};
    std::array<char, longestName> key{};
    std::array<char, longestName> value{};
    while (spa_json_get_string(&object, key.data(), key.size()) > 0) {
        if (spa_json_get_string(&object, value.data(), value.size()) <= 0)
            return {};
        if (std::string_view(key.data()) == "name")
            return value.data();
    }
    return {};
}

bool isSinkClass(std::string_view mediaClass)
{
    return mediaClass == "Audio/Sink" || mediaClass == "Audio/Duplex";
}

} // namespace

struct PipeWireGraph::BoundSink {
    BoundSink(PipeWireGraph& owner, std::uint32_t id)
        : owner(owner)
        , id(id)
    {
    }
    PipeWireGraph& owner;
    const std::uint32_t id;
    PipeWireHook hook;
    PipeWireProxy<pw_node> node;
};

struct PipeWireGraph::BoundCard {
    BoundCard(PipeWireGraph& owner, std::uint32_t id)
        : owner(owner)
        , id(id)
    {
    }
    PipeWireGraph& owner;
    const std::uint32_t id;
    PipeWireHook hook;
    PipeWireProxy<pw_device> device;
};

struct PipeWireGraph::BoundMetadata {
    BoundMetadata(PipeWireGraph& owner, std::string name)
        : owner(owner)
        , name(std::move(name))
    {
    }
    PipeWireGraph& owner;
    const std::string name;
    PipeWireHook hook;
    PipeWireProxy<pw_metadata> metadata;
};

struct PipeWireGraph::Events {
    static void global(
        void* data, std::uint32_t id, std::uint32_t, const char* type, std::uint32_t, const spa_dict* props)
    {
        static_cast<PipeWireGraph*>(data)->added(id, type, copied(props));
    }
    static void globalRemove(void* data, std::uint32_t id) { static_cast<PipeWireGraph*>(data)->removed(id); }

    static void nodeInfo(void* data, const pw_node_info* info)
    {
        auto& bound = *static_cast<BoundSink*>(data);
        if ((info->change_mask & PW_NODE_CHANGE_MASK_PROPS) == 0)
            return;
        SinkNode& sink = bound.owner.graph_.sinks.at(bound.id);
        sink.properties = copied(info->props);
        sink.isComplete = true;
        bound.owner.updateEld(sink);
        bound.owner.changed(GraphChange::outputs);
    }
    static void nodeParam(void* data, int, std::uint32_t id, std::uint32_t, std::uint32_t, const spa_pod* param)
    {
        auto& bound = *static_cast<BoundSink*>(data);
        SinkNode& sink = bound.owner.graph_.sinks.at(bound.id);
        if (id == SPA_PARAM_Format) {
            sink.rate = parseRate(param);
        } else if (auto volume = parseVolume(param); volume && volume != sink.volume) {
            sink.volume = std::move(volume);
            bound.owner.changed(GraphChange::volumes);
        }
    }

    static void deviceInfo(void* data, const pw_device_info* info)
    {
        auto& bound = *static_cast<BoundCard*>(data);
        // Subscribing would tell of the routes once, but not of their changes.
        if ((info->change_mask & PW_DEVICE_CHANGE_MASK_PARAMS) != 0)
            bound.owner.askForRoutes();
        if ((info->change_mask & PW_DEVICE_CHANGE_MASK_PROPS) == 0)
            return;
        CardDevice& card = bound.owner.graph_.devices[bound.id];
        card.properties = copied(info->props);
        card.isComplete = true;
        bound.owner.changed(GraphChange::outputs);
    }
    static void deviceParam(void* data, int, std::uint32_t, std::uint32_t index, std::uint32_t, const spa_pod* param)
    {
        auto& bound = *static_cast<BoundCard*>(data);
        CardDevice& card = bound.owner.graph_.devices[bound.id];
        // The routes come one after the other, all of them whenever one changed.
        if (index == 0)
            card.outputRoutes.clear();
        if (auto route = parseOutputRoute(param))
            card.outputRoutes.insert_or_assign(route->first, std::move(route->second));
        for (auto& [id, sink] : bound.owner.graph_.sinks)
            bound.owner.updateEld(sink);
        bound.owner.changed(GraphChange::volumes);
    }

    static int metadataProperty(void* data, std::uint32_t subject, const char* key, const char* type, const char* value)
    {
        auto& bound = *static_cast<BoundMetadata*>(data);
        bound.owner.metadataSet(bound.name, subject, key, type, value);
        return 0;
    }

    static constexpr pw_registry_events registry{PW_VERSION_REGISTRY_EVENTS, global, globalRemove};
    static constexpr pw_node_events node{PW_VERSION_NODE_EVENTS, nodeInfo, nodeParam};
    static constexpr pw_device_events device{PW_VERSION_DEVICE_EVENTS, deviceInfo, deviceParam};
    static constexpr pw_metadata_events metadata{PW_VERSION_METADATA_EVENTS, metadataProperty};
};

PipeWireGraph::PipeWireGraph(PipeWireConnection& connection, RunLoop& runLoop, SoundCardRoots soundCards)
    : connection_(connection)
    , runLoop_(runLoop)
    , soundCards_(std::move(soundCards))
{
    connection_.addListener(*this);
}

PipeWireGraph::~PipeWireGraph()
{
    connection_.removeListener(*this);
}

void PipeWireGraph::connected(pw_core& core)
{
    registry_.reset(pw_core_get_registry(&core, PW_VERSION_REGISTRY, 0));
    pw_registry_add_listener(registry_.get(), &registryHook_, &Events::registry, this);
}

void PipeWireGraph::disconnected()
{
    metadata_.clear();
    cards_.clear();
    sinks_.clear();
    registry_.reset();
    graph_ = {};
    changed(GraphChange::session);
    changed(GraphChange::outputs);
}

void PipeWireGraph::added(std::uint32_t id, std::string_view type, const AudioProperties& properties)
{
    if (type == PW_TYPE_INTERFACE_Node) {
        addNode(id, properties);
    } else if (type == PW_TYPE_INTERFACE_Device) {
        if (valueOf(properties, "media.class") != "Audio/Device")
            return;
        auto* const device = static_cast<pw_device*>(
            pw_registry_bind(registry_.get(), id, PW_TYPE_INTERFACE_Device, PW_VERSION_DEVICE, 0));
        auto& bound = *(cards_[id] = std::make_unique<BoundCard>(*this, id));
        bound.device.reset(device);
        graph_.devices[id].properties = properties;
        pw_device_add_listener(device, &bound.hook, &Events::device, &bound);
    } else if (type == PW_TYPE_INTERFACE_Link) {
        const auto end = [&](const char* key) { return numberOf(valueOf(properties, key), SPA_ID_INVALID); };
        graph_.links[id] = {end("link.output.node"), end("link.input.node")};
        changed(GraphChange::streams);
    } else if (type == PW_TYPE_INTERFACE_Metadata) {
        addMetadata(id, std::string(valueOf(properties, "metadata.name")));
    }
}

void PipeWireGraph::addNode(std::uint32_t id, const AudioProperties& properties)
{
    if (!isSinkClass(valueOf(properties, "media.class"))) {
        graph_.others[id]
            = {std::string(valueOf(properties, "node.name")), std::string(valueOf(properties, "media.class")),
                numberOf<std::uint64_t>(valueOf(properties, "object.serial"), 0),
                numberOf(valueOf(properties, "client.id"), SPA_ID_INVALID)};
        changed(GraphChange::streams);
        return;
    }
    auto* const node
        = static_cast<pw_node*>(pw_registry_bind(registry_.get(), id, PW_TYPE_INTERFACE_Node, PW_VERSION_NODE, 0));
    auto& bound = *(sinks_[id] = std::make_unique<BoundSink>(*this, id));
    bound.node.reset(node);
    graph_.sinks[id].properties = properties;
    pw_node_add_listener(node, &bound.hook, &Events::node, &bound);
    std::uint32_t parameters[] = {SPA_PARAM_Props, SPA_PARAM_Format};
    pw_node_subscribe_params(node, parameters, 2);
    changed(GraphChange::outputs);
}

void PipeWireGraph::addMetadata(std::uint32_t id, const std::string& name)
{
    if (name == filtersMetadata)
        graph_.insertsSmartFilters = true;
    if (name != defaultMetadata && name != settingsMetadata)
        return;
    auto* const metadata = static_cast<pw_metadata*>(
        pw_registry_bind(registry_.get(), id, PW_TYPE_INTERFACE_Metadata, PW_VERSION_METADATA, 0));
    auto& bound = *(metadata_[id] = std::make_unique<BoundMetadata>(*this, name));
    bound.metadata.reset(metadata);
    pw_metadata_add_listener(metadata, &bound.hook, &Events::metadata, &bound);
    if (name == defaultMetadata) {
        graph_.hasSession = true;
        changed(GraphChange::session);
    }
}

void PipeWireGraph::removed(std::uint32_t id)
{
    if (graph_.sinks.erase(id) == 1) {
        sinks_.erase(id);
        changed(GraphChange::outputs);
    } else if (graph_.devices.erase(id) == 1) {
        cards_.erase(id);
    } else if (graph_.links.erase(id) == 1 || graph_.others.erase(id) == 1) {
        graph_.streamTargets.erase(id);
        changed(GraphChange::streams);
    } else {
        removeMetadata(id);
    }
}

void PipeWireGraph::removeMetadata(std::uint32_t id)
{
    const auto bound = metadata_.extract(id);
    if (bound.empty() || bound.mapped()->name != defaultMetadata)
        return;
    graph_.hasSession = false;
    graph_.insertsSmartFilters = false;
    graph_.defaultSinkName.clear();
    graph_.streamTargets.clear();
    changed(GraphChange::session);
    changed(GraphChange::outputs);
}

void PipeWireGraph::metadataSet(
    const std::string& name, std::uint32_t subject, const char* key, const char* type, const char* value)
{
    if (name == defaultMetadata)
        defaultMetadataSet(subject, key, type, value);
    else if (subject == 0 && key && value && std::string_view(key) == "clock.rate")
        graph_.clockRate = numberOf(std::string_view(value), 0U);
}

void PipeWireGraph::defaultMetadataSet(std::uint32_t subject, const char* key, const char* type, const char* value)
{
    // No key stands for all keys of the subject.
    const auto concerns = [&](std::string_view wanted) { return !key || wanted == key; };
    if (subject == 0 && concerns("default.audio.sink")) {
        graph_.defaultSinkName = nameIn(value);
        changed(GraphChange::outputs);
    } else if (subject != 0 && concerns("target.object")) {
        if (key && value)
            graph_.streamTargets.insert_or_assign(subject, StreamTarget{type ? type : "", value});
        else
            graph_.streamTargets.erase(subject);
    }
}

void PipeWireGraph::askForRoutes()
{
    const auto ask = [this] {
        for (const auto& [id, bound] : cards_)
            pw_device_enum_params(bound->device.get(), 0, SPA_PARAM_Route, 0, UINT32_MAX, nullptr);
    };
    ask();
    // A server that is busy answering someone else may answer with what it knew before the change.
    askAgain_ = runLoop_.after(secondQuestion, ask);
    askLast_ = runLoop_.after(lastQuestion, ask);
}

const CardDevice* PipeWireGraph::cardOf(const SinkNode& sink) const
{
    const auto id = numberOf(valueOf(sink.properties, "device.id"), SPA_ID_INVALID);
    const auto card = graph_.devices.find(id);
    return card == graph_.devices.end() ? nullptr : &card->second;
}

const OutputRoute* PipeWireGraph::routeOf(const SinkNode& sink) const
{
    const CardDevice* const card = cardOf(sink);
    const std::string_view device = valueOf(sink.properties, "card.profile.device");
    if (!card || device.empty())
        return nullptr;
    const auto route = card->outputRoutes.find(numberOf(device, std::int32_t{-1}));
    return route == card->outputRoutes.end() ? nullptr : &route->second;
}

bool PipeWireGraph::writeVolume(std::uint32_t sink, const AudioVolume& volume)
{
    const auto node = graph_.sinks.find(sink);
    if (node == graph_.sinks.end())
        return false;
    const OutputRoute* const route = routeOf(node->second);
    if (route && route->volume) {
        const auto card = numberOf(valueOf(node->second.properties, "device.id"), SPA_ID_INVALID);
        const auto device = numberOf(valueOf(node->second.properties, "card.profile.device"), std::int32_t{-1});
        const auto pod = BuiltPod::routeVolume(route->index, device, volume);
        return pw_device_set_param(cards_.at(card)->device.get(), SPA_PARAM_Route, 0, pod.get()) >= 0;
    }
    const auto pod = BuiltPod::nodeVolume(volume);
    return pw_node_set_param(sinks_.at(sink)->node.get(), SPA_PARAM_Props, 0, pod.get()) >= 0;
}

bool PipeWireGraph::writesVolumeThrough(std::uint32_t sink, std::uint32_t proxyID) const
{
    const auto isProxy = [&](auto* object) { return pw_proxy_get_id(reinterpret_cast<pw_proxy*>(object)) == proxyID; };
    const auto bound = sinks_.find(sink);
    if (bound == sinks_.end())
        return false;
    const auto card = cards_.find(numberOf(valueOf(graph_.sinks.at(sink).properties, "device.id"), SPA_ID_INVALID));
    return isProxy(bound->second->node.get()) || (card != cards_.end() && isProxy(card->second->device.get()));
}

void PipeWireGraph::setStreamTarget(std::uint32_t stream, const std::optional<StreamTarget>& target)
{
    const char* const type = target ? target->type.c_str() : nullptr;
    const char* const value = target ? target->value.c_str() : nullptr;
    for (const auto& [id, bound] : metadata_) {
        if (bound->name == defaultMetadata)
            pw_metadata_set_property(bound->metadata.get(), stream, "target.object", type, value);
    }
}

bool PipeWireGraph::setsTargetsThrough(std::uint32_t proxyID) const
{
    return std::ranges::any_of(metadata_, [&](const auto& entry) {
        const auto& bound = *entry.second;
        return bound.name == defaultMetadata
            && pw_proxy_get_id(reinterpret_cast<pw_proxy*>(bound.metadata.get())) == proxyID;
    });
}

void PipeWireGraph::updateEld(SinkNode& sink) const
{
    const CardDevice* const card = cardOf(sink);
    const auto number = [&](const char* key) {
        std::string_view text = valueOf(sink.properties, key);
        if (text.empty() && card)
            text = valueOf(card->properties, key);
        return numberOf(text, -1);
    };
    const int cardNumber = number("api.alsa.pcm.card") >= 0 ? number("api.alsa.pcm.card") : number("alsa.card");
    const int device = number("api.alsa.pcm.device") >= 0 ? number("api.alsa.pcm.device") : number("alsa.device");
    sink.eld = cardNumber >= 0 && device >= 0 ? readEld(soundCards_, cardNumber, device) : std::nullopt;
}

void PipeWireGraph::changed(GraphChange change)
{
    for (Observer* const observer : std::vector(observers_))
        observer->graphChanged(change);
}

} // namespace quenstal
