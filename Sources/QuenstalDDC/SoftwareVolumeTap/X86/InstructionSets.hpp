#pragma once

#include "QuenstalDDC/SoftwareVolumeTap/Kernels.hpp"

namespace quenstal {

// One file each, compiled for the instructions that its name says.

extern const QSSignalKernels sse2Kernels;
extern const QSSignalKernels avx2Kernels;
extern const QSSignalKernels avx512Kernels;

} // namespace quenstal
