#pragma once

#include "Journeys/SimulatedMachine.hpp"

#include <algorithm>
#include <cmath>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace quenstal {

struct JourneyTest : testing::Test {
    /// Loudest sample that the output got.
    static float loudest(const SimulatedAudioTaps::Recording& recording)
    {
        float loudest = 0;
        for (const auto& channel : recording) {
            for (const float sample : channel)
                loudest = std::max(loudest, std::abs(sample));
        }
        return loudest;
    }

    /// Refreshes of the controller since the last time.
    std::size_t refreshes()
    {
        const std::size_t count = machine.audio.journal().callsBeginning("get 1 dOut").size();
        machine.audio.journal().clear();
        return count;
    }
    std::ptrdiff_t tapCreations() const
    {
        return std::ranges::count_if(
            machine.keys.calls(), [](const std::string& call) { return call.starts_with("create session"); });
    }

    SimulatedMachine machine;
};

} // namespace quenstal
