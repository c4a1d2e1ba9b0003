#pragma once

#include <cstdint>
#include <functional>
#include <vector>

#include <linux/input.h>

namespace quenstal {

/// Takes the presses of the three volume keys out of a keyboard's events. Events come in frames that end with a
/// report; a frame that carried nothing but a swallowed press is dropped whole. Everything else passes untouched and
/// in order, the releases of the three keys included: the kernel ignores a release of a key that is not down.
class VolumeKeyFilter {
public:
    using Pass = std::function<void(const input_event&)>;
    using Press = std::function<void(std::int64_t button, bool isRepeat)>;

    VolumeKeyFilter(Pass pass, Press press);

    void handle(const input_event& event);

private:
    void endFrame(const input_event& report);

    Pass pass_;
    Press press_;
    std::vector<input_event> frame_;
    bool hasSwallowed_ = false;
};

/// The number in `AuxiliaryButton` of a volume key's code; −1 for every other key.
std::int64_t volumeButton(std::uint16_t code);

} // namespace quenstal
