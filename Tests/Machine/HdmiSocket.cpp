#include "Machine/HdmiSocket.hpp"

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <sound/asound.h>
#include <stdexcept>
#include <string_view>

#include <fcntl.h>
#include <sys/ioctl.h>

namespace quenstal {
namespace {

namespace fs = std::filesystem;

/// Of a simple HDMI socket's driver.
constexpr unsigned int playbackDevice = 3;
constexpr unsigned int monitorBytes = 64;
constexpr std::size_t nameAt = 20;

snd_ctl_elem_id named(int interface, unsigned int device, std::string_view name)
{
    snd_ctl_elem_id id{};
    id.iface = interface;
    id.device = device;
    std::ranges::copy(name.substr(0, sizeof id.name - 1), id.name);
    return id;
}

const std::string jackControl = std::string(HdmiSocket::jackName) + ",pcm=" + std::to_string(playbackDevice) + " Jack";
const auto jack = named(SNDRV_CTL_ELEM_IFACE_CARD, 0, jackControl);
const auto monitor = named(SNDRV_CTL_ELEM_IFACE_PCM, playbackDevice, "ELD");
const auto carrier = named(SNDRV_CTL_ELEM_IFACE_MIXER, 0, "IEC958 Playback Switch");

/// The node of the card that has such a device.
fs::path controlNode()
{
    for (int card = 0; card < 8; ++card) {
        const std::string number = std::to_string(card);
        if (fs::exists("/proc/asound/card" + number + "/pcm" + std::to_string(playbackDevice) + "p"))
            return "/dev/snd/controlC" + number;
    }
    throw std::runtime_error("no sound card with an HDMI socket");
}

void add(int control, const snd_ctl_elem_id& id, int type, unsigned int count)
{
    snd_ctl_elem_info info{};
    info.id = id;
    info.type = type;
    info.count = count;
    info.owner = 1;
    info.access = SNDRV_CTL_ELEM_ACCESS_READWRITE;
    info.value.integer.max = 1;
    if (ioctl(control, SNDRV_CTL_IOCTL_ELEM_ADD, &info) != 0 && errno != EBUSY)
        throw std::runtime_error("cannot add a control to the sound card");
}

void write(int control, snd_ctl_elem_value value, const snd_ctl_elem_id& id)
{
    value.id = id;
    if (ioctl(control, SNDRV_CTL_IOCTL_ELEM_WRITE, &value) < 0)
        throw std::runtime_error("cannot set a control of the sound card");
}

} // namespace

HdmiSocket::HdmiSocket()
    : control_(open(controlNode().c_str(), O_RDWR | O_CLOEXEC))
{
    add(control_.get(), jack, SNDRV_CTL_ELEM_TYPE_BOOLEAN, 1);
    add(control_.get(), monitor, SNDRV_CTL_ELEM_TYPE_BYTES, monitorBytes);
    snd_ctl_elem_value on{};
    on.value.integer.value[0] = 1;
    write(control_.get(), on, carrier);
}

void HdmiSocket::plugIn(const std::string& monitorName, bool isDisplayPort)
{
    setMonitor(monitorName, isDisplayPort);
    setJack(true);
}

void HdmiSocket::pullOut()
{
    setJack(false);
}

void HdmiSocket::setJack(bool isPluggedIn)
{
    snd_ctl_elem_value value{};
    value.value.integer.value[0] = isPluggedIn ? 1 : 0;
    write(control_.get(), value, jack);
}

void HdmiSocket::setMonitor(const std::string& name, bool isDisplayPort)
{
    snd_ctl_elem_value value{};
    auto& bytes = value.value.bytes.data;
    constexpr unsigned char version = 2 << 3;
    constexpr unsigned char extension = 3 << 5;
    bytes[0] = version;
    bytes[2] = (monitorBytes - 4) / 4;
    bytes[4] = static_cast<unsigned char>(extension | name.size());
    // One description of samples: two channels, 32 to 48 kHz, 16 to 24 bits.
    bytes[5] = static_cast<unsigned char>(1 << 4 | (isDisplayPort ? 1 << 2 : 0));
    bytes[7] = 1;
    const auto end = std::ranges::copy(name, bytes + nameAt).out;
    end[0] = 1 << 3 | 1;
    end[1] = 7;
    end[2] = 7;
    write(control_.get(), value, monitor);
}

} // namespace quenstal
