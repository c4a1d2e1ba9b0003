#pragma once

// Enumerations whose cases carry texts. Each one keeps its texts in a single table, one row a case in
// declaration order, and everything else (raw value, lookup, list of cases) reads that table.

#include "QuenstalCore/ProgrammingError.hpp"

#include <array>
#include <cstddef>
#include <optional>
#include <string_view>

namespace quenstal {

/// Specialised beside each enumeration: `static constexpr std::array rows{…}` of a row type that has at least
/// the members `value` and `rawValue`.
template <typename E>
struct EnumerationTable;

template <typename E>
concept Enumeration = requires(E)
{
    EnumerationTable<E>::rows;
};

/// True when row k of the table describes the case with the number k.
template <Enumeration E>
consteval bool rowsFollowDeclarationOrder()
{
    std::size_t expected = 0;
    for (const auto& row : EnumerationTable<E>::rows) {
        if (static_cast<std::size_t>(row.value) != expected++)
            return false;
    }
    return true;
}

/// A value that is none of the cases is a programming error and stops the process.
template <Enumeration E>
constexpr const auto& rowOf(E value)
{
    static_assert(rowsFollowDeclarationOrder<E>());
    const auto number = static_cast<std::size_t>(value);
    if (number >= EnumerationTable<E>::rows.size())
        programmingError("The value is none of its enumeration's cases.");
    return EnumerationTable<E>::rows[number];
}

/// The text that stands for the case in JSON and in reports: its own name.
template <Enumeration E>
constexpr std::string_view rawValue(E value)
{
    return rowOf(value).rawValue;
}

/// The case with that raw value; none for any other text.
template <Enumeration E>
constexpr std::optional<E> fromRawValue(std::string_view text)
{
    for (const auto& row : EnumerationTable<E>::rows) {
        if (row.rawValue == text)
            return row.value;
    }
    return std::nullopt;
}

/// Every case, in declaration order.
template <Enumeration E>
constexpr auto allCases()
{
    constexpr const auto& rows = EnumerationTable<E>::rows;
    std::array<E, rows.size()> cases{};
    for (std::size_t i = 0; i < rows.size(); ++i)
        cases[i] = rows[i].value;
    return cases;
}

} // namespace quenstal
