#include "QuenstalLinux/Audio/PipeWireGraph.hpp"

#include "QuenstalLinux/Audio/BoundObject.hpp"
#include "QuenstalLinux/Audio/ServerLimits.hpp"
#include "QuenstalLinux/Audio/ServerText.hpp"
#include "QuenstalLinux/Audio/VolumePods.hpp"

#include <string>
#include <utility>

#include <pipewire/log.h>
#include <spa/param/param.h>

namespace quenstal {

namespace {

constexpr const char* defaultMetadata = "default";
constexpr const char* settingsMetadata = "settings";
/// Only a session manager that inserts filters by itself makes it.
constexpr const char* filtersMetadata = "filters";

/// By then everyone who asks at a change has been answered.
constexpr auto secondQuestion = std::chrono::milliseconds(50);
/// Also on a busy machine.
constexpr auto lastQuestion = std::chrono::milliseconds(500);

bool isSinkClass(std::string_view mediaClass)
{
    return mediaClass == "Audio/Sink" || mediaClass == "Audio/Duplex";
}

} // namespace

struct PipeWireGraph::Events {
    static void global(
        void* data, std::uint32_t id, std::uint32_t, const char* type, std::uint32_t, const spa_dict* props)
    {
        auto& graph = *static_cast<PipeWireGraph*>(data);
        graph.added(id, type, graph.taken(props));
    }
    static void globalRemove(void* data, std::uint32_t id) { static_cast<PipeWireGraph*>(data)->removed(id); }

    static void nodeInfo(void* data, const pw_node_info* info)
    {
        auto& bound = *static_cast<Bound<pw_node>*>(data);
        if ((info->change_mask & PW_NODE_CHANGE_MASK_PROPS) == 0)
            return;
        SinkNode& sink = bound.owner.graph_.sinks.at(bound.id);
        sink.properties = bound.owner.taken(info->props);
        sink.isComplete = true;
        sink.eld = bound.owner.eldOf(sink);
        bound.owner.changed(GraphChange::outputs);
    }
    static void nodeParam(void* data, int, std::uint32_t id, std::uint32_t, std::uint32_t, const spa_pod* param)
    {
        auto& bound = *static_cast<Bound<pw_node>*>(data);
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
        auto& bound = *static_cast<Bound<pw_device>*>(data);
        // Subscribing would tell of the routes once, but not of their changes.
        if ((info->change_mask & PW_DEVICE_CHANGE_MASK_PARAMS) != 0)
            bound.owner.askForRoutes();
        const bool hasProperties = (info->change_mask & PW_DEVICE_CHANGE_MASK_PROPS) != 0;
        if (hasProperties) {
            CardDevice& card = bound.owner.graph_.devices[bound.id];
            card.properties = bound.owner.taken(info->props);
            card.isComplete = true;
        }
        bound.owner.updateEldsOf(bound.id);
        if (hasProperties)
            bound.owner.changed(GraphChange::outputs);
    }
    static void deviceParam(void* data, int, std::uint32_t, std::uint32_t index, std::uint32_t, const spa_pod* param)
    {
        auto& bound = *static_cast<Bound<pw_device>*>(data);
        CardDevice& card = bound.owner.graph_.devices[bound.id];
        // The routes come one after the other, all of them whenever one changed.
        if (index == 0)
            card.outputRoutes.clear();
        auto route = parseOutputRoute(param);
        if (route && bound.owner.hasRoom(card.outputRoutes.size(), ServerLimits::routes))
            card.outputRoutes.insert_or_assign(route->first, std::move(route->second));
        const bool wasWaitedFor = !std::exchange(card.hasToldRoutes, true);
        bound.owner.changed(wasWaitedFor ? GraphChange::outputs : GraphChange::volumes);
    }

    static int defaultProperty(void* data, std::uint32_t subject, const char* key, const char* type, const char* value)
    {
        static_cast<PipeWireGraph*>(data)->defaultMetadataSet(subject, key, type, value);
        return 0;
    }
    static int settingsProperty(void* data, std::uint32_t subject, const char* key, const char*, const char* value)
    {
        auto& graph = *static_cast<PipeWireGraph*>(data);
        if (subject == 0 && key && value && std::string_view(key) == "clock.rate")
            graph.graph_.clockRate = ServerLimits::rate(numberOf(std::string_view(value), 0U));
        return 0;
    }

