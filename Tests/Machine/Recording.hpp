#pragma once

#include "Machine/Emulator.hpp"

#include <ios>
#include <string>

namespace quenstal {

/// What a sound card of the machine plays, at the far end of its cable. One at a time.
class Recording {
public:
    /// Begins at once, with one of the emulator's sound back ends.
    Recording(Emulator& emulator, const std::string& backEnd);
    ~Recording();
    Recording(const Recording&) = delete;
    Recording& operator=(const Recording&) = delete;

    /// Whether, in what it has heard since the last call, samples keep this size for a twentieth of a second, give or
    /// take one: positive or negative, of 32768. The sound is a square wave.
    bool isHeard(int size);

private:
    Emulator& emulator_;
    std::string file_;
    std::streamoff heard_;
    int expected_ = 0;
    int length_ = 0;
};

} // namespace quenstal
