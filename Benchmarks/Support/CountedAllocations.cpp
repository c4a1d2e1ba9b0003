#include "../Support/CountedAllocations.hpp"

#include <cstdlib>
#include <new>

namespace {

std::uint64_t count = 0;

} // namespace

namespace quenstal {

std::uint64_t allocationCount()
{
    return count;
}

} // namespace quenstal

// The benchmarks run on one thread, so the count needs no lock.
// NOLINTBEGIN(cppcoreguidelines-no-malloc): operator new itself has nothing else to stand on.
void* operator new(std::size_t size)
{
    ++count;
    if (void* memory = std::malloc(size))
        return memory;
    throw std::bad_alloc();
}

void operator delete(void* memory) noexcept
{
    std::free(memory);
}

void operator delete(void* memory, std::size_t) noexcept
{
    std::free(memory);
}
// NOLINTEND(cppcoreguidelines-no-malloc)
