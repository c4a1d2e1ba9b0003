#pragma once

#include <malloc.h>

namespace quenstal {

/// Memory of this many bytes or more goes back to the system as soon as it is freed. Left to itself the C library keeps
/// twice what the largest piece so far took: for each bus as much as its largest message. Before any other thread.
inline void returnLargeMemory(int bytes)
{
    mallopt(M_MMAP_THRESHOLD, bytes);
    mallopt(M_TRIM_THRESHOLD, bytes);
}

} // namespace quenstal
