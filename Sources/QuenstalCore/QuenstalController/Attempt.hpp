#pragma once

// How the controller calls its ports: nothing that one throws, of whatever type, gets past this header.

#include <exception>
#include <optional>
#include <string>
#include <type_traits>
#include <utility>

namespace quenstal {

/// The port's answer, or none when it threw.
template <typename Call>
auto attempt(Call&& call) -> std::optional<std::invoke_result_t<Call>>
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

/// The description of what a port threw, when it threw: what() of an exception, else "Unknown error.".
template <typename Call>
std::optional<std::string> failureOf(Call&& call)
{
    try {
        std::forward<Call>(call)();
        return std::nullopt;
    } catch (const std::exception& error) {
        return error.what();
    } catch (...) {
        return "Unknown error.";
    }
}

} // namespace quenstal
