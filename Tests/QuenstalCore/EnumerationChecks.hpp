#pragma once

#include "QuenstalCore/Models/Json.hpp"

#include <cstddef>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace quenstal::test {

/// Holds an enumeration to a table with the columns `value` and `rawValue`: cases, order, texts and JSON form.
template <typename Row>
void expectCases(const std::vector<Row>& rows)
{
    using E = decltype(Row::value);
    constexpr auto cases = allCases<E>();
    ASSERT_EQ(cases.size(), rows.size());
    for (std::size_t i = 0; i < rows.size(); ++i) {
        const auto& [value, text] = std::pair(rows[i].value, rows[i].rawValue);
        SCOPED_TRACE(text);
        EXPECT_EQ(cases[i], value);
        EXPECT_EQ(static_cast<std::size_t>(value), i);
        EXPECT_EQ(rawValue(value), text);
        EXPECT_EQ(fromRawValue<E>(text), value);
        EXPECT_EQ(encodeJSON(value), '"' + std::string(text) + '"');
        EXPECT_EQ(decodeJSON<E>('"' + std::string(text) + '"'), value);
    }
}

/// Every other text, and every other type, fails to decode.
template <Enumeration E>
void expectOnlyRawValuesDecode()
{
    using Kind = DecodingError::Kind;
    struct Row {
        std::string json;
        Kind kind;
        std::string description;
    };
    const std::string first(rawValue(allCases<E>().front()));
    const std::vector<Row> rows{
        {R"("")", Kind::unknownRawValue, R"(Unknown raw value "".)"},
        {R"("nonsense")", Kind::unknownRawValue, R"(Unknown raw value "nonsense".)"},
        {'"' + first + R"( ")", Kind::unknownRawValue, "Unknown raw value \"" + first + " \"."},
        {'"' + first.substr(1) + '"', Kind::unknownRawValue, "Unknown raw value \"" + first.substr(1) + "\"."},
        {"0", Kind::typeMismatch, "Expected string, found number."},
        {"null", Kind::typeMismatch, "Expected string, found null."},
        {"{}", Kind::typeMismatch, "Expected string, found object."},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.json);
        try {
            decodeJSON<E>(row.json);
            ADD_FAILURE() << "decoded";
        } catch (const DecodingError& error) {
            EXPECT_EQ(error.kind(), row.kind);
            EXPECT_EQ(error.path(), "");
            EXPECT_EQ(error.description(), row.description);
        }
    }
}

} // namespace quenstal::test
