// A value of metadata, in which the name of the default output stands.

#include "QuenstalLinux/Audio/ServerLimits.hpp"
#include "QuenstalLinux/Audio/ServerText.hpp"

#include <cstdint>
#include <cstdlib>
#include <string>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const std::string json(data, data + size);
    if (quenstal::nameIn(json.c_str()).size() > quenstal::ServerLimits::value)
        std::abort();
    return 0;
}