    static constexpr pw_registry_events registry{PW_VERSION_REGISTRY_EVENTS, global, globalRemove};
    static constexpr pw_node_events node{PW_VERSION_NODE_EVENTS, nodeInfo, nodeParam};
    static constexpr pw_device_events device{PW_VERSION_DEVICE_EVENTS, deviceInfo, deviceParam};
    static constexpr pw_metadata_events defaults{PW_VERSION_METADATA_EVENTS, defaultProperty};
    static constexpr pw_metadata_events settings{PW_VERSION_METADATA_EVENTS, settingsProperty};
};

PipeWireGraph::PipeWireGraph(PipeWireConnection& connection, RunLoop& runLoop, EldReader readEld)
    : connection_(connection)
    , runLoop_(runLoop)
    , readEld_(std::move(readEld))
    , defaultsQuestion_(
          connection, [this](std::uint32_t subject, const char* key, const char* type, const char* value) {
              // Not about streams: what two connections tell may be told out of turn.
              if (subject == 0)
                  defaultMetadataSet(subject, key, type, value);
          })
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
    // Later it would be taken for a program that comes, and be the reason for another question.
    defaultsQuestion_.connect();
}

void PipeWireGraph::disconnected()
{
    defaultsQuestion_.disconnect();
    settings_.reset();
    defaults_.reset();
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
        addCard(id, properties);
    } else if (type == PW_TYPE_INTERFACE_Link && hasRoom(graph_.links.size(), ServerLimits::streams)) {
        graph_.links[id] = {numberOf(properties, PW_KEY_LINK_OUTPUT_NODE, SPA_ID_INVALID),
            numberOf(properties, PW_KEY_LINK_INPUT_NODE, SPA_ID_INVALID),
            numberOf(properties, PW_KEY_LINK_OUTPUT_PORT, SPA_ID_INVALID),
            numberOf(properties, PW_KEY_LINK_INPUT_PORT, SPA_ID_INVALID)};
        changed(GraphChange::streams);
    } else if (type == PW_TYPE_INTERFACE_Port && hasRoom(graph_.ports.size(), ServerLimits::ports)) {
        graph_.ports[id] = numberOf(properties, PW_KEY_PORT_ID, SPA_ID_INVALID);
    } else if (type == PW_TYPE_INTERFACE_Metadata) {
        addMetadata(id, valueOf(properties, "metadata.name"));
    } else if (type == PW_TYPE_INTERFACE_Client) {
        // Programs ask for the metadata when they start.
        askForDefaultsLater();
    }
}

void PipeWireGraph::addNode(std::uint32_t id, const AudioProperties& properties)
{
    if (!isSinkClass(valueOf(properties, "media.class"))) {
        if (!hasRoom(graph_.others.size(), ServerLimits::streams))
            return;
        graph_.others[id] = {std::string(valueOf(properties, "node.name")),
            std::string(valueOf(properties, "media.class")), numberOf<std::uint64_t>(properties, "object.serial", 0),
            numberOf(properties, "client.id", SPA_ID_INVALID)};
        changed(GraphChange::streams);
        return;
    }
    if (!hasRoom(graph_.sinks.size(), ServerLimits::outputs))
        return;
    auto& bound = sinks_[id];
    bound = std::make_unique<Bound<pw_node>>(*this, id, PW_TYPE_INTERFACE_Node, PW_VERSION_NODE);
    graph_.sinks[id].properties = properties;
    pw_node_add_listener(bound->object.get(), &bound->hook, &Events::node, bound.get());
    std::uint32_t parameters[] = {SPA_PARAM_Props, SPA_PARAM_Format};
    pw_node_subscribe_params(bound->object.get(), parameters, 2);
    askForDefaultsLater();
    changed(GraphChange::outputs);
}

void PipeWireGraph::addCard(std::uint32_t id, const AudioProperties& properties)
{
    if (valueOf(properties, "media.class") != "Audio/Device" || !hasRoom(graph_.devices.size(), ServerLimits::outputs))
        return;
    auto& bound = cards_[id];
    bound = std::make_unique<Bound<pw_device>>(*this, id, PW_TYPE_INTERFACE_Device, PW_VERSION_DEVICE);
    graph_.devices[id].properties = properties;
    pw_device_add_listener(bound->object.get(), &bound->hook, &Events::device, bound.get());
}

void PipeWireGraph::addMetadata(std::uint32_t id, std::string_view name)
{
    if (name == filtersMetadata)
        graph_.insertsSmartFilters = true;
    if (name != defaultMetadata && name != settingsMetadata)
        return;
    const bool isDefault = name == defaultMetadata;
    auto& bound = isDefault ? defaults_ : settings_;
    bound = std::make_unique<Bound<pw_metadata>>(*this, id, PW_TYPE_INTERFACE_Metadata, PW_VERSION_METADATA);
    pw_metadata_add_listener(
        bound->object.get(), &bound->hook, isDefault ? &Events::defaults : &Events::settings, this);
    if (isDefault) {
        graph_.hasSession = true;
        changed(GraphChange::session);
    }
}

