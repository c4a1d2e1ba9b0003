#pragma once

// The sound outputs of the machine and their properties, addressed by four-character codes.

#include "QuenstalPlatform/AudioBuffers.hpp"
#include "QuenstalPlatform/Interface.hpp"
#include "QuenstalPlatform/RunLoop.hpp"

#include <functional>
#include <optional>
#include <string>

namespace quenstal {

/// The object that stands for the machine as a whole.
inline constexpr AudioObjectID audioSystemObject = 1;

/// Element 0 is the device as a whole; 1 and 2 are its first two channels.
inline constexpr std::uint32_t audioElementMain = 0;

struct AudioPropertySelector {
    /// On the system object: the device that programs play on by default; 0 is none.
    static constexpr FourCharCode defaultOutputDevice = fourCharCode("dOut");
    static constexpr FourCharCode name = fourCharCode("lnam");
    static constexpr FourCharCode transportType = fourCharCode("tran");
    /// The name that stays the same when the device is plugged in again.
    static constexpr FourCharCode deviceUID = fourCharCode("uid ");
    /// 0 to 1 on the scale that the desktop's own slider shows.
    static constexpr FourCharCode volumeScalar = fourCharCode("volm");
    /// Not 0 when muted.
    static constexpr FourCharCode mute = fourCharCode("mute");
};

struct AudioPropertyScope {
    static constexpr FourCharCode global = fourCharCode("glob");
    static constexpr FourCharCode output = fourCharCode("outp");
};

/// Values of the property `transportType`.
struct AudioTransportCode {
    static constexpr FourCharCode builtIn = fourCharCode("bltn");
    static constexpr FourCharCode bluetooth = fourCharCode("blue");
    static constexpr FourCharCode bluetoothLE = fourCharCode("blea");
    static constexpr FourCharCode usb = fourCharCode("usb ");
    static constexpr FourCharCode hdmi = fourCharCode("hdmi");
    static constexpr FourCharCode displayPort = fourCharCode("dprt");
    static constexpr FourCharCode airPlay = fourCharCode("airp");
    static constexpr FourCharCode aggregate = fourCharCode("grup");
    static constexpr FourCharCode isVirtual = fourCharCode("virt");
    static constexpr FourCharCode unknown = 0;
};

struct AudioPropertyAddress {
    FourCharCode selector = 0;
    FourCharCode scope = AudioPropertyScope::global;
    std::uint32_t element = audioElementMain;

    bool operator==(const AudioPropertyAddress&) const = default;
};

/// Audio objects and their properties. Main thread. No call waits for hardware or for a server: reads answer from
/// what is known, writes are on their way when the call returns.
///
/// A getter leaves its value alone unless it returns 0. Only a device that has gone returns an error.
class AudioObjects : public Interface {
public:
    virtual bool hasProperty(AudioObjectID object, const AudioPropertyAddress& address) const = 0;
    virtual PlatformStatus isPropertySettable(
        AudioObjectID object, const AudioPropertyAddress& address, bool& settable) const = 0;

    /// Object numbers, codes and flags.
    virtual PlatformStatus getUInt32(
        AudioObjectID object, const AudioPropertyAddress& address, std::uint32_t& value) const = 0;
    virtual PlatformStatus getFloat32(
        AudioObjectID object, const AudioPropertyAddress& address, float& value) const = 0;
    /// Success may yield no text at all, which is not the same as an empty one.
    virtual PlatformStatus getString(
        AudioObjectID object, const AudioPropertyAddress& address, std::optional<std::string>& value) const = 0;

    virtual PlatformStatus setUInt32(AudioObjectID object, const AudioPropertyAddress& address, std::uint32_t value)
        = 0;
    virtual PlatformStatus setFloat32(AudioObjectID object, const AudioPropertyAddress& address, float value) = 0;

    /// Runs the handler on a later turn after outputs appeared, disappeared, or the default changed.
    [[nodiscard]] virtual Cancellation onOutputsChanged(std::function<void()> handler) = 0;
    /// Runs the handler on a later turn after anything but this program changed a device's volume or mute.
    [[nodiscard]] virtual Cancellation onVolumeChangedElsewhere(std::function<void(AudioObjectID)> handler) = 0;
};

} // namespace quenstal
