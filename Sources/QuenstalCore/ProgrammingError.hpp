#pragma once

#include <cstdio>
#include <cstdlib>

namespace quenstal {

/// Stops the process: the caller broke a contract, and going on would show or do something wrong.
[[noreturn]] inline void programmingError(const char* description)
{
    std::fprintf(stderr, "Quenstal: programming error: %s\n", description);
    std::abort();
}

} // namespace quenstal
