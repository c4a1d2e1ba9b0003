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

void connectPlanar(pw_stream* stream, pw_direction direction, std::uint32_t channels, unsigned flags)
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
        static_cast<pw_stream_flags>(flags | PW_STREAM_FLAG_MAP_BUFFERS | PW_STREAM_FLAG_RT_PROCESS), parameters, 1);
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
    connectPlanar(stream_.get(), PW_DIRECTION_OUTPUT, channels_, PW_STREAM_FLAG_AUTOCONNECT);
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
    static void global(
        void* data, std::uint32_t id, std::uint32_t, const char* type, std::uint32_t, const spa_dict* properties)
    {
        if (properties)
            static_cast<ProbeRecorder*>(data)->added(id, type, *properties);
    }
    static constexpr pw_registry_events registry{PW_VERSION_REGISTRY_EVENTS, global, nullptr};
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
        PW_KEY_NODE_NAME, "probe-recorder", "state.restore-props", "false", "state.restore-target", "false", nullptr);
    stream_.reset(pw_stream_new(&core, "probe", properties));
    pw_stream_add_listener(stream_.get(), &hook_, &Events::table, this);
    connectPlanar(stream_.get(), PW_DIRECTION_INPUT, channels_, PW_STREAM_FLAG_NONE);
    core_ = &core;
    registry_.reset(pw_core_get_registry(&core, PW_VERSION_REGISTRY, 0));
    pw_registry_add_listener(registry_.get(), &registryHook_, &Events::registry, this);
}

void ProbeRecorder::disconnected()
{
    links_.clear();
    ports_.clear();
    registry_.reset();
    stream_.reset();
}

void ProbeRecorder::added(std::uint32_t id, std::string_view type, const spa_dict& properties)
{
    const auto value = [&](const char* key) {
        const char* const text = spa_dict_lookup(&properties, key);
        return std::string(text ? text : "");
    };
    if (type == PW_TYPE_INTERFACE_Node && value(PW_KEY_NODE_NAME) == outputName_)
        outputNode_ = std::to_string(id);
    if (type != PW_TYPE_INTERFACE_Port)
        return;
    const bool plays = value(PW_KEY_PORT_DIRECTION) == "out";
    ports_.push_back({id, value(PW_KEY_NODE_ID), value(PW_KEY_AUDIO_CHANNEL), plays});
    const Port& port = ports_.back();
    for (const Port& other : ports_) {
        if (other.plays != port.plays && other.channel == port.channel)
            link(plays ? port : other, plays ? other : port);
    }
}

void ProbeRecorder::link(const Port& output, const Port& input)
{
    if (output.node != outputNode_ || input.node != std::to_string(pw_stream_get_node_id(stream_.get())))
        return;
    const std::string outputPort = std::to_string(output.id);
    const std::string inputPort = std::to_string(input.id);
    const spa_dict_item items[]
        = {{PW_KEY_LINK_OUTPUT_NODE, output.node.c_str()}, {PW_KEY_LINK_OUTPUT_PORT, outputPort.c_str()},
            {PW_KEY_LINK_INPUT_NODE, input.node.c_str()}, {PW_KEY_LINK_INPUT_PORT, inputPort.c_str()}};
    const spa_dict properties{0, 4, items};
    links_.emplace_back(static_cast<pw_link*>(
        pw_core_create_object(core_, "link-factory", PW_TYPE_INTERFACE_Link, PW_VERSION_LINK, &properties, 0)));
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

ProbeRecorder::Frames ProbeRecorder::drain()
{
    Frames drained(channels_);
    const std::lock_guard lock(mutex_);
    frames_.swap(drained);
    return drained;
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
