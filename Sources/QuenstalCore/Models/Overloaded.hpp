#pragma once

namespace quenstal {

/// One visitor out of several lambdas. Give every alternative an arm and no catch-all, so that a new case
/// does not compile until it is handled.
template <typename... Arms>
struct Overloaded : Arms... {
    using Arms::operator()...;
};

// clang 14 does not yet deduce aggregates without it.
template <typename... Arms>
Overloaded(Arms...) -> Overloaded<Arms...>;

} // namespace quenstal
