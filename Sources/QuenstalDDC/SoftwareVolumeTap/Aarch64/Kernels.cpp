#include "QuenstalDDC/SoftwareVolumeTap/Aarch64/InstructionSets.hpp"

#include <array>

namespace quenstal {

std::span<const QSSignalKernels* const> availableKernels()
{
    static constexpr std::array slowestFirst{&referenceKernels, &neonKernels};
    return slowestFirst;
}

const QSSignalKernels& fastestKernels()
{
    return neonKernels;
}

} // namespace quenstal
