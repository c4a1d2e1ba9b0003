#include "QuenstalSimulation/SimulatedAudioObjects.hpp"

#include <algorithm>
#include <utility>

namespace quenstal {

namespace {

std::string addressText(AudioObjectID object, const AudioPropertyAddress& address)
{
    return std::to_string(object) + ' ' + fourCharText(address.selector) + ' ' + fourCharText(address.scope) + ' '
        + std::to_string(address.element);
}

} // namespace

SimulatedAudioObjects::SimulatedAudioObjects(RunLoop& runLoop)
    : outputsChanged_(runLoop)
    , volumeChanged_(runLoop)
{
}

bool SimulatedAudioObjects::hasProperty(AudioObjectID object, const AudioPropertyAddress& address) const
{
    return journal_.record("has " + addressText(object, address)) == 0 && control(object, address) != nullptr;
}

PlatformStatus SimulatedAudioObjects::isPropertySettable(
    AudioObjectID object, const AudioPropertyAddress& address, bool& settable) const
{
    if (const auto forced = journal_.record("settable " + addressText(object, address)))
        return forced;
    const auto* const found = control(object, address);
    if (!found)
        return missing(object);
    settable = found->settable;
    return 0;
}

PlatformStatus SimulatedAudioObjects::getUInt32(
    AudioObjectID object, const AudioPropertyAddress& address, std::uint32_t& value) const
{
    if (const auto forced = journal_.record("get " + addressText(object, address)))
        return forced;
    if (object == audioSystemObject && address.selector == AudioPropertySelector::defaultOutputDevice) {
        value = defaultOutput_;
        return 0;
    }
    const auto device = outputs_.find(object);
    if (device != outputs_.end() && address.selector == AudioPropertySelector::transportType) {
        value = device->second.transport;
        return 0;
    }
    const auto* const found = control(AudioPropertySelector::mute, object, address);
    if (!found)
        return missing(object);
    value = found->value != 0 ? 1 : 0;
    return 0;
}

PlatformStatus SimulatedAudioObjects::getFloat32(
    AudioObjectID object, const AudioPropertyAddress& address, float& value) const
{
    if (const auto forced = journal_.record("get " + addressText(object, address)))
        return forced;
    const auto* const found = control(AudioPropertySelector::volumeScalar, object, address);
    if (!found)
        return missing(object);
    value = found->value;
    return 0;
}

PlatformStatus SimulatedAudioObjects::getString(
    AudioObjectID object, const AudioPropertyAddress& address, std::optional<std::string>& value) const
{
    if (const auto forced = journal_.record("get " + addressText(object, address)))
        return forced;
    const auto device = outputs_.find(object);
    if (device == outputs_.end())
        return badObject;
    if (address.selector == AudioPropertySelector::name)
        value = device->second.name;
    else if (address.selector == AudioPropertySelector::deviceUID)
        value = device->second.uid;
    else
        return unknownProperty;
    return 0;
}

PlatformStatus SimulatedAudioObjects::setUInt32(
    AudioObjectID object, const AudioPropertyAddress& address, std::uint32_t value)
{
    return set(AudioPropertySelector::mute, object, address, std::to_string(value), static_cast<float>(value));
}

PlatformStatus SimulatedAudioObjects::setFloat32(AudioObjectID object, const AudioPropertyAddress& address, float value)
{
    return set(AudioPropertySelector::volumeScalar, object, address, std::to_string(value), value);
}

PlatformStatus SimulatedAudioObjects::set(FourCharCode selector, AudioObjectID object,
    const AudioPropertyAddress& address, const std::string& text, float value)
{
    if (const auto forced = journal_.record("set " + addressText(object, address) + " = " + text))
        return forced;
    auto* const found = const_cast<SimulatedAudioControl*>(control(selector, object, address));
    if (!found || !found->settable)
        return missing(object);
    found->value = value;
    return 0;
}

Cancellation SimulatedAudioObjects::onOutputsChanged(std::function<void()> handler)
{
    return outputsChanged_.add(std::move(handler));
}

Cancellation SimulatedAudioObjects::onVolumeChangedElsewhere(std::function<void(AudioObjectID)> handler)
{
    return volumeChanged_.add(std::move(handler));
}

AudioObjectID SimulatedAudioObjects::addOutput(SimulatedOutput output)
{
    const AudioObjectID device = nextID_++;
    outputs_.emplace(device, std::move(output));
    if (defaultOutput_ == 0)
        defaultOutput_ = device;
    outputsChanged_.notify();
    return device;
}

void SimulatedAudioObjects::removeOutput(AudioObjectID device)
{
    if (outputs_.erase(device) == 0)
        return;
    if (defaultOutput_ == device)
        defaultOutput_ = outputs_.empty() ? 0 : outputs_.begin()->first;
    outputsChanged_.notify();
}

void SimulatedAudioObjects::setDefaultOutput(AudioObjectID device)
{
    defaultOutput_ = device;
    outputsChanged_.notify();
}

void SimulatedAudioObjects::changeVolumeElsewhere(AudioObjectID device, std::uint32_t element, float value)
{
    outputs_.at(device).volumes.at(element).value = value;
    volumeChanged_.notify(device);
}

SimulatedOutput* SimulatedAudioObjects::output(AudioObjectID device)
{
    const auto found = outputs_.find(device);
    return found == outputs_.end() ? nullptr : &found->second;
}

SimulatedOutput* SimulatedAudioObjects::outputWithUID(const std::string& uid)
{
    const auto found = std::ranges::find_if(outputs_, [&](const auto& entry) { return entry.second.uid == uid; });
    return found == outputs_.end() ? nullptr : &found->second;
}

const SimulatedAudioControl* SimulatedAudioObjects::control(
    AudioObjectID object, const AudioPropertyAddress& address) const
{
    const auto device = outputs_.find(object);
    if (device == outputs_.end() || address.scope != AudioPropertyScope::output)
        return nullptr;
    const auto& [key, output] = *device;
    if (address.selector == AudioPropertySelector::volumeScalar) {
        const auto volume = output.volumes.find(address.element);
        return volume == output.volumes.end() ? nullptr : &volume->second;
    }
    const bool isMute = address.selector == AudioPropertySelector::mute && address.element == audioElementMain;
    return isMute && output.mute ? &*output.mute : nullptr;
}

const SimulatedAudioControl* SimulatedAudioObjects::control(
    FourCharCode selector, AudioObjectID object, const AudioPropertyAddress& address) const
{
    return address.selector == selector ? control(object, address) : nullptr;
}

PlatformStatus SimulatedAudioObjects::missing(AudioObjectID object) const
{
    return outputs_.contains(object) ? unknownProperty : badObject;
}

} // namespace quenstal
