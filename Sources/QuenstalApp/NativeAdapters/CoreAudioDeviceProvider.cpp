#include "QuenstalApp/NativeAdapters/CoreAudioDeviceProvider.hpp"

#include "QuenstalApp/NativeAdapters/VolumeProperties.hpp"
#include "QuenstalApp/PresentableText.hpp"

#include <algorithm>
#include <array>

namespace quenstal {

namespace {

struct TransportRow {
    FourCharCode code;
    AudioTransport transport;
};

constexpr std::array<TransportRow, 8> transportRows{{
    {AudioTransportCode::builtIn, AudioTransport::builtIn},
    {AudioTransportCode::bluetooth, AudioTransport::bluetooth},
    {AudioTransportCode::bluetoothLE, AudioTransport::bluetooth},
    {AudioTransportCode::usb, AudioTransport::usb},
    {AudioTransportCode::hdmi, AudioTransport::hdmi},
    {AudioTransportCode::displayPort, AudioTransport::displayPort},
    {AudioTransportCode::airPlay, AudioTransport::airPlay},
    {AudioTransportCode::aggregate, AudioTransport::aggregate},
}};

constexpr const char* unknownOutput = "Unknown Output";

} // namespace

std::optional<AudioOutputDevice> CoreAudioDeviceProvider::defaultOutputDevice()
{
    const auto device = defaultOutputDeviceID();
    if (!device)
        return std::nullopt;
    return AudioOutputDevice{
        .id = std::to_string(*device),
        .name = deviceName(*device),
        .transport = transport(*device),
        .supportsNativeVolume = supportsVolume(objects_, *device),
        .coreAudioUID = deviceUID(*device),
    };
}

std::optional<AudioObjectID> CoreAudioDeviceProvider::defaultOutputDeviceID() const
{
    AudioObjectID device = 0;
    const auto status = objects_.getUInt32(audioSystemObject, {AudioPropertySelector::defaultOutputDevice}, device);
    return status == 0 && device != 0 ? std::optional(device) : std::nullopt;
}

std::string CoreAudioDeviceProvider::deviceName(AudioObjectID device) const
{
    const auto name = text(device, AudioPropertySelector::name);
    if (!name || name->empty())
        return name.value_or(unknownOutput);
    const std::string shown = presentable(*name);
    return shown.empty() ? unknownOutput : shown;
}

AudioTransport CoreAudioDeviceProvider::transport(AudioObjectID device) const
{
    FourCharCode code = AudioTransportCode::unknown;
    if (objects_.getUInt32(device, {AudioPropertySelector::transportType}, code) != 0)
        return AudioTransport::unknown;
    const auto* const row = std::ranges::find(transportRows, code, &TransportRow::code);
    return row == transportRows.end() ? AudioTransport::unknown : row->transport;
}

std::optional<std::string> CoreAudioDeviceProvider::deviceUID(AudioObjectID device) const
{
    return text(device, AudioPropertySelector::deviceUID);
}

std::optional<std::string> CoreAudioDeviceProvider::text(AudioObjectID device, FourCharCode selector) const
{
    std::optional<std::string> value;
    return objects_.getString(device, {selector}, value) == 0 ? value : std::nullopt;
}

} // namespace quenstal
