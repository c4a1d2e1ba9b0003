#pragma once

#include "QuenstalPlatform/DisplayBuses.hpp"

#include <array>

namespace quenstal {

/// What is wrong with a monitor: fixed texts with "%1" for its name and "%2" for its bus, which the toolkit translates.
struct MonitorStatements {
    static constexpr const char* unreachable = "%1 cannot be reached over DDC/CI.";
    static constexpr const char* accessDenied = "%1: no access to %2.";
    static constexpr const char* notAnswering = "%1 does not report its volume on %2.";
    static constexpr const char* writesRefused = "%1 does not accept volume changes on %2.";
    static constexpr const char* stuck = "%1: the driver for %2 is not responding.";
    static constexpr const char* unknownBuses
        = "%1 cannot be reached over DDC/CI. Left alone because not known to lead to a display: %2.";

    static constexpr std::array all{unreachable, accessDenied, notAnswering, writesRefused, stuck, unknownBuses};

    static const char* about(const DisplayBusProblem& problem)
    {
        using Kind = DisplayBusProblem::Kind;
        if (problem.device.empty())
            return unreachable;
        switch (problem.kind) {
        case Kind::accessDenied:
            return accessDenied;
        case Kind::notAnswering:
            return notAnswering;
        case Kind::writesRefused:
            return writesRefused;
        case Kind::stuck:
            return stuck;
        case Kind::unknownBuses:
            break;
        }
        return unknownBuses;
    }
};

} // namespace quenstal
