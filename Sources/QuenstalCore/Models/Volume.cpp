#include "QuenstalCore/Models/Volume.hpp"

namespace quenstal {

bool ControlMode::isControllable() const
{
    return match([](const SystemVolume&) { return true; }, [](const HardwareDDC&) { return true; },
        [](const SoftwareTap&) { return true; }, [](const Unavailable&) { return false; },
        [](const Disabled&) { return false; });
}

std::string_view ControlMode::userFacingName() const
{
    using namespace std::string_view_literals;
    return match([](const SystemVolume&) { return "System volume"sv; },
        [](const HardwareDDC&) { return "Monitor hardware"sv; }, [](const SoftwareTap&) { return "Software volume"sv; },
        [](const Unavailable&) { return "Unavailable"sv; }, [](const Disabled&) { return "Disabled"sv; });
}

} // namespace quenstal
