#pragma once

#include <chrono>

namespace quenstal {

/// Bounds the end of the program: from the moment it begins, the process ends within the limit, whatever holds it up.
/// Windows, names and connections go with a process; what must be done before goes first. One in a process.
class EndLimit {
public:
    /// In all the program promises a second.
    static constexpr auto limit = std::chrono::milliseconds(900);

    EndLimit();
    /// The end was in time.
    ~EndLimit();
    EndLimit(const EndLimit&) = delete;
    EndLimit& operator=(const EndLimit&) = delete;

    /// Only the first time counts. Any thread, also within a signal's handler; does nothing without an `EndLimit`.
    static void begin();

private:
    bool isMade_ = false;
};

} // namespace quenstal
