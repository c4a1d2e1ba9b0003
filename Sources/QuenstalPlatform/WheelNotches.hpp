#pragma once

#include <algorithm>

namespace quenstal {

/// Counts the whole notches of a wheel that reports them in parts.
class WheelNotches {
public:
    /// The parts of a notch.
    static constexpr int parts = 120;
    /// Farther than a hand turns a wheel at once. A larger report, faulty or forged, changes the volume by a quarter.
    static constexpr int most = 4;

    /// The notches that are complete with this turn, up positive, at most `most` either way; the rest is kept for the
    /// next turn.
    int turn(int turnedParts)
    {
        turned_ += std::clamp(turnedParts, -most * parts, most * parts);
        const int notches = turned_ / parts;
        turned_ -= notches * parts;
        return notches;
    }

private:
    int turned_ = 0;
};

} // namespace quenstal
