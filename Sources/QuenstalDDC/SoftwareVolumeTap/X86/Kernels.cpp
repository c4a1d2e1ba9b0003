#include "QuenstalDDC/SoftwareVolumeTap/X86/InstructionSets.hpp"

#include <array>

namespace quenstal {

namespace {

constexpr std::array slowestFirst{&referenceKernels, &sse2Kernels, &avx2Kernels, &avx512Kernels};

std::size_t countAvailable()
{
    constexpr std::size_t withSse2 = 2; // every x86-64 has it
    if (!__builtin_cpu_supports("avx2"))
        return withSse2;
    const bool avx512 = __builtin_cpu_supports("avx512f") && __builtin_cpu_supports("avx512vl")
        && __builtin_cpu_supports("avx512dq") && __builtin_cpu_supports("avx512bw");
    return withSse2 + (avx512 ? 2 : 1);
}

} // namespace

std::span<const QSSignalKernels* const> availableKernels()
{
    return std::span(slowestFirst).first(countAvailable());
}

const QSSignalKernels& fastestKernels()
{
    return *availableKernels().back();
}

} // namespace quenstal
