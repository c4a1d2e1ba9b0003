#include "QuenstalDDC/SoftwareVolumeTap/FloatingPointMode.hpp"

#include <immintrin.h>

namespace quenstal {

namespace {

// Bits of MXCSR. The lowest six are sticky flags of what has happened, which are nobody's mode.
constexpr std::uint64_t stickyFlags = 0x003f;
constexpr std::uint64_t denormalsAreZero = 0x0040;
constexpr std::uint64_t exceptionMasks = 0x1f80;
constexpr std::uint64_t flushToZero = 0x8000;

} // namespace

const std::uint64_t ieeeMode = exceptionMasks;
const std::uint64_t flushingMode = exceptionMasks | denormalsAreZero | flushToZero;

std::uint64_t floatingPointMode()
{
    return _mm_getcsr() & ~stickyFlags;
}

void setFloatingPointMode(std::uint64_t mode)
{
    _mm_setcsr(static_cast<unsigned>(mode));
}

} // namespace quenstal
