// A program that holds a muted software session on an output until it is ended, for tests of how it ends.
//
//   audio_session_holder UID    prints "running" when its procedure runs

#include "QuenstalApp/NativeAdapters.hpp"
#include "QuenstalLinux/Audio/LinuxAudio.hpp"
#include "Support/EpollRunLoop.hpp"

#include <csignal>
#include <cstdio>

#include <sys/signalfd.h>

int main(int argc, char** argv)
{
    using namespace quenstal;
    if (argc != 2)
        return 2;
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGTERM);
    sigprocmask(SIG_BLOCK, &signals, nullptr);

    EpollRunLoop loop;
    bool ending = false;
    const auto watch = loop.watchReadable(signalfd(-1, &signals, SFD_CLOEXEC), [&] { ending = true; });
    LinuxAudio audio(loop);
    CoreAudioDeviceProvider provider(audio.objects());
    CoreAudioTapSoftwareVolumeController controller(audio.taps());
    const AudioOutputDevice device{"1", "", AudioTransport::hdmi, false, argv[1]};
    // Without an output yet, this fails; it is tried again until there is one.
    const auto start = [&] {
        try {
            controller.setVolume({0, true}, device);
            return true;
        } catch (const QuenstalError&) {
            return false;
        }
    };
    if (!loop.runUntil(start))
        return 1;
    std::puts("running");
    std::fflush(stdout);
    loop.runUntil([&] { return ending; }, std::chrono::minutes(5));
    return 0;
}