void PipeWireGraph::removed(std::uint32_t id)
{
    if (graph_.sinks.erase(id) == 1) {
        sinks_.erase(id);
        askForDefaultsLater();
        changed(GraphChange::outputs);
    } else if (graph_.devices.erase(id) == 1) {
        cards_.erase(id);
    } else if (graph_.links.erase(id) == 1 || graph_.others.erase(id) == 1) {
        graph_.streamTargets.erase(id);
        changed(GraphChange::streams);
    } else if (graph_.ports.erase(id) == 1) {
        return;
    } else if (settings_ && settings_->id == id) {
        settings_.reset();
    } else if (defaults_ && defaults_->id == id) {
        loseSession();
    }
}

void PipeWireGraph::loseSession()
{
    defaultsQuestion_.withdraw();
    defaults_.reset();
    graph_.hasSession = false;
    graph_.insertsSmartFilters = false;
    graph_.defaultSinkName.clear();
    graph_.streamTargets.clear();
    changed(GraphChange::session);
    changed(GraphChange::outputs);
}

void PipeWireGraph::defaultMetadataSet(std::uint32_t subject, const char* key, const char* type, const char* value)
{
    // No key stands for all keys of the subject.
    const auto concerns = [&](std::string_view wanted) { return !key || wanted == key; };
    if (subject == 0 && concerns("default.audio.sink")) {
        // Often told twice.
        if (auto name = nameIn(value); name != graph_.defaultSinkName) {
            graph_.defaultSinkName = std::move(name);
            changed(GraphChange::outputs);
        }
    } else if (subject != 0 && concerns("target.object")) {
        // Anyone may name any number; a target is of use for a stream that is there.
        const StreamTarget target{type ? type : "", value ? value : ""};
        const bool isTaken = target.type.size() + target.value.size() <= ServerLimits::value;
        if (key && value && isTaken && graph_.others.contains(subject))
            graph_.streamTargets.insert_or_assign(subject, target);
        else
            graph_.streamTargets.erase(subject);
    }
}

void PipeWireGraph::askForRoutes()
{
    const auto ask = [this] {
        for (const auto& [id, bound] : cards_)
            pw_device_enum_params(bound->object.get(), 0, SPA_PARAM_Route, 0, UINT32_MAX, nullptr);
    };
    ask();
    // A server that is busy answering someone else may answer with what it knew before the change.
    askAgain_ = runLoop_.after(secondQuestion, ask);
    askLast_ = runLoop_.after(lastQuestion, [this, ask] {
        ask();
        // Some cards have none.
        for (auto& [id, card] : graph_.devices)
            card.hasToldRoutes = true;
        changed(GraphChange::outputs);
    });
}

void PipeWireGraph::askForDefaultsLater()
{
    askForDefaults_ = runLoop_.after(lastQuestion, [this] {
        if (defaults_)
            defaultsQuestion_.ask(defaults_->id);
    });
}

AudioProperties PipeWireGraph::taken(const spa_dict* dictionary)
{
    auto [properties, areWhole] = takenProperties(dictionary);
    if (!areWhole)
        tellOfExcess();
    return std::move(properties);
}

bool PipeWireGraph::hasRoom(std::size_t count, std::size_t limit)
{
    if (count >= limit)
        tellOfExcess();
    return count < limit;
}

void PipeWireGraph::tellOfExcess()
{
    if (!std::exchange(isExcessTold_, true))
        pw_log_warn("Quenstal: the sound server tells of more, or at greater length, than is taken from it");
}

std::optional<Eld> PipeWireGraph::eldOf(const SinkNode& sink) const
{
    const CardDevice* const card = graph_.cardOf(sink);
    const auto number = [&](const char* key, const char* olderKey) {
        for (const char* const wanted : {key, olderKey}) {
            const int ofCard = card ? numberOf(card->properties, wanted, -1) : -1;
            if (const int found = numberOf(sink.properties, wanted, ofCard); found >= 0)
                return found;
        }
        return -1;
    };
    const int cardNumber = number("api.alsa.pcm.card", "alsa.card");
    const int device = number("api.alsa.pcm.device", "alsa.device");
    return cardNumber >= 0 && device >= 0 ? readEld_(cardNumber, device) : std::nullopt;
}

void PipeWireGraph::updateEldsOf(std::uint32_t card)
{
    bool isNews = false;
    for (auto& [id, sink] : graph_.sinks) {
        if (graph_.cardNumberOf(sink) != card)
            continue;
        auto eld = eldOf(sink);
        isNews = isNews || eld != sink.eld;
        sink.eld = std::move(eld);
    }
    if (isNews)
        changed(GraphChange::outputs);
}

void PipeWireGraph::changed(GraphChange change)
{
    for (Observer* const observer : std::vector(observers_))
        observer->graphChanged(change);
}

} // namespace quenstal
