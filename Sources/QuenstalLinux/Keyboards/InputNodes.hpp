#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include <libudev.h>

namespace quenstal {

/// The clones of this program are called so: they are not keyboards to be captured again.
inline constexpr const char* cloneNamePrefix = "Quenstal ";

/// Where clones are made: the key service's own node where this process may write to it, else everyone's. Null when it
/// may write to neither.
const char* uinputNode();

/// Where keyboards are that nobody has assigned to another seat.
inline constexpr const char* firstSeat = "seat0";

struct ReleaseUdev {
    void operator()(udev* context) const { udev_unref(context); }
    void operator()(udev_monitor* monitor) const { udev_monitor_unref(monitor); }
    void operator()(udev_device* device) const { udev_device_unref(device); }
    void operator()(udev_enumerate* enumeration) const { udev_enumerate_unref(enumeration); }
};

/// A device node with volume keys: a keyboard may have them on several.
struct InputNode {
    std::string path;
    /// This process may read it.
    bool isAccessible = false;

    bool operator==(const InputNode&) const = default;
};

/// Whether a kernel bitmap of keys, as sysfs prints it, has any of the three volume keys.
bool hasVolumeKey(std::string_view keyBitmap);

/// All of them at that seat, sorted by path.
std::vector<InputNode> findVolumeKeyNodes(udev& context, std::string_view seat);

} // namespace quenstal
