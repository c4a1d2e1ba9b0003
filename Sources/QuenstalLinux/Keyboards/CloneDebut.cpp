#include "QuenstalLinux/Keyboards/CloneDebut.hpp"

#include <algorithm>
#include <array>
#include <climits>
#include <cstddef>
#include <cstring>
#include <string_view>

#include <sys/inotify.h>
#include <unistd.h>

namespace quenstal {

namespace {

constexpr const char* folderOfNodes = "/dev/input";

bool isEventNode(std::string_view name)
{
    return name.starts_with("event");
}

} // namespace

CloneDebut::CloneDebut(Patience patience)
    : patience_(patience)
    , udev_(udev_new())
    , openings_(inotify_init1(IN_CLOEXEC | IN_NONBLOCK))
{
    // Of the folder: the node itself is inaccessible until the device manager has processed it.
    inotify_add_watch(openings_.get(), folderOfNodes, IN_OPEN);
    monitor_.reset(udev_ ? udev_monitor_new_from_netlink(udev_.get(), "udev") : nullptr);
    if (!monitor_)
        return;
    udev_monitor_filter_add_match_subsystem_devtype(monitor_.get(), "input", nullptr);
    udev_monitor_enable_receiving(monitor_.get());
}

int CloneDebut::announcements() const
{
    return monitor_ ? udev_monitor_get_fd(monitor_.get()) : -1;
}

void CloneDebut::readNews()
{
    readAnnouncements();
    readOpenings();
}

void CloneDebut::readAnnouncements()
{
    while (udev_device* const news = monitor_ ? udev_monitor_receive_device(monitor_.get()) : nullptr) {
        const std::unique_ptr<udev_device, ReleaseUdev> device(news);
        const std::string name = udev_device_get_sysname(news);
        if (announcedAt_ || !isEventNode(name) || udev_device_get_syspath(news) != place_ + "/" + name)
            continue;
        name_ = name;
        announcedAt_ = Clock::now();
    }
}

/// Only the device manager, or a program that does not wait for announcements, opens it before it is announced.
void CloneDebut::readOpenings()
{
    alignas(inotify_event) std::array<char, 16 * (sizeof(inotify_event) + NAME_MAX + 1)> buffer{};
    for (ssize_t size = 0; (size = read(openings_.get(), buffer.data(), buffer.size())) > 0;) {
        for (const char* place = buffer.data(); place < buffer.data() + size;) {
            inotify_event opening{};
            std::memcpy(&opening, place, sizeof opening);
            const char* const name = place + sizeof opening;
            if (announcedAt_ && opening.len > 0 && name == name_)
                openedAt_ = Clock::now();
            place = name + opening.len;
        }
    }
}

std::optional<CloneDebut::Clock::time_point> CloneDebut::overAt() const
{
    if (!announcedAt_)
        return std::nullopt;
    if (!openedAt_)
        return *announcedAt_ + patience_.afterAnnouncement;
    return std::min(*openedAt_ + patience_.afterOpening, *announcedAt_ + patience_.longest);
}

bool CloneDebut::isOver() const
{
    const auto end = overAt();
    return end && *end <= Clock::now();
}

} // namespace quenstal
