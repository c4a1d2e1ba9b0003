#pragma once

// Owners of the audio server's C handles. Destroying a proxy also takes its listeners off: a hook only has to live
// longer than its proxy.

#include <memory>

#include <pipewire/extensions/metadata.h>
#include <pipewire/pipewire.h>

namespace quenstal {

template <auto destroy>
struct DestroyWith {
    template <typename Handle>
    void operator()(Handle* handle) const
    {
        destroy(handle);
    }
};

struct DestroyProxy {
    template <typename Handle>
    void operator()(Handle* handle) const
    {
        pw_proxy_destroy(reinterpret_cast<pw_proxy*>(handle));
    }
};

using PipeWireLoop = std::unique_ptr<pw_loop, DestroyWith<pw_loop_destroy>>;
using PipeWireContext = std::unique_ptr<pw_context, DestroyWith<pw_context_destroy>>;
using PipeWireCore = std::unique_ptr<pw_core, DestroyWith<pw_core_disconnect>>;
using PipeWireStream = std::unique_ptr<pw_stream, DestroyWith<pw_stream_destroy>>;
template <typename Object>
using PipeWireProxy = std::unique_ptr<Object, DestroyProxy>;

struct DestroySource {
    pw_loop* loop = nullptr;
    void operator()(spa_source* source) const { pw_loop_destroy_source(loop, source); }
};
using PipeWireSource = std::unique_ptr<spa_source, DestroySource>;

/// A listener's place in a list; zero until it is added.
struct PipeWireHook : spa_hook {
    PipeWireHook()
        : spa_hook{}
    {
    }
    PipeWireHook(const PipeWireHook&) = delete;
    PipeWireHook& operator=(const PipeWireHook&) = delete;
};

/// The library is ready for as long as one of these lives.
class PipeWireLibrary {
public:
    PipeWireLibrary() { pw_init(nullptr, nullptr); }
    ~PipeWireLibrary() { pw_deinit(); }
    PipeWireLibrary(const PipeWireLibrary&) = delete;
    PipeWireLibrary& operator=(const PipeWireLibrary&) = delete;
};

} // namespace quenstal
