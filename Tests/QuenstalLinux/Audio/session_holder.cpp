// A program that holds a software session on an output until it is ended, for tests of how it ends and for benchmarks.
//
//   audio_session_holder UID [LEVEL [movie]]    prints "running" when it has a session; muted without a level; "movie"
//                                               switches the equalizer on, with that preset

#include "QuenstalApp/NativeAdapters.hpp"
#include "QuenstalLinux/Audio/LinuxAudio.hpp"
#include "Support/EpollRunLoop.hpp"

#include <csignal>
#include <cstdio>
#include <cstdlib>

#include <sys/signalfd.h>

int main(int argc, char** argv)
{
    using namespace quenstal;
    if (argc < 2 || argc > 4)
        return 2;
    const VolumeSnapshot volume = argc > 2 ? VolumeSnapshot{std::atof(argv[2]), false} : VolumeSnapshot{0, true};
    const EQProfile equalizer(argc > 3, EQPresetName::movie, 0);
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGTERM);
    sigprocmask(SIG_BLOCK, &signals, nullptr);

    EpollRunLoop loop;
    bool ending = false;
    const auto watch = loop.watchReadable(signalfd(-1, &signals, SFD_CLOEXEC), [&] { ending = true; });
    LinuxAudio audio(loop, SOUND_GUARD);
    CoreAudioDeviceProvider provider(audio.objects());
    CoreAudioTapSoftwareVolumeController controller(audio.taps());
    const AudioOutputDevice device{"1", "", AudioTransport::hdmi, false, argv[1]};
    // Without an output yet, this fails; it is tried again until there is one.
    const auto start = [&] {
        try {
            controller.setVolume(volume, device);
            controller.setEQProfile(equalizer, device);
            return true;
        } catch (const QuenstalError&) {
            return false;
        }
    };
    if (!loop.runUntil(start))
        return 1;
    std::puts("running");
    std::fflush(stdout);
    constexpr auto limit = std::chrono::minutes(5);
    // A look in between would count among what the session costs.
    loop.runUntil([&] { return ending; }, limit, limit);
    return 0;
}
