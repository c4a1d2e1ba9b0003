#include "QuenstalDDC/SignalProcessingFused.hpp"

#include "QuenstalDDC/SoftwareVolumeTap/Kernels/Processor.hpp"

namespace quenstal::testing_support {

namespace {

struct Fused {
    static constexpr unsigned width = 8;
    static constexpr unsigned laneWidth(unsigned channels) { return channels == 1 ? 4 : 8; }
    static constexpr unsigned largestGroup = 4;
};

const QSSignalKernels kernels{
    .name = "fused", .process = Processor<Fused>::process, .processPair = Processor<Fused>::processPair};

} // namespace

const QSSignalKernels* fusedKernels()
{
    return __builtin_cpu_supports("avx2") && __builtin_cpu_supports("fma") ? &kernels : nullptr;
}

} // namespace quenstal::testing_support
