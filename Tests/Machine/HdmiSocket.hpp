#pragma once

#include "QuenstalLinux/FileDescriptor.hpp"

#include <string>

namespace quenstal {

/// The HDMI or DisplayPort socket of the machine's second sound card, into which monitors are plugged. The kernel's
/// own driver found none there: the jack and what the monitor says of itself are controls added beside the driver's.
/// One thread; root.
class HdmiSocket {
public:
    /// How the jack's control is called. It differs from the name that the driver gives to its own.
    static constexpr const char* jackName = "Plugged HDMI";

    /// Adds the controls where they are missing. They stay.
    HdmiSocket();

    void plugIn(const std::string& monitorName, bool isDisplayPort);
    void pullOut();

private:
    void setJack(bool isPluggedIn);
    void setMonitor(const std::string& name, bool isDisplayPort);

    FileDescriptor control_;
};

} // namespace quenstal
