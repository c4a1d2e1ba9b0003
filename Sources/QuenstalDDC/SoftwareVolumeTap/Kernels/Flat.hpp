#pragma once

// Five bands that all pass through leave a sample as it is, nearly always: then there is no need to run them.

#include "QuenstalDDC/SoftwareVolumeTap/Kernels/Vector.hpp"
#include "QuenstalDDC/SoftwareVolumeTap/SessionRecord.hpp"

namespace quenstal {

/// Whether the pass-through bands would give these inputs back to the bit: a band adds its past times zero, which
/// makes +0 of −0 and NaN of what is not finite. `input` is before gain and preamp.
template <class Isa>
bool passesUnchanged(const float* input, std::size_t count, float gain, float preampGain)
{
    constexpr unsigned width = Isa::width;
    using Numbers = Floats<width>;
    using Bits = Ints<width>;
    Bits bad{};
    const auto look = [&](Numbers samples) __attribute__((always_inline))
    {
        const auto bits = reinterpret_cast<Bits>(samples * gain * preampGain);
        bad |= (bits == INT32_MIN) | ((bits & INT32_MAX) >= 0x7f800000);
    };
    std::size_t i = 0;
    for (; i + width <= count; i += width)
        look(loadVector<Numbers>(input + i));
    if (const std::size_t rest = count - i)
        look(loadPart<Numbers>(input + i, rest * sizeof(float)));
    std::int32_t any = 0;
    for (unsigned lane = 0; lane < width; ++lane)
        any |= bad[lane];
    return any == 0;
}

/// Whether everything that the channels remember is finite.
template <class Isa>
bool isFinite(const QSBiquadState (*rows)[softwareEQBandCount], unsigned channels)
{
    using Bits = Ints<4>;
    Bits bad{};
    for (const QSBiquadState* state = *rows; state != *(rows + channels); ++state)
        bad |= (loadVector<Bits>(state) & INT32_MAX) >= 0x7f800000;
    return (bad[0] | bad[1] | bad[2] | bad[3]) == 0;
}

/// What a channel's bands remember after two inputs that they passed on.
template <class Isa>
void rememberPassed(QSBiquadState (&row)[softwareEQBandCount], float last, float lastButOne)
{
    for (QSBiquadState& state : row)
        state = {.x1 = last, .x2 = lastButOne, .y1 = last, .y2 = lastButOne};
}

} // namespace quenstal
