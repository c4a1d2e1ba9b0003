#include "QuenstalDDC/SoftwareVolumeTap/FloatingPointMode.hpp"

namespace quenstal {

// Bits of FPCR. All zero: round to nearest, no traps. Bit 24 flushes operands and results alike.
const std::uint64_t ieeeMode = 0;
const std::uint64_t flushingMode = 1u << 24;

std::uint64_t floatingPointMode()
{
    std::uint64_t mode;
    asm volatile("mrs %0, fpcr" : "=r"(mode));
    return mode;
}

void setFloatingPointMode(std::uint64_t mode)
{
    asm volatile("msr fpcr, %0" : : "r"(mode));
}

} // namespace quenstal
