#pragma once

// Equalizer plug-ins of others, loaded at run time where they are installed.

#include <memory>
#include <string>
#include <vector>

namespace quenstal {

/// A stereo equalizer with five bands in use at 48 kHz: one stereo instance, or a mono instance for each side.
class LadspaEqualizer {
public:
    virtual ~LadspaEqualizer() = default;

    virtual void run(unsigned long frames) = 0;
};

/// What the equalizer is to be: where it is and which ports get which values. Ports are named as the plug-in does.
struct LadspaChoice {
    std::string file;
    std::string label;
    /// One instance takes both sides.
    bool stereo = false;
    std::vector<std::pair<std::string, float>> controls;
};

/// Null, and `reason` says why, when the plug-in is not there. The buffers stay the caller's and outlive it.
std::unique_ptr<LadspaEqualizer> loadLadspa(
    const LadspaChoice& choice, float* (&input)[2], float* (&output)[2], std::string& reason);

} // namespace quenstal
