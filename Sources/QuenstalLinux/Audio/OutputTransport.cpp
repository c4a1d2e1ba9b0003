#include "QuenstalLinux/Audio/OutputTransport.hpp"

#include "QuenstalLinux/Audio/SoftwareNodes.hpp"

#include <algorithm>
#include <string_view>

namespace quenstal {

namespace {

/// The properties of the node, and behind them those of its card.
class OutputProperties {
public:
    OutputProperties(const AudioProperties& node, const CardDevice* card)
        : node_(node)
        , card_(card)
    {
    }

    std::string_view operator[](std::string_view key) const
    {
        const auto own = valueOf(node_, key);
        return own.empty() && card_ ? valueOf(card_->properties, key) : own;
    }
    bool hasKeyBeginning(std::string_view beginning) const
    {
        const auto next = node_.lower_bound(beginning);
        return next != node_.end() && next->first.starts_with(beginning);
    }

private:
    const AudioProperties& node_;
    const CardDevice* card_;
};

bool isBluetooth(const OutputProperties& output)
{
    return output["device.api"] == "bluez5" || output.hasKeyBeginning("api.bluez5.")
        || output["node.name"].starts_with("bluez_output.");
}

bool isAirPlay(const OutputProperties& output)
{
    return output["node.name"].starts_with("raop_sink.") || output.hasKeyBeginning("raop.")
        || output["sess.media"] == "raop";
}

bool isDigitalMonitor(const OutputProperties& output, const OutputRoute* route)
{
    const std::string_view profile = output["device.profile.name"];
    return (route && route->portType == "hdmi") || profile.starts_with("hdmi-")
        || profile.find("HDMI") != std::string_view::npos || output["api.alsa.path"].starts_with("hdmi:");
}

} // namespace

bool isOutput(const AudioProperties& node)
{
    const std::string_view name = valueOf(node, "node.name");
    return !name.empty() && name != "auto_null" && !isSoftwareNodeName(name);
}

FourCharCode outputTransport(const SinkNode& sink, const CardDevice* card, const OutputRoute* route)
{
    const OutputProperties output(sink.properties, card);
    if (isBluetooth(output))
        return AudioTransportCode::bluetooth;
    if (isAirPlay(output))
        return AudioTransportCode::airPlay;
    if (output["node.link-group"].starts_with("combine-sink-"))
        return AudioTransportCode::aggregate;

    const bool isAlsa = output["device.api"] == "alsa";
    // Before the form factor: udev calls the HDMI sockets of a graphics card "internal" too.
    if (isAlsa && isDigitalMonitor(output, route))
        return sink.eld && sink.eld->isDisplayPort ? AudioTransportCode::displayPort : AudioTransportCode::hdmi;
    if (output["device.bus"] == "usb" || output["node.name"].starts_with("alsa_output.usb-"))
        return AudioTransportCode::usb;
    if (isAlsa && (output["device.bus"] == "pci" || output["device.form-factor"] == "internal"))
        return AudioTransportCode::builtIn;
    return AudioTransportCode::unknown;
}

} // namespace quenstal
