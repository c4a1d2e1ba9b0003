#include "QuenstalDDC/SoftwareVolumeTap/Kernels/Processor.hpp"
#include "QuenstalDDC/SoftwareVolumeTap/X86/InstructionSets.hpp"

#ifndef __AVX2__
#error "Without its instructions this file gives the right bits, slowly"
#endif

namespace quenstal {

namespace {

struct Avx2 {
    static constexpr unsigned width = 8;
    static constexpr unsigned laneWidth(unsigned channels) { return channels == 1 ? 4 : 8; }
    static constexpr unsigned largestGroup = 4;
};

} // namespace

const QSSignalKernels avx2Kernels{
    .name = "avx2", .process = Processor<Avx2>::process, .processPair = Processor<Avx2>::processPair};

} // namespace quenstal
