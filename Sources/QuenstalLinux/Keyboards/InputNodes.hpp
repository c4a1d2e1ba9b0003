#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include <libudev.h>

namespace quenstal {

/// The names of this program's clones begin so: they must not be captured again.
inline constexpr const char* cloneNamePrefix = "Quenstal ";

/// Where clones are created: the key service's own node if this process may write to it, else the common one. Null if
/// it may write to neither.
const char* uinputNode();

/// The seat of keyboards that are not assigned to another one.
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
