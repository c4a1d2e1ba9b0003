#pragma once

#include "QuenstalDDC/SignalProcessingBlocks.hpp"
#include "QuenstalDDC/SoftwareVolumeTap/Kernels.hpp"

#include <string>
#include <vector>

#include <span>

namespace quenstal::testing_support {

/// Samples of every format, side by side in one to ten channels or apart.
std::vector<Layout> everyLayout();

/// Puts the same random and adversarial blocks of changing size through all the kernels, state carried along, and
/// compares output, filter state, meters and clip indicator with those of the first, bit by bit. Says what differs
/// first; empty when nothing does.
std::string firstDifference(std::span<const QSSignalKernels* const> kernels, const Layout& layout, int blocks);

} // namespace quenstal::testing_support
