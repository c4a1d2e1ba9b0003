#include "QuenstalDDC/SoftwareVolumeTap/RandomUUID.hpp"

#include <cstdint>
#include <random>
#include <string_view>

namespace quenstal {

std::string randomUUID()
{
    constexpr std::string_view digits = "0123456789ABCDEF";
    std::string uuid = "xxxxxxxx-xxxx-4xxx-Nxxx-xxxxxxxxxxxx";
    std::random_device source;
    for (char& place : uuid) {
        const std::uint32_t random = source() & 0xfU;
        if (place == 'x')
            place = digits[random];
        else if (place == 'N')
            place = digits[8U | (random & 3U)];
    }
    return uuid;
}

} // namespace quenstal
