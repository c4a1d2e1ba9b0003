#pragma once

#include "QuenstalCore/Models/Json.hpp"

#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace quenstal::test {

struct Fault {
    std::string json;
    DecodingError::Kind kind;
    std::string path;
    std::string description;
};

/// Each text fails to decode as T, with exactly that error.
template <typename T>
void expectFaults(const std::vector<Fault>& faults)
{
    for (const Fault& fault : faults) {
        SCOPED_TRACE(fault.json.substr(0, 200));
        try {
            decodeJSON<T>(fault.json);
            ADD_FAILURE() << "decoded";
        } catch (const DecodingError& error) {
            EXPECT_EQ(error.kind(), fault.kind);
            EXPECT_EQ(error.path(), fault.path);
            EXPECT_EQ(error.description(), fault.description);
            EXPECT_EQ(error.what(), fault.path.empty() ? fault.description : fault.path + ": " + fault.description);
        }
    }
}

} // namespace quenstal::test
