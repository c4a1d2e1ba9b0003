// Another program's side of the sound, for demonstrations and tests.
//
//   audio_session_probe tone HERTZ DECIBELS   plays a sine of that peak level on the default output, until it is ended
//   audio_session_probe level OUTPUT HERTZ    listens for half a second to what an output is sent, and prints the peak
//                                             level of the sine left and right: "-6.02 dB -6.02 dB"; "silent" below -90
//   audio_session_probe watch HERTZ           prints the same for the default output, whichever that is, every 20 ms
//                                             until it is ended: "TIME -6.02", with the seconds of the monotonic clock
//
// HERTZ may be several with commas between: their sum is played, and each has a line of its own. OUTPUT is the output's
// name at the server. A program that loses the server ends.

#include <algorithm>
#include <array>
#include <atomic>
#include <cmath>
#include <complex>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <numbers>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

#include <pipewire/pipewire.h>
#include <spa/param/audio/format-utils.h>

namespace {

constexpr double rate = 48000;
constexpr std::uint32_t channels = 2;
/// An output that slept hums up within this time.
constexpr std::size_t settlingFrames = 9600;
constexpr std::size_t measuredFrames = 24000;
constexpr double silence = -90;
/// Whole cycles of any tone of a multiple of 50 Hz.
constexpr std::size_t watchedFrames = 960;

struct Probe {
    pw_main_loop* loop = nullptr;
    pw_stream* stream = nullptr;
    spa_source* doneEvent = nullptr;
    std::vector<double> hertz;
    double amplitude = 0;
    std::size_t framesWanted = settlingFrames + measuredFrames;
    bool isWatching = false;
    // Audio thread, and main after the end.
    std::uint64_t frame = 0;
    std::array<std::vector<float>, channels> heard;
    std::array<double, 64> levels{};
    std::atomic<std::size_t> levelCount = 0;
    // Main.
    std::size_t levelsPrinted = 0;
    std::atomic<bool> isDone = false;
};

using Heard = std::vector<float>;

void quit(void* data, int)
{
    pw_main_loop_quit(static_cast<Probe*>(data)->loop);
}

double peakOf(const Heard& heard, std::size_t first, double hertz)
{
    std::complex<double> sum = 0;
    for (std::size_t i = first; i < heard.size(); ++i)
        sum += static_cast<double>(heard[i])
            * std::polar(1.0, -2 * std::numbers::pi * hertz * static_cast<double>(i) / rate);
    return 20 * std::log10(std::max(2 * std::abs(sum) / static_cast<double>(heard.size() - first), 1e-9));
}

double now()
{
    timespec time{};
    clock_gettime(CLOCK_MONOTONIC, &time);
    return static_cast<double>(time.tv_sec) + 1e-9 * static_cast<double>(time.tv_nsec);
}

void done(void* data, std::uint64_t)
{
    auto& probe = *static_cast<Probe*>(data);
    if (!probe.isWatching)
        return quit(data, 0);
    for (; probe.levelsPrinted < probe.levelCount.load(); ++probe.levelsPrinted)
        std::printf("%.3f %.2f\n", now(), probe.levels[probe.levelsPrinted % probe.levels.size()]);
    std::fflush(stdout);
}

void stateChanged(void* data, pw_stream_state, pw_stream_state state, const char*)
{
    if (state == PW_STREAM_STATE_ERROR || state == PW_STREAM_STATE_UNCONNECTED)
        quit(data, 0);
}

// Audio thread.
void play(void* data)
{
    auto& probe = *static_cast<Probe*>(data);
    pw_buffer* const buffer = pw_stream_dequeue_buffer(probe.stream);
    if (!buffer)
        return;
    const std::size_t room = buffer->buffer->datas[0].maxsize / sizeof(float);
    const std::size_t frames = buffer->requested > 0 ? std::min<std::size_t>(room, buffer->requested) : room;
    for (std::uint32_t channel = 0; channel < buffer->buffer->n_datas; ++channel) {
        spa_data& samples = buffer->buffer->datas[channel];
        for (std::size_t i = 0; i < frames; ++i) {
            const double turns = 2 * std::numbers::pi * static_cast<double>(probe.frame + i) / rate;
            double sum = 0;
            for (const double hertz : probe.hertz)
                sum += std::sin(turns * hertz);
            static_cast<float*>(samples.data)[i] = static_cast<float>(probe.amplitude * sum);
        }
        samples.chunk->offset = 0;
        samples.chunk->size = static_cast<std::uint32_t>(frames * sizeof(float));
        samples.chunk->stride = sizeof(float);
    }
    probe.frame += frames;
    pw_stream_queue_buffer(probe.stream, buffer);
}

// Audio thread. The memory was reserved before.
void listen(void* data)
{
    auto& probe = *static_cast<Probe*>(data);
    pw_buffer* const buffer = pw_stream_dequeue_buffer(probe.stream);
    if (!buffer)
        return;
    for (std::uint32_t channel = 0; channel < std::min(channels, buffer->buffer->n_datas); ++channel) {
        const spa_data& samples = buffer->buffer->datas[channel];
        auto& heard = probe.heard[channel];
        const std::size_t room = heard.capacity() - heard.size();
        const auto* const first = static_cast<const float*>(samples.data) + samples.chunk->offset / sizeof(float);
        heard.insert(heard.end(), first, first + std::min<std::size_t>(room, samples.chunk->size / sizeof(float)));
    }
    pw_stream_queue_buffer(probe.stream, buffer);
    if (probe.heard[0].size() < probe.heard[0].capacity() || probe.isDone)
        return;
    if (probe.isWatching) {
        const std::size_t count = probe.levelCount;
        probe.levels[count % probe.levels.size()] = peakOf(probe.heard[0], 0, probe.hertz.front());
        probe.levelCount = count + 1;
        for (auto& heard : probe.heard)
            heard.clear();
    }
    probe.isDone = !probe.isWatching;
    pw_loop_signal_event(pw_main_loop_get_loop(probe.loop), probe.doneEvent);
}

constexpr pw_stream_events events(void (*process)(void*))
{
    pw_stream_events made{};
    made.version = PW_VERSION_STREAM_EVENTS;
    made.state_changed = stateChanged;
    made.process = process;
    return made;
}

constexpr pw_stream_events playing = events(play);
constexpr pw_stream_events listening = events(listen);

void run(Probe& probe, pw_direction direction, pw_properties* properties, const pw_stream_events& table)
{
    probe.loop = pw_main_loop_new(nullptr);
    pw_loop_add_signal(pw_main_loop_get_loop(probe.loop), SIGTERM, quit, &probe);
    pw_loop_add_signal(pw_main_loop_get_loop(probe.loop), SIGINT, quit, &probe);
    probe.doneEvent = pw_loop_add_event(pw_main_loop_get_loop(probe.loop), done, &probe);
    probe.stream
        = pw_stream_new_simple(pw_main_loop_get_loop(probe.loop), "Tone and level", properties, &table, &probe);
    spa_audio_info_raw format{};
    format.format = SPA_AUDIO_FORMAT_F32P;
    format.rate = static_cast<std::uint32_t>(rate);
    format.channels = channels;
    format.position[0] = SPA_AUDIO_CHANNEL_FL;
    format.position[1] = SPA_AUDIO_CHANNEL_FR;
    std::array<std::uint8_t, 1024> bytes{};
    spa_pod_builder builder{};
    spa_pod_builder_init(&builder, bytes.data(), static_cast<std::uint32_t>(bytes.size()));
    const spa_pod* parameters[] = {spa_format_audio_raw_build(&builder, SPA_PARAM_EnumFormat, &format)};
    constexpr unsigned flags = PW_STREAM_FLAG_AUTOCONNECT | PW_STREAM_FLAG_MAP_BUFFERS | PW_STREAM_FLAG_RT_PROCESS;
    pw_stream_connect(probe.stream, direction, PW_ID_ANY, static_cast<pw_stream_flags>(flags), parameters, 1);
    pw_main_loop_run(probe.loop);
    pw_stream_destroy(probe.stream);
    pw_main_loop_destroy(probe.loop);
}

std::vector<double> numbersIn(const char* text)
{
    std::vector<double> found;
    std::istringstream list(text);
    for (std::string number; std::getline(list, number, ',');)
        found.push_back(std::atof(number.c_str()));
    return found;
}

int playTone(const char* hertz, double decibels)
{
    Probe probe;
    probe.hertz = numbersIn(hertz);
    probe.amplitude = std::pow(10, decibels / 20);
    run(probe, PW_DIRECTION_OUTPUT,
        pw_properties_new(PW_KEY_MEDIA_TYPE, "Audio", PW_KEY_MEDIA_CATEGORY, "Playback", nullptr), playing);
    return 0;
}

void listenTo(Probe& probe, const char* output)
{
    for (auto& heard : probe.heard)
        heard.reserve(probe.framesWanted);
    pw_properties* const properties = pw_properties_new(
        PW_KEY_MEDIA_TYPE, "Audio", PW_KEY_MEDIA_CATEGORY, "Capture", PW_KEY_STREAM_CAPTURE_SINK, "true", nullptr);
    if (output)
        pw_properties_set(properties, "target.object", output);
    run(probe, PW_DIRECTION_INPUT, properties, listening);
}

int printLevel(const char* output, const char* hertz)
{
    Probe probe;
    probe.hertz = numbersIn(hertz);
    listenTo(probe, output);
    if (!probe.isDone)
        return 1;
    for (const double one : probe.hertz) {
        const double left = peakOf(probe.heard[0], settlingFrames, one);
        const double right = peakOf(probe.heard[1], settlingFrames, one);
        if (std::max(left, right) < silence)
            std::puts("silent");
        else
            std::printf("%.2f dB %.2f dB\n", left, right);
    }
    return 0;
}

int watchLevel(const char* hertz)
{
    Probe probe;
    probe.hertz = numbersIn(hertz);
    probe.framesWanted = watchedFrames;
    probe.isWatching = true;
    listenTo(probe, nullptr);
    return 0;
}

} // namespace

int main(int argc, char** argv)
{
    const std::string_view what = argc > 1 ? argv[1] : "";
    pw_init(nullptr, nullptr);
    int status = 2;
    if (what == "tone" && argc == 4)
        status = playTone(argv[2], std::atof(argv[3]));
    else if (what == "level" && argc == 4)
        status = printLevel(argv[2], argv[3]);
    else if (what == "watch" && argc == 3)
        status = watchLevel(argv[2]);
    else
        std::fputs("usage: audio_session_probe tone HERTZ DECIBELS | level OUTPUT HERTZ | watch HERTZ\n", stderr);
    pw_deinit();
    return status;
}
