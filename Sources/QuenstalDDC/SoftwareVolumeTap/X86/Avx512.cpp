#include "QuenstalDDC/SoftwareVolumeTap/Kernels/Processor.hpp"
#include "QuenstalDDC/SoftwareVolumeTap/X86/InstructionSets.hpp"

#ifndef __AVX512VL__
#error "Without its instructions this file gives the right bits, slowly"
#endif

namespace quenstal {

namespace {

struct Avx512 {
    static constexpr unsigned width = 8;
    static constexpr unsigned laneWidth(unsigned channels) { return channels == 1 ? 4 : channels == 8 ? 16 : 8; }
    static constexpr unsigned largestGroup = 8;
};

} // namespace

const QSSignalKernels avx512Kernels{
    .name = "avx512", .process = Processor<Avx512>::process, .processPair = Processor<Avx512>::processPair};

} // namespace quenstal
