#pragma once

// Vectors of floats as the compiler offers them: +, −, · and comparisons work lane by lane, on every processor, and
// become the instructions that the including file is compiled for.
//
// A file for one instruction set names itself by a type in its own unnamed namespace and hands it to the templates of
// the kernels as `Isa`. That keeps each instance to its file: the linker would otherwise merge equal instances and
// might keep the one with instructions that the processor lacks. For the same reason what has no `Isa` is inlined
// without fail, and the kernels call no inline functions of the standard library.

#include <cstddef>
#include <cstdint>
#include <utility>

namespace quenstal {

template <class Lane, unsigned width>
struct Vector {
    using Type [[gnu::vector_size(sizeof(Lane) * width)]] = Lane;
};

template <unsigned width>
using Floats = typename Vector<float, width>::Type;

template <unsigned width>
using Doubles = typename Vector<double, width>::Type;

template <unsigned width>
using Ints = typename Vector<std::int32_t, width>::Type;

/// Reads as many lanes as the vector has; the address needs no alignment.
template <class Lanes>
[[gnu::always_inline]] inline Lanes loadVector(const void* source)
{
    Lanes lanes;
    __builtin_memcpy(&lanes, source, sizeof lanes);
    return lanes;
}

template <class Lanes>
[[gnu::always_inline]] inline void storeVector(void* destination, const Lanes& lanes)
{
    __builtin_memcpy(destination, &lanes, sizeof lanes);
}

/// Reads the first `bytes` of a vector; the lanes beyond are zero.
template <class Lanes>
[[gnu::always_inline]] inline Lanes loadPart(const void* source, std::size_t bytes)
{
    Lanes lanes{};
    __builtin_memcpy(&lanes, source, bytes);
    return lanes;
}

template <class Lanes>
[[gnu::always_inline]] inline void storePart(void* destination, const Lanes& lanes, std::size_t bytes)
{
    __builtin_memcpy(destination, &lanes, bytes);
}

} // namespace quenstal
