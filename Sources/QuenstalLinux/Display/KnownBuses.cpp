#include "QuenstalLinux/Display/KnownBuses.hpp"

#include <algorithm>
#include <array>

#include <fnmatch.h>

namespace quenstal {
namespace {

// The names are those in the kernel's sources and in those of NVIDIA's own driver, one row for each that they make.
// Their other buses are left out on purpose: "AMDGPU SMU n" (power), "AMDGPU DM i2c OEM bus" and "AMDGPU i2c bit bus
// OEM 0xn" (lights), "AMDISP DesignWare I2C adapter" (cameras), "Radeon i2c hw bus MM_I2C" (tuners), "i915 gmbus ssc"
// (a clock), "i915 gmbus panel" (inside the machine), xe's "Synopsys DesignWare I2C adapter" (the card's controller).
constexpr std::array table{
    KnownBus{"amdgpu", "AMDGPU DM i2c hw bus *"},
    KnownBus{"amdgpu", "AMDGPU DM aux hw bus *"},
    KnownBus{"amdgpu", "dmdc"}, // the same in older kernels
    KnownBus{"amdgpu", "AMDGPU i2c bit bus 0x*"},
    KnownBus{"amdgpu", "AMDGPU i2c hw bus 0x*"},
    KnownBus{"amdgpu", "card*-DP-*"},
    KnownBus{"amdgpu", "DPMST"},
    KnownBus{"i915", "i915 gmbus vga"},
    KnownBus{"i915", "i915 gmbus dp?"},
    KnownBus{"i915", "i915 gmbus tc?"},
    KnownBus{"i915", "i915 gmbus misc"},
    KnownBus{"i915", "AUX */*"},
    KnownBus{"i915", "DPDDC-?"}, // the same in older kernels
    KnownBus{"i915", "SDVO ? DDC?"},
    KnownBus{"i915", "SDVO DDC proxy"}, // the same in older kernels
    KnownBus{"i915", "DPMST"},
    KnownBus{"xe", "i915 gmbus dp?"},
    KnownBus{"xe", "i915 gmbus tc?"},
    KnownBus{"xe", "i915 gmbus misc"},
    KnownBus{"xe", "AUX */*"},
    KnownBus{"xe", "DPMST"},
    KnownBus{"nouveau", "nvkm-*-bus-*"},
    KnownBus{"nouveau", "nvkm-*-aux-*"},
    KnownBus{"nouveau", "sor-*-*"},
    KnownBus{"nouveau", "DP-*"},
    KnownBus{"nouveau", "DPMST"},
    KnownBus{"nvidia", "NVIDIA i2c adapter * at *"},
    KnownBus{"radeon", "Radeon i2c bit bus 0x*"},
    KnownBus{"radeon", "Radeon i2c hw bus 0x*"},
    KnownBus{"radeon", "Radeon i2c bit bus *_DDC"},
    KnownBus{"radeon", "Radeon i2c hw bus *_DDC"},
    KnownBus{"radeon", "Radeon i2c bit bus MONID"},
    KnownBus{"radeon", "card*-DP-*"},
    KnownBus{"radeonfb", "radeonfb *"},
    KnownBus{"brcmstb-i2c", "fef04500.i2c"}, // Raspberry Pi 4
    KnownBus{"brcmstb-i2c", "fef09500.i2c"},
    KnownBus{"brcmstb-i2c", "107d508200.i2c"}, // Raspberry Pi 5
    KnownBus{"brcmstb-i2c", "107d508280.i2c"},
};

} // namespace

std::span<const KnownBus> knownBuses()
{
    return table;
}

bool leadsToDisplay(const std::string& driver, const std::string& name)
{
    return std::ranges::any_of(table,
        [&](const KnownBus& known) { return driver == known.driver && ::fnmatch(known.name, name.c_str(), 0) == 0; });
}

} // namespace quenstal
