#pragma once

#include <chrono>

namespace quenstal {

/// Bounds the end of the program: from the moment it begins, the process exits within the limit, even if something
/// blocks it. Windows, names and connections disappear with the process; anything that must be done before comes first.
/// One in a process.
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
