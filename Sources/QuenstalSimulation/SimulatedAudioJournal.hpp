#pragma once

#include "QuenstalPlatform/AudioBuffers.hpp"

#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace quenstal {

/// Every call that reached the simulated sound hardware, one line each, and the faults to force. Main thread.
class SimulatedAudioJournal {
public:
    /// Every later call whose line begins with the text returns the status and has no effect. Zero lifts the fault.
    void failWith(std::string beginning, PlatformStatus status);
    const std::vector<std::string>& calls() const { return calls_; }
    /// Lines that begin with the text, in order.
    std::vector<std::string> callsBeginning(std::string_view beginning) const;
    void clear() { calls_.clear(); }

    /// Notes the call; the status is the forced one or 0.
    PlatformStatus record(std::string call);

private:
    std::vector<std::string> calls_;
    std::vector<std::pair<std::string, PlatformStatus>> faults_;
};

/// The four characters of a code, "volm".
std::string fourCharText(FourCharCode code);

} // namespace quenstal
