#include "QuenstalLinux/Audio/StreamPair.hpp"

#include "QuenstalLinux/Audio/ServerText.hpp"
#include "QuenstalLinux/Audio/VolumePods.hpp"

#include <algorithm>
#include <array>
#include <bit>
#include <cerrno>

#include <spa/node/io.h>
#include <spa/param/audio/format-utils.h>
#include <spa/param/param.h>
#include <spa/param/props.h>
#include <system_error>

namespace quenstal {

namespace {

constexpr const char* streamName = "Quenstal Software Volume";
constexpr std::size_t maximumPodBytes = 1024;

/// Newer servers schedule a stream without this a cycle late, and every second cycle is silent. Older ones, whose
/// headers do not name it, take no notice.
constexpr unsigned asynchronousFlag = 1U << 10;

/// Also takes bits that this header's enumeration has no name for.
pw_stream_flags streamFlags(unsigned bits)
{
    static_assert(sizeof(pw_stream_flags) == sizeof(unsigned));
    return std::bit_cast<pw_stream_flags>(bits);
}

/// Properties of both streams. The server runs both in one cycle because of the group.
pw_properties* commonProperties(const std::string& nodeName, const std::string& group)
{
    return pw_properties_new(PW_KEY_NODE_NAME, nodeName.c_str(), PW_KEY_NODE_DESCRIPTION, streamName, PW_KEY_NODE_GROUP,
        group.c_str(), PW_KEY_NODE_LINK_GROUP, group.c_str(), PW_KEY_NODE_VIRTUAL, "true", "resample.disable", "true",
        "state.restore-props", "false", nullptr);
}

pw_properties* captureProperties(const StreamPair::Setup& setup)
{
    pw_properties* const properties = commonProperties(setup.name, setup.name);
    // "Internal" hides it from everyone who lists outputs.
    pw_properties_set(properties, PW_KEY_MEDIA_CLASS, "Audio/Sink/Internal");
    pw_properties_set(properties, "filter.smart", "true");
    pw_properties_set(properties, "filter.smart.name", setup.name.c_str());
    pw_properties_set(
        properties, "filter.smart.target", ("{ \"node.name\": " + quotedForJson(setup.targetName) + " }").c_str());
    return properties;
}

pw_properties* playbackProperties(const StreamPair::Setup& setup)
{
    pw_properties* const properties = commonProperties(setup.name + ".out", setup.name);
    pw_properties_set(properties, PW_KEY_MEDIA_CLASS, "Stream/Output/Audio/Internal");
    pw_properties_set(properties, "target.object", setup.targetName.c_str());
    // Rather silence than the sound on another output.
    pw_properties_set(properties, PW_KEY_NODE_DONT_RECONNECT, "true");
    pw_properties_set(properties, "node.dont-fallback", "true");
    // The output may sleep while nobody plays.
    pw_properties_set(properties, PW_KEY_NODE_PASSIVE, "true");
    pw_properties_set(properties, "state.restore-target", "false");
    return properties;
}

} // namespace

struct StreamPair::Events {
    static StreamPair& self(void* data) { return *static_cast<StreamPair*>(data); }

    static void stateChanged(void* data, pw_stream_state, pw_stream_state state, const char*)
    {
        self(data).stateChanged(state);
    }
    static void positionChanged(void* data, std::uint32_t id, void* area, std::uint32_t)
    {
        if (id == SPA_IO_Position)
            self(data).cycle_.setPosition(static_cast<const spa_io_position*>(area));
    }
    static void captureParam(void* data, std::uint32_t id, const spa_pod* param)
    {
        if (id == SPA_PARAM_Props)
            keepAtFullVolume(*self(data).capture_, param);
    }
    static void playbackParam(void* data, std::uint32_t id, const spa_pod* param)
    {
        if (id == SPA_PARAM_Props)
            keepAtFullVolume(*self(data).playback_, param);
    }
    static void bufferAdded(void* data, pw_buffer* buffer)
    {
        StreamPair& pair = self(data);
        if (buffer->buffer->n_datas > 0)
            pair.cycle_.reserve(buffer->buffer->datas[0].maxsize / sizeof(float), pair.channels_);
    }
    // Audio thread.
    static void captureProcess(void* data)
    {
        StreamPair& pair = self(data);
        if (pw_stream_trigger_process(pair.playback_.get()) >= 0)
            return;
        while (pw_buffer* const buffer = pw_stream_dequeue_buffer(pair.capture_.get()))
            pw_stream_queue_buffer(pair.capture_.get(), buffer);
    }
    // Audio thread.
    static void playbackProcess(void* data) { self(data).cycle_.run(); }
    // Audio thread.
    static void signalRate(void* data)
    {
        StreamPair& pair = self(data);
        pw_loop_signal_event(&pair.loop_, pair.rateEvent_.get());
    }
    static void rateSignalled(void* data, std::uint64_t) { self(data).owner_.rateChanged(); }

