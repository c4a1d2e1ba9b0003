#pragma once

// How the controller calls its ports: nothing that one throws, of whatever type, gets past this header.

#include <exception>
#include <optional>
#include <string>
#include <type_traits>
#include <utility>

namespace quenstal {

/// What an attempt at a call that returns T gives: an optional T, and for a call that gives an optional just that.
template <typename T>
struct Attempted {
    using Type = std::optional<T>;
};
template <typename T>
struct Attempted<std::optional<T>> {
    using Type = std::optional<T>;
};

/// The port's answer; none when it threw.
template <typename Call>
auto attempt(Call&& call) -> typename Attempted<std::invoke_result_t<Call>>::Type
    requires(!std::is_void_v<std::invoke_result_t<Call>>)
{
    try {
        return std::forward<Call>(call)();
    } catch (...) {
        return std::nullopt;
    }
}

/// Whether the call came back without throwing.
template <typename Call>
bool attempt(Call&& call) requires std::is_void_v<std::invoke_result_t<Call>>
{
    try {
        std::forward<Call>(call)();
        return true;
    } catch (...) {
        return false;
    }
}

/// The description of what a port threw, when it threw: what() of an exception that has one, else "Unknown error.".
template <typename Call>
std::optional<std::string> failureOf(Call&& call)
{
    constexpr const char* unknown = "Unknown error.";
    try {
        std::forward<Call>(call)();
        return std::nullopt;
    } catch (const std::exception& error) {
        const char* description = error.what();
        return description ? description : unknown;
    } catch (...) {
        return unknown;
    }
}

} // namespace quenstal
