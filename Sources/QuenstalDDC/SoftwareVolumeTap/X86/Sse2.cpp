#include "QuenstalDDC/SoftwareVolumeTap/Kernels/Processor.hpp"
#include "QuenstalDDC/SoftwareVolumeTap/X86/InstructionSets.hpp"

namespace quenstal {

namespace {

struct Sse2 {
    static constexpr unsigned width = 4;
    static constexpr unsigned laneWidth(unsigned) { return 4; }
    static constexpr unsigned largestGroup = 4;
};

} // namespace

const QSSignalKernels sse2Kernels{
    .name = "sse2", .process = Processor<Sse2>::process, .processPair = Processor<Sse2>::processPair};

} // namespace quenstal
