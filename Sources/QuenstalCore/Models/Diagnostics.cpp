#include "QuenstalCore/Models/Diagnostics.hpp"

namespace quenstal {

const char* QuenstalError::what() const noexcept
{
    return std::visit(Overloaded{
                          [](const CommandFailed& error) { return error.message.c_str(); },
                          [](const NoOutputDevice&) { return "noOutputDevice"; },
                          [](const UnsupportedDevice&) { return "unsupportedDevice"; },
                          [](const PermissionMissing&) { return "permissionMissing"; },
                      },
        case_);
}

} // namespace quenstal
