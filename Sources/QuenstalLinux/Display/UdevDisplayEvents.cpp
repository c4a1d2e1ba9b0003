#include "QuenstalLinux/Display/UdevDisplayEvents.hpp"

#include <cerrno>
#include <string_view>
#include <utility>

#include <libudev.h>

namespace quenstal {
namespace {

struct UdevRelease {
    void operator()(udev* context) const { udev_unref(context); }
    void operator()(udev_device* device) const { udev_device_unref(device); }
};

std::string_view textOrEmpty(const char* text)
{
    return text ? text : std::string_view();
}

udev_monitor* openMonitor()
{
    const std::unique_ptr<udev, UdevRelease> context(udev_new());
    udev_monitor* monitor = context ? udev_monitor_new_from_netlink(context.get(), "udev") : nullptr;
    if (!monitor)
        return nullptr;
    udev_monitor_filter_add_match_subsystem_devtype(monitor, "drm", nullptr);
    udev_monitor_filter_add_match_subsystem_devtype(monitor, "i2c-dev", nullptr);
    udev_monitor_enable_receiving(monitor);
    return monitor;
}

/// A card reports every change of its own; only those of its connectors matter. Of I2C devices all do, a change
/// among them, since that is how access rights are given.
bool isOfInterest(udev_device* device)
{
    if (textOrEmpty(udev_device_get_subsystem(device)) == "i2c-dev")
        return true;
    return textOrEmpty(udev_device_get_property_value(device, "HOTPLUG")) == "1";
}

} // namespace

void UdevDisplayEvents::Closer::operator()(udev_monitor* monitor) const
{
    udev_monitor_unref(monitor);
}

UdevDisplayEvents::UdevDisplayEvents(RunLoop& loop, RunLoop::Task devicesChanged)
    : devicesChanged_(std::move(devicesChanged))
    , monitor_(openMonitor())
{
    if (monitor_)
        watch_ = loop.watchReadable(udev_monitor_get_fd(monitor_.get()), [this] { receive(); });
}

void UdevDisplayEvents::receive()
{
    errno = 0;
    const std::unique_ptr<udev_device, UdevRelease> device(udev_monitor_receive_device(monitor_.get()));
    const bool wereEventsLost = !device && errno == ENOBUFS;
    if (wereEventsLost || (device && isOfInterest(device.get())))
        devicesChanged_();
}

} // namespace quenstal
