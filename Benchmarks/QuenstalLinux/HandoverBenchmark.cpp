// How long an output is silent while sound is handed over to the software path and back.
//
//   audio_handover_benchmark HOLDER [--rounds=N]
//
// Within a private audio session whose monitor is plugged in: a program plays, and everything that the monitor is sent
// is listened to. The silent frames between the last sound of the one way and the first of the other are counted, for
// sessions of this program and for those of another program, audio_session_holder, that ends in order or is killed.

#include "QuenstalApp/NativeAdapters.hpp"
#include "QuenstalLinux/Audio/LinuxAudio.hpp"
#include "Support/AudioSession/AudioProbe.hpp"
#include "Support/EpollRunLoop.hpp"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <sys/wait.h>
#include <unistd.h>

namespace quenstal {
namespace {

constexpr const char* monitorUID = "alsa_output.pci-0000_01_00.1.hdmi-stereo";
constexpr float direct = 1;
constexpr float throughPath = 0.5F;
constexpr double framesPerMillisecond = 48;

[[noreturn]] void giveUp(const char* what)
{
    std::fprintf(stderr, "%s\n", what);
    std::exit(1);
}

/// What is heard at the monitor of a program that plays all the time.
class Listener {
public:
    explicit Listener(EpollRunLoop& loop)
        : loop_(loop)
        , recorder_(loop, monitorUID)
        , player_(loop, countedSample)
    {
        if (!recorder_.waitFor([](float sample) { return isSoundAt(sample, direct); }))
            giveUp("The direct path was not heard.");
    }

    /// Silent frames from the call of the action until sound is heard at that gain.
    std::size_t silenceUntil(float gain, const std::function<void()>& action)
    {
        std::size_t silent = 0;
        bool isThere = false;
        recorder_.clear();
        action();
        const bool heard = loop_.runUntil([&] {
            const auto frames = recorder_.drain();
            for (const float sample : frames[0]) {
                isThere = isThere || isSoundAt(sample, gain);
                silent += !isThere && sample == 0 ? 1 : 0;
            }
            return isThere;
        });
        if (!heard)
            giveUp("The sound did not come back.");
        // The streams of before are to be gone when the next round begins.
        loop_.runFor(std::chrono::milliseconds(300));
        return silent;
    }

private:
    static bool isSoundAt(float sample, float gain) { return sample != 0 && countOf(sample / gain).has_value(); }

    EpollRunLoop& loop_;
    ProbeRecorder recorder_;
    ProbePlayer player_;
};

/// Another program that holds a session.
class Holder {
public:
    Holder(EpollRunLoop& loop, const char* program)
    {
        int ends[2];
        if (pipe(ends) != 0 || (process_ = fork()) < 0)
            giveUp("The holder could not be started.");
        if (process_ == 0) {
            dup2(ends[1], STDOUT_FILENO);
            close(ends[0]);
            close(ends[1]);
            execl(program, program, monitorUID, "0.5", nullptr);
            _exit(127);
        }
        close(ends[1]);
        bool isRunning = false;
        {
            const auto watch = loop.watchReadable(ends[0], [&] { isRunning = true; });
            loop.runUntil([&] { return isRunning; });
        }
        close(ends[0]);
    }
    ~Holder() { waitpid(process_, nullptr, 0); }
    Holder(const Holder&) = delete;
    Holder& operator=(const Holder&) = delete;

    /// Does not wait: the listener has to go on serving its streams.
    void end(int signal) const { kill(process_, signal); }

private:
    pid_t process_ = -1;
};

struct Gaps {
    const char* what;
    std::vector<std::size_t> frames = {};
};

void print(Gaps& gaps, int quantum)
{
    std::ranges::sort(gaps.frames);
    const auto show = [](std::size_t frames) {
        return std::to_string(frames) + " ("
            + std::to_string(std::lround(static_cast<double>(frames) / framesPerMillisecond)) + " ms)";
    };
    const auto& frames = gaps.frames;
    std::printf("| %d | %s | %s, **%s**, %s |\n", quantum, gaps.what, show(frames.front()).c_str(),
        show(frames[frames.size() / 2]).c_str(), show(frames.back()).c_str());
}

void measure(const char* holder, int quantum, int rounds)
{
    if (std::system(
            ("pw-metadata -n settings 0 clock.force-quantum " + std::to_string(quantum) + " >/dev/null").c_str())
        != 0)
        giveUp("The frames a cycle could not be set.");
    EpollRunLoop loop;
    Listener listener(loop);
    LinuxAudio audio(loop);
    CoreAudioTapSoftwareVolumeController controller(audio.taps());
    const AudioOutputDevice device{"1", "", AudioTransport::hdmi, false, monitorUID};
    if (!loop.runUntil([&] { return CoreAudioDeviceProvider(audio.objects()).defaultOutputDevice().has_value(); }))
        giveUp("There is no output.");

    Gaps start{"a session starts"};
    Gaps end{"a session ends"};
    Gaps terminated{"its program ends"};
    Gaps killed{"its program is killed"};
    for (int i = 0; i < rounds; ++i) {
        start.frames.push_back(listener.silenceUntil(throughPath, [&] {
            controller.setVolume({throughPath, false}, device);
        }));
        end.frames.push_back(listener.silenceUntil(direct, [&] { controller.stopAll(); }));
        for (Gaps* const ending : {&terminated, &killed}) {
            std::optional<Holder> other;
            listener.silenceUntil(throughPath, [&] { other.emplace(loop, holder); });
            ending->frames.push_back(
                listener.silenceUntil(direct, [&] { other->end(ending == &killed ? SIGKILL : SIGTERM); }));
        }
    }
    for (Gaps* const gaps : {&start, &end, &terminated, &killed})
        print(*gaps, quantum);
}

int run(int argc, char** argv)
{
    int rounds = 10;
    constexpr std::string_view option = "--rounds=";
    // ./bench hands its other programs options of theirs.
    for (const std::string_view word : std::vector<std::string_view>(argv + 1, argv + argc)) {
        if (word.starts_with(option))
            std::from_chars(word.data() + option.size(), word.data() + word.size(), rounds);
    }
    if (argc < 2 || rounds < 1)
        return 2;
    if (!std::getenv("QUENSTAL_AUDIO_SESSION")) {
        std::puts("Skipped: there is no private audio session.");
        return 0;
    }
    if (std::system("\"" AUDIO_SESSION_SCRIPT "\" plug monitor") != 0)
        giveUp("The monitor could not be plugged in.");
    std::printf("Silent frames at 48 kHz; least, median, most of %d rounds.\n\n", rounds);
    std::puts("| Frames a cycle | When | Silence |\n|---|---|---|");
    for (const int quantum : {1024, 256})
        measure(argv[1], quantum, rounds);
    double load[1] = {};
    getloadavg(load, 1);
    std::printf("\nLoad average: %.1f; %ld cores\n", load[0], sysconf(_SC_NPROCESSORS_ONLN));
    return 0;
}

} // namespace
} // namespace quenstal

int main(int argc, char** argv)
{
    return quenstal::run(argc, argv);
}
