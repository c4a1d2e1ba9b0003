#include "QuenstalDDC/SoftwareVolumeTap/Kernels.hpp"

namespace quenstal {

std::span<const QSSignalKernels* const> availableKernels()
{
    static constexpr const QSSignalKernels* all[] = {&referenceKernels};
    return all;
}

const QSSignalKernels& fastestKernels()
{
    return *availableKernels().back();
}

} // namespace quenstal
