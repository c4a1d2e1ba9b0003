// libFuzzer's entry: any bytes as a session and two lists of buffers.

#include "QuenstalDDC/SignalProcessingHostile.hpp"

#include <cstddef>
#include <cstdio>
#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const std::string fault = quenstal::testing_support::faultOfCycles({data, size});
    if (!fault.empty()) {
        std::fprintf(stderr, "%s\n", fault.c_str());
        std::abort();
    }
    return 0;
}
