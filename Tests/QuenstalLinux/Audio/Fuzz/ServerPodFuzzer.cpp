// The body of an object as a sound server may tell it: volumes, routes and formats.

#include "QuenstalLinux/Audio/ServerLimits.hpp"
#include "QuenstalLinux/Audio/VolumePods.hpp"

#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <vector>

namespace {

void check(const quenstal::AudioVolume& volume)
{
    for (const float factor : volume.channels) {
        if (!(factor >= 0 && factor <= quenstal::ServerLimits::largestFactor))
            std::abort();
    }
    if (volume.channels.empty() || (!volume.positions.empty() && volume.positions.size() != volume.channels.size()))
        std::abort();
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    // As the server's library hands it on: all of it within its own size, and aligned.
    const spa_pod head{static_cast<std::uint32_t>(size), SPA_TYPE_Object};
    std::vector<std::uint64_t> memory((sizeof head + size + 7) / 8);
    std::memcpy(memory.data(), &head, sizeof head);
    if (size > 0)
        std::memcpy(memory.data() + 1, data, size);
    const auto* const pod = reinterpret_cast<const spa_pod*>(memory.data());
    if (const auto volume = quenstal::parseVolume(pod))
        check(*volume);
    if (const auto route = quenstal::parseOutputRoute(pod); route && route->second.volume)
        check(*route->second.volume);
    if (const auto rate = quenstal::parseRate(pod); rate != quenstal::ServerLimits::rate(rate))
        std::abort();
    return 0;
}
