#include "Support/AudioSession/AudioProbe.hpp"

#include <algorithm>
#include <array>
#include <cmath>
#include <utility>

#include <spa/node/io.h>
#include <spa/param/audio/format-utils.h>

namespace quenstal {

namespace {

constexpr std::array<std::uint32_t, 6> speakers{SPA_AUDIO_CHANNEL_FL, SPA_AUDIO_CHANNEL_FR, SPA_AUDIO_CHANNEL_FC,
    SPA_AUDIO_CHANNEL_LFE, SPA_AUDIO_CHANNEL_RL, SPA_AUDIO_CHANNEL_RR};

void connectPlanar(pw_stream* stream, pw_direction direction, std::uint32_t channels)
{
    spa_audio_info_raw format{};
    format.format = SPA_AUDIO_FORMAT_F32P;
    format.channels = channels;
    std::copy_n(speakers.begin(), channels, std::begin(format.position));
    std::array<std::uint8_t, 1024> bytes{};
    spa_pod_builder builder{};
    spa_pod_builder_init(&builder, bytes.data(), static_cast<std::uint32_t>(bytes.size()));
    const spa_pod* parameters[] = {spa_format_audio_raw_build(&builder, SPA_PARAM_EnumFormat, &format)};
    pw_stream_connect(stream, direction, PW_ID_ANY,
        static_cast<pw_stream_flags>(
            PW_STREAM_FLAG_AUTOCONNECT | PW_STREAM_FLAG_MAP_BUFFERS | PW_STREAM_FLAG_RT_PROCESS),
        parameters, 1);
}

} // namespace

std::optional<std::uint64_t> countOf(float sample)
{
    const float place = sample * 65536.0F + 32768.5F;
    if (!(place >= 0 && place < 65536) || place != std::floor(place))
        return std::nullopt;
    return static_cast<std::uint64_t>(place);
}

struct ProbePlayer::Events {
    static void process(void* data) { static_cast<ProbePlayer*>(data)->process(); }
    static void io(void* data, std::uint32_t id, void* area, std::uint32_t)
    {
        if (id == SPA_IO_Position)
            static_cast<ProbePlayer*>(data)->position_ = static_cast<const spa_io_position*>(area);
    }
    static constexpr pw_stream_events table = [] {
        pw_stream_events events{};
        events.version = PW_VERSION_STREAM_EVENTS;
        events.io_changed = io;
        events.process = process;
        return events;
    }();
};

ProbePlayer::ProbePlayer(EpollRunLoop& loop, Signal signal, std::string target, std::uint32_t channels)
    : signal_(std::move(signal))
    , target_(std::move(target))
    , channels_(channels)
    , connection_(loop)
{
    connection_.addListener(*this);
}

ProbePlayer::~ProbePlayer()
{
    connection_.removeListener(*this);
}

void ProbePlayer::connected(pw_core& core)
{
    pw_properties* const properties = pw_properties_new(PW_KEY_MEDIA_TYPE, "Audio", PW_KEY_MEDIA_CATEGORY, "Playback",
        PW_KEY_NODE_NAME, "probe-player", "state.restore-props", "false", "state.restore-target", "false", nullptr);
    if (!target_.empty())
        pw_properties_set(properties, "target.object", target_.c_str());
    stream_.reset(pw_stream_new(&core, "probe", properties));
    pw_stream_add_listener(stream_.get(), &hook_, &Events::table, this);
    connectPlanar(stream_.get(), PW_DIRECTION_OUTPUT, channels_);
}

void ProbePlayer::disconnected()
{
    stream_.reset();
}

void ProbePlayer::process()
{
    pw_buffer* const buffer = pw_stream_dequeue_buffer(stream_.get());
    if (!buffer)
        return;
    const spa_io_position* const position = position_;
    const std::uint64_t first = frames_;
    std::uint32_t count = buffer->buffer->datas[0].maxsize / static_cast<std::uint32_t>(sizeof(float));
    count = static_cast<std::uint32_t>(std::min<std::uint64_t>(count, position ? position->clock.duration : 0));
    for (std::uint32_t channel = 0; channel < buffer->buffer->n_datas; ++channel) {
        spa_data& data = buffer->buffer->datas[channel];
        auto* const samples = static_cast<float*>(data.data);
        for (std::uint32_t i = 0; i < count; ++i)
            samples[i] = signal_(first + i);
        data.chunk->offset = 0;
        data.chunk->size = count * static_cast<std::uint32_t>(sizeof(float));
        data.chunk->stride = sizeof(float);
    }
    pw_stream_queue_buffer(stream_.get(), buffer);
    frames_ = first + count;
    const std::lock_guard lock(mutex_);
    lastCycle_ = {position ? position->clock.position : 0, first};
}

ProbePoint ProbePlayer::lastCycle() const
{
    const std::lock_guard lock(mutex_);
    return lastCycle_;
}

struct ProbeRecorder::Events {
    static void process(void* data) { static_cast<ProbeRecorder*>(data)->process(); }
    static void io(void* data, std::uint32_t id, void* area, std::uint32_t)
    {
        if (id == SPA_IO_Position)
            static_cast<ProbeRecorder*>(data)->position_ = static_cast<const spa_io_position*>(area);
    }
    static constexpr pw_stream_events table = [] {
        pw_stream_events events{};
        events.version = PW_VERSION_STREAM_EVENTS;
        events.io_changed = io;
        events.process = process;
        return events;
    }();
};

ProbeRecorder::ProbeRecorder(EpollRunLoop& loop, std::string outputName, std::uint32_t channels)
    : loop_(loop)
    , outputName_(std::move(outputName))
    , channels_(channels)
    , frames_(channels)
    , connection_(loop)
{
    connection_.addListener(*this);
}

ProbeRecorder::~ProbeRecorder()
{
    connection_.removeListener(*this);
}

void ProbeRecorder::connected(pw_core& core)
{
    pw_properties* const properties = pw_properties_new(PW_KEY_MEDIA_TYPE, "Audio", PW_KEY_MEDIA_CATEGORY, "Capture",
        PW_KEY_NODE_NAME, "probe-recorder", PW_KEY_STREAM_CAPTURE_SINK, "true", "target.object", outputName_.c_str(),
        "node.dont-reconnect", "true", "state.restore-props", "false", "state.restore-target", "false", nullptr);
    stream_.reset(pw_stream_new(&core, "probe", properties));
    pw_stream_add_listener(stream_.get(), &hook_, &Events::table, this);
    connectPlanar(stream_.get(), PW_DIRECTION_INPUT, channels_);
}

void ProbeRecorder::disconnected()
{
    stream_.reset();
}

void ProbeRecorder::process()
{
    pw_buffer* const buffer = pw_stream_dequeue_buffer(stream_.get());
    if (!buffer)
        return;
    const spa_io_position* const position = position_;
    {
        const std::lock_guard lock(mutex_);
        lastCycle_ = {position ? position->clock.position : 0, frames_[0].size()};
        for (std::uint32_t channel = 0; channel < std::min(channels_, buffer->buffer->n_datas); ++channel) {
            const spa_data& data = buffer->buffer->datas[channel];
            const auto* const samples = reinterpret_cast<const float*>(
                static_cast<const std::byte*>(data.data) + std::min(data.chunk->offset, data.maxsize));
            frames_[channel].insert(frames_[channel].end(), samples, samples + data.chunk->size / sizeof(float));
        }
    }
    pw_stream_queue_buffer(stream_.get(), buffer);
}

bool ProbeRecorder::isReady()
{
    return loop_.runUntil([&] { return heard() > 0; });
}

ProbeRecorder::Frames ProbeRecorder::take(std::size_t frames, RunLoop::Duration limit)
{
    clear();
    loop_.runUntil([&] { return heard() >= frames; }, limit);
    const std::lock_guard lock(mutex_);
    Frames taken = frames_;
    for (auto& channel : taken)
        channel.resize(std::min(frames, channel.size()));
    return taken;
}

void ProbeRecorder::clear()
{
    const std::lock_guard lock(mutex_);
    for (auto& channel : frames_)
        channel.clear();
}

bool ProbeRecorder::waitFor(const std::function<bool(float)>& fits, RunLoop::Duration limit)
{
    std::size_t seen = 0;
    clear();
    return loop_.runUntil(
        [&] {
            const std::lock_guard lock(mutex_);
            while (seen < frames_[0].size()) {
                if (fits(frames_[0][seen++]))
                    return true;
            }
            return false;
        },
        limit);
}

ProbePoint ProbeRecorder::lastCycle() const
{
    const std::lock_guard lock(mutex_);
    return lastCycle_;
}

std::size_t ProbeRecorder::heard() const
{
    const std::lock_guard lock(mutex_);
    return frames_[0].size();
}

} // namespace quenstal