    static constexpr pw_stream_events capture = [] {
        pw_stream_events events{};
        events.version = PW_VERSION_STREAM_EVENTS;
        events.state_changed = stateChanged;
        events.param_changed = captureParam;
        events.process = captureProcess;
        return events;
    }();
    static constexpr pw_stream_events playback = [] {
        pw_stream_events events{};
        events.version = PW_VERSION_STREAM_EVENTS;
        events.state_changed = stateChanged;
        events.io_changed = positionChanged;
        events.param_changed = playbackParam;
        events.add_buffer = bufferAdded;
        events.process = playbackProcess;
        return events;
    }();
};

StreamPair::StreamPair(PipeWireConnection& connection, const Setup& setup, SoftwareCycle& cycle, Owner& owner)
    : loop_(connection.loop())
    , cycle_(cycle)
    , owner_(owner)
    , channels_(setup.positions.size())
    , rateEvent_(pw_loop_add_event(&loop_, Events::rateSignalled, this), {&loop_})
    , playback_(pw_stream_new(connection.core(), streamName, playbackProperties(setup)))
    , capture_(pw_stream_new(connection.core(), streamName, captureProperties(setup)))
{
    if (!playback_ || !capture_)
        throw std::system_error(errno, std::generic_category(), "pw_stream_new");
    cycle_.setStreams(capture_.get(), playback_.get());
    cycle_.setPosition(nullptr);
    cycle_.onRateChanged(Events::signalRate, this);
    pw_stream_add_listener(capture_.get(), &captureHook_, &Events::capture, this);
    pw_stream_add_listener(playback_.get(), &playbackHook_, &Events::playback, this);
    connect(setup.positions);
}

StreamPair::~StreamPair()
{
    // Nobody is to hear of an end that we make ourselves.
    spa_hook_remove(&captureHook_);
    spa_hook_remove(&playbackHook_);
    // First the side of the other programs, as in `connect`.
    pw_stream_disconnect(capture_.get());
    pw_stream_disconnect(playback_.get());
}

void StreamPair::connect(const std::vector<std::uint32_t>& positions)
{
    spa_audio_info_raw format{};
    format.format = SPA_AUDIO_FORMAT_F32P;
    format.channels = static_cast<std::uint32_t>(positions.size());
    std::ranges::copy(positions, std::begin(format.position));
    std::array<std::uint8_t, maximumPodBytes> bytes{};
    spa_pod_builder builder{};
    spa_pod_builder_init(&builder, bytes.data(), maximumPodBytes);
    const spa_pod* parameters[] = {spa_format_audio_raw_build(&builder, SPA_PARAM_EnumFormat, &format)};

    const unsigned common = PW_STREAM_FLAG_MAP_BUFFERS | PW_STREAM_FLAG_RT_PROCESS;
    // First the side of the real output: nobody is to play into a capture stream that leads nowhere.
    int status = pw_stream_connect(playback_.get(), PW_DIRECTION_OUTPUT, PW_ID_ANY,
        streamFlags(common | PW_STREAM_FLAG_AUTOCONNECT | PW_STREAM_FLAG_TRIGGER), parameters, 1);
    if (status >= 0) {
        status = pw_stream_connect(
            capture_.get(), PW_DIRECTION_INPUT, PW_ID_ANY, streamFlags(common | asynchronousFlag), parameters, 1);
    }
    if (status < 0)
        throw std::system_error(-status, std::generic_category(), "pw_stream_connect");
}

std::uint32_t StreamPair::captureNode() const
{
    const bool ready = pw_stream_get_state(capture_.get(), nullptr) >= PW_STREAM_STATE_PAUSED
        && pw_stream_get_state(playback_.get(), nullptr) >= PW_STREAM_STATE_PAUSED;
    return ready ? pw_stream_get_node_id(capture_.get()) : SPA_ID_INVALID;
}

std::uint32_t StreamPair::playbackNode() const
{
    return pw_stream_get_node_id(playback_.get());
}

void StreamPair::stateChanged(pw_stream_state state)
{
    // Unconnected: somebody has destroyed the stream at the server.
    if (state == PW_STREAM_STATE_ERROR || state == PW_STREAM_STATE_UNCONNECTED)
        owner_.streamsFailed();
    else
        owner_.streamsAdvanced();
}

void StreamPair::keepAtFullVolume(pw_stream& stream, const spa_pod* props)
{
    // A session manager may restore an old volume onto these streams; the gain is the procedure's alone.
    const auto volume = parseVolume(props);
    if (!volume)
        return;
    if (std::ranges::any_of(volume->channels, [](float factor) { return factor != 1.0F; })) {
        std::vector<float> full(volume->channels.size(), 1.0F);
        pw_stream_set_control(
            &stream, SPA_PROP_channelVolumes, static_cast<std::uint32_t>(full.size()), full.data(), 0);
    }
    if (volume->muted) {
        float off = 0;
        pw_stream_set_control(&stream, SPA_PROP_mute, 1, &off, 0);
    }
}

} // namespace quenstal
