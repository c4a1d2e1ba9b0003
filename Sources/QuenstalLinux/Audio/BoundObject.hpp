#pragma once

#include "QuenstalLinux/Audio/PipeWireGraph.hpp"

namespace quenstal {

/// An object of the server whose events are listened to.
template <typename Object>
struct PipeWireGraph::Bound {
    Bound(PipeWireGraph& owner, std::uint32_t id, const char* type, std::uint32_t version)
        : owner(owner)
        , id(id)
        , object(static_cast<Object*>(pw_registry_bind(owner.registry_.get(), id, type, version, 0)))
    {
    }
    bool isProxy(std::uint32_t proxyID) const
    {
        return pw_proxy_get_id(reinterpret_cast<pw_proxy*>(object.get())) == proxyID;
    }
    PipeWireGraph& owner;
    const std::uint32_t id;
    PipeWireHook hook;
    PipeWireProxy<Object> object;
};

} // namespace quenstal
