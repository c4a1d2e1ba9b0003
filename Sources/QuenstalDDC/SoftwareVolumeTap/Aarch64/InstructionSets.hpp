#pragma once

#include "QuenstalDDC/SoftwareVolumeTap/Kernels.hpp"

namespace quenstal {

/// Every processor of this kind has these instructions.
extern const QSSignalKernels neonKernels;

} // namespace quenstal
