// The kernels of another processor against the reference, in a program that needs nothing but itself.

#include "QuenstalDDC/SignalProcessingComparison.hpp"

#include <cstdio>

int main()
{
    using namespace quenstal;
    using namespace quenstal::testing_support;
    // An emulated processor takes its time.
    constexpr int blocks = 300;
    int passed = 0;
    int failed = 0;
    for (const Layout& layout : everyLayout()) {
        const std::string difference = firstDifference(availableKernels(), layout, blocks);
        if (!difference.empty())
            std::printf("%s: %s\n", layout.name().c_str(), difference.c_str());
        ++(difference.empty() ? passed : failed);
    }
    std::printf("%d passed, %d failed\n", passed, failed);
    return failed == 0 ? 0 : 1;
}
