#include "QuenstalLinux/Audio/LinuxAudio.hpp"

#include "QuenstalLinux/Audio/PipeWireAudioObjects.hpp"
#include "QuenstalLinux/Audio/PipeWireAudioTaps.hpp"
#include "QuenstalLinux/Audio/SoundGuard.hpp"

namespace quenstal {

struct LinuxAudio::Parts {
    Parts(RunLoop& runLoop, const std::string& guardProgram)
        : connection(runLoop)
        , graph(connection, runLoop)
        , objects(connection, graph, runLoop)
        , taps(connection, graph, runLoop, guardProgram)
    {
    }
    PipeWireConnection connection;
    PipeWireGraph graph;
    PipeWireAudioObjects objects;
    PipeWireAudioTaps taps;
};

LinuxAudio::LinuxAudio(RunLoop& runLoop)
    : LinuxAudio(runLoop, soundGuardProgram())
{
}

LinuxAudio::LinuxAudio(RunLoop& runLoop, const std::string& guardProgram)
    : parts_(std::make_unique<Parts>(runLoop, guardProgram))
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
