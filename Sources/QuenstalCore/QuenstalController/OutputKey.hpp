#pragma once

#include "QuenstalCore/Models/Device.hpp"

#include <string>

namespace quenstal {

/// The key of an output's equalizer profile and software preference: its persistent name where it has one.
inline const std::string& outputKey(const AudioOutputDevice& device)
{
    return device.coreAudioUID && !device.coreAudioUID->empty() ? *device.coreAudioUID : device.id;
}

} // namespace quenstal
