#include "QuenstalLinux/Audio/LinuxAudio.hpp"

#include "QuenstalLinux/Audio/PipeWireAudioObjects.hpp"
#include "QuenstalLinux/Audio/PipeWireAudioTaps.hpp"

namespace quenstal {

struct LinuxAudio::Parts {
    explicit Parts(RunLoop& runLoop)
        : connection(runLoop)
        , graph(connection, runLoop)
        , objects(connection, graph, runLoop)
        , taps(connection, graph, runLoop)
    {
    }
    PipeWireConnection connection;
    PipeWireGraph graph;
    PipeWireAudioObjects objects;
    PipeWireAudioTaps taps;
};

LinuxAudio::LinuxAudio(RunLoop& runLoop)
    : parts_(std::make_unique<Parts>(runLoop))
{
}

LinuxAudio::~LinuxAudio() = default;

AudioObjects& LinuxAudio::objects()
{
    return parts_->objects;
}

AudioTaps& LinuxAudio::taps()
{
    return parts_->taps;
}

std::optional<MonitorIdentity> LinuxAudio::currentMonitor() const
{
    const auto eld = parts_->objects.currentMonitor();
    return eld ? std::optional(MonitorIdentity{eld->monitorName, eld->manufacturer, eld->product}) : std::nullopt;
}

} // namespace quenstal
