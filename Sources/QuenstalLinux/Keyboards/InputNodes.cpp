#include "QuenstalLinux/Keyboards/InputNodes.hpp"

#include <algorithm>
#include <array>
#include <charconv>
#include <climits>
#include <cstdint>

#include <linux/input-event-codes.h>
#include <unistd.h>

namespace quenstal {

namespace {

/// Words of the bitmap, the last one holding the lowest bits.
std::vector<std::uint64_t> wordsOf(std::string_view bitmap)
{
    std::vector<std::uint64_t> words;
    while (!bitmap.empty()) {
        const std::size_t space = std::min(bitmap.find(' '), bitmap.size());
        std::uint64_t word = 0;
        std::from_chars(bitmap.data(), bitmap.data() + space, word, 16);
        words.push_back(word);
        bitmap.remove_prefix(std::min(space + 1, bitmap.size()));
    }
    std::ranges::reverse(words);
    return words;
}

bool isEventNode(std::string_view path)
{
    return path.starts_with("/dev/input/event");
}

bool isOwnClone(udev_device& input)
{
    const char* name = udev_device_get_sysattr_value(&input, "name");
    return name && std::string_view(name).starts_with(cloneNamePrefix);
}

std::string_view seatOf(udev_device& node)
{
    const char* seat = udev_device_get_property_value(&node, "ID_SEAT");
    return seat ? seat : firstSeat;
}

} // namespace

const char* uinputNode()
{
    for (const char* node : {"/dev/quenstal-uinput", "/dev/uinput"}) {
        if (access(node, R_OK | W_OK) == 0)
            return node;
    }
    return nullptr;
}

bool hasVolumeKey(std::string_view keyBitmap)
{
    constexpr std::size_t bits = sizeof(long) * CHAR_BIT;
    const std::vector<std::uint64_t> words = wordsOf(keyBitmap);
    return std::ranges::any_of(std::array{KEY_MUTE, KEY_VOLUMEDOWN, KEY_VOLUMEUP}, [&](int key) {
        const auto index = static_cast<std::size_t>(key);
        return index / bits < words.size() && (words[index / bits] >> index % bits & 1) != 0;
    });
}

std::vector<InputNode> findVolumeKeyNodes(udev& context, std::string_view seat)
{
    std::vector<InputNode> nodes;
    const std::unique_ptr<udev_enumerate, ReleaseUdev> enumeration(udev_enumerate_new(&context));
    udev_enumerate_add_match_subsystem(enumeration.get(), "input");
    udev_enumerate_scan_devices(enumeration.get());
    for (udev_list_entry* entry = udev_enumerate_get_list_entry(enumeration.get()); entry;
         entry = udev_list_entry_get_next(entry)) {
        const std::unique_ptr<udev_device, ReleaseUdev> device(
            udev_device_new_from_syspath(&context, udev_list_entry_get_name(entry)));
        const char* path = device ? udev_device_get_devnode(device.get()) : nullptr;
        udev_device* input
            = device ? udev_device_get_parent_with_subsystem_devtype(device.get(), "input", nullptr) : nullptr;
        if (!path || !input || !isEventNode(path) || isOwnClone(*input) || seatOf(*device) != seat)
            continue;
        const char* keys = udev_device_get_sysattr_value(input, "capabilities/key");
        if (keys && hasVolumeKey(keys))
            nodes.push_back({path, access(path, R_OK | W_OK) == 0});
    }
    std::ranges::sort(nodes, {}, &InputNode::path);
    return nodes;
}

} // namespace quenstal
