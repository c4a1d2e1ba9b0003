#pragma once

#include "QuenstalDDC/SoftwareVolumeTap/Kernels.hpp"

namespace quenstal::testing_support {

/// The wavefront as it must not be compiled: products and sums fused. Null where the processor cannot fuse.
const QSSignalKernels* fusedKernels();

} // namespace quenstal::testing_support
