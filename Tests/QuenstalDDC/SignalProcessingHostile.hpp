#pragma once

#include <cstdint>
#include <string>

#include <span>

namespace quenstal::testing_support {

/// Reads a session, two lists of buffers and their samples out of any bytes, runs a few cycles with every kernel, and
/// says what was broken: bytes outside the outputs, a sample outside [−1, 1], a meter outside [0, 1], a result other
/// than the reference's. Empty when nothing was.
std::string faultOfCycles(std::span<const std::uint8_t> bytes);

} // namespace quenstal::testing_support
