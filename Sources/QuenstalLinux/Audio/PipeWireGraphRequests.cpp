// What the server is asked to change.

#include "QuenstalLinux/Audio/BoundObject.hpp"
#include "QuenstalLinux/Audio/PipeWireGraph.hpp"
#include "QuenstalLinux/Audio/VolumePods.hpp"

#include <iterator>
#include <string>

#include <spa/param/param.h>

namespace quenstal {

void PipeWireGraph::destroy(std::uint32_t id)
{
    if (registry_)
        pw_registry_destroy(registry_.get(), id);
}

void PipeWireGraph::link(std::uint32_t outputPort, std::uint32_t inputPort)
{
    if (!connection_.core())
        return;
    const std::string output = std::to_string(outputPort);
    const std::string input = std::to_string(inputPort);
    const spa_dict_item items[] = {{PW_KEY_LINK_OUTPUT_PORT, output.c_str()}, {PW_KEY_LINK_INPUT_PORT, input.c_str()},
        {PW_KEY_OBJECT_LINGER, "true"}};
    const spa_dict properties{0, std::size(items), items};
    // The link is not the proxy's: it stays.
    PipeWireProxy<pw_link>(static_cast<pw_link*>(pw_core_create_object(
        connection_.core(), "link-factory", PW_TYPE_INTERFACE_Link, PW_VERSION_LINK, &properties, 0)));
}

bool PipeWireGraph::writeVolume(std::uint32_t sink, const AudioVolume& volume, Keep keep)
{
    const auto node = graph_.sinks.find(sink);
    if (node == graph_.sinks.end())
        return false;
    const OutputRoute* const route = graph_.routeOf(node->second);
    if (route && route->volume) {
        const auto card = graph_.cardNumberOf(node->second);
        const auto pod = BuiltPod::routeVolume(route->index, node->second.profileDevice(), volume, keep == Keep::yes);
        return pw_device_set_param(cards_.at(*card)->object.get(), SPA_PARAM_Route, 0, pod.get()) >= 0;
    }
    const auto pod = BuiltPod::nodeVolume(volume);
    return pw_node_set_param(sinks_.at(sink)->object.get(), SPA_PARAM_Props, 0, pod.get()) >= 0;
}

bool PipeWireGraph::writesVolumeThrough(std::uint32_t sink, std::uint32_t proxyID) const
{
    const auto node = graph_.sinks.find(sink);
    if (node == graph_.sinks.end())
        return false;
    const auto card = graph_.cardNumberOf(node->second);
    return sinks_.at(sink)->isProxy(proxyID) || (card && cards_.at(*card)->isProxy(proxyID));
}

void PipeWireGraph::setStreamTarget(std::uint32_t stream, const std::optional<StreamTarget>& target)
{
    const char* const type = target ? target->type.c_str() : nullptr;
    const char* const value = target ? target->value.c_str() : nullptr;
    if (!defaults_)
        return;
    pw_metadata_set_property(defaults_->object.get(), stream, "target.object", type, value);
    // The server's own word about it may be missed, and then our target would pass for the user's.
    defaultMetadataSet(stream, "target.object", type, value);
}

bool PipeWireGraph::setsTargetsThrough(std::uint32_t proxyID) const
{
    return defaults_ && defaults_->isProxy(proxyID);
}

} // namespace quenstal
