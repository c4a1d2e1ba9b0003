#include "QuenstalLinux/Audio/InputRepair.hpp"

#include <algorithm>
#include <cmath>
#include <cstdint>

namespace quenstal {

// Plain loops without branches: this file is compiled so that they become vector code.

bool needsRepair(const float* samples, std::size_t count)
{
    std::uint32_t bad = 0;
    for (std::size_t i = 0; i < count; ++i)
        bad |= std::abs(samples[i]) <= largestInput ? 0U : 1U;
    return bad != 0;
}

std::size_t copyRepaired(const float* samples, std::size_t count, float* repaired)
{
    std::uint32_t changed = 0;
    for (std::size_t i = 0; i < count; ++i) {
        const float sample = samples[i];
        const float limited = std::clamp(sample, -largestInput, largestInput);
        // A difference that is not 0 is the number's own only when it is finite.
        const bool finite = sample - sample == 0;
        repaired[i] = finite ? limited : 0.0F;
        changed += std::abs(sample) <= largestInput ? 0U : 1U;
    }
    return changed;
}

} // namespace quenstal
