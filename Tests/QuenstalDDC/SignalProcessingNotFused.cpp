#include "QuenstalDDC/SignalProcessingFused.hpp"

namespace quenstal::testing_support {

const QSSignalKernels* fusedKernels()
{
    return nullptr;
}

} // namespace quenstal::testing_support
