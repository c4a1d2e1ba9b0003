#include "QuenstalDDC/SoftwareVolumeTap/Aarch64/InstructionSets.hpp"
#include "QuenstalDDC/SoftwareVolumeTap/Kernels/Processor.hpp"

namespace quenstal {

namespace {

struct Neon {
    static constexpr unsigned width = 4;
    static constexpr unsigned laneWidth(unsigned) { return 4; }
    static constexpr unsigned largestGroup = 4;
};

} // namespace

const QSSignalKernels neonKernels{
    .name = "neon", .process = Processor<Neon>::process, .processPair = Processor<Neon>::processPair};

} // namespace quenstal
