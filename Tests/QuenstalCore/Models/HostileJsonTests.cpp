// Texts that no writer of ours makes: they fail with one kind of error, and never with a crash.

#include "QuenstalCore/DecodingChecks.hpp"
#include "QuenstalCore/Models/Json.hpp"
#include "QuenstalCore/Printing.hpp"

#include <string>

#include <gtest/gtest.h>

namespace quenstal {
namespace {

using test::expectFaults;
using Kind = DecodingError::Kind;

TEST(HostileJsonTest, whatIsNotJSONIsCorrupted)
{
    expectFaults<ControlMode>({
        {"", Kind::corruptedData, "", "Not JSON from byte 1 on."},
        {" ", Kind::corruptedData, "", "Not JSON from byte 2 on."},
        {"{", Kind::corruptedData, "", "Not JSON from byte 2 on."},
        {R"({"disabled":{})", Kind::corruptedData, "", "Not JSON from byte 15 on."},
        {R"({"disabled":{}} x)", Kind::corruptedData, "", "Not JSON from byte 17 on."},
        {R"({"disabled":{}}{})", Kind::corruptedData, "", "Not JSON from byte 16 on."},
        {R"({"disabled":{},})", Kind::corruptedData, "", "Not JSON from byte 16 on."},
        {R"({'disabled':{}})", Kind::corruptedData, "", "Not JSON from byte 2 on."},
        {R"({disabled:{}})", Kind::corruptedData, "", "Not JSON from byte 2 on."},
        {R"(/* none */ {"disabled":{}})", Kind::corruptedData, "", "Not JSON from byte 1 on."},
        {R"({"disabled":NaN})", Kind::corruptedData, "", "Not JSON from byte 13 on."},
        {std::string("{\"disabled\":{}}\0", 16), Kind::corruptedData, "", "Not JSON from byte 16 on."},
        {std::string("{\"disabled\":\0{}}", 16), Kind::corruptedData, "", "Not JSON from byte 13 on."},
    });
}

TEST(HostileJsonTest, aTextThatIsNotUTF8IsCorrupted)
{
    expectFaults<ControlMode>({
        {"\xFF", Kind::corruptedData, "", "Not JSON from byte 1 on."},
        {"{\"softwareTap\":{\"deviceID\":\"\xFF\"}}", Kind::corruptedData, "", "Not JSON from byte 29 on."},
        {"{\"softwareTap\":{\"deviceID\":\"\xC3\"}}", Kind::corruptedData, "", "Not JSON from byte 30 on."},
        {"{\"softwareTap\":{\"deviceID\":\"\xED\xA0\x80\"}}", Kind::corruptedData, "", "Not JSON from byte 30 on."},
        {R"({"softwareTap":{"deviceID":"\uD800"}})", Kind::corruptedData, "", "Not JSON from byte 35 on."},
    });
}

TEST(HostileJsonTest, aNumberBeyondEveryDoubleIsCorrupted)
{
    expectFaults<VolumeSnapshot>({
        {R"({"level":1e999,"isMuted":true})", Kind::corruptedData, "", "A number is too large."},
        {R"({"level":-1e999,"isMuted":true})", Kind::corruptedData, "", "A number is too large."},
        {R"({"level":)" + std::string(400, '9') + R"(,"isMuted":true})", Kind::corruptedData, "",
            "A number is too large."},
        {R"({"level":0,"isMuted":true,"unknown":1e999})", Kind::corruptedData, "", "A number is too large."},
    });
}

TEST(HostileJsonTest, aHundredThousandBracketsNeitherCrashNorDecode)
{
    constexpr std::size_t depth = 100000;
    const std::string open(depth, '[');
    const std::string close(depth, ']');
    std::string objects;
    for (std::size_t i = 0; i < depth; ++i)
        objects += R"({"disabled":)";
    expectFaults<ControlMode>({
        {open, Kind::corruptedData, "", "Not JSON from byte 100001 on."},
        {objects, Kind::corruptedData, "", "Not JSON from byte 1200001 on."},
        {open + close, Kind::typeMismatch, "", "Expected object, found array."},
        {R"({"disabled":)" + open + close + "}", Kind::typeMismatch, "disabled", "Expected object, found array."},
        {R"({"disabled":)" + open + close + R"(,"softwareTap":{}})", Kind::typeMismatch, "",
            "Invalid number of keys found, expected one."},
    });
    expectFaults<VolumeSnapshot>({
        {R"({"level":)" + open + close + R"(,"isMuted":true})", Kind::typeMismatch, "level",
            "Expected number, found array."},
    });
    EXPECT_EQ(decodeJSON<ControlMode>(objects + "{}" + std::string(depth, '}')), ControlMode::disabled());
    EXPECT_EQ(decodeJSON<VolumeSnapshot>(R"({"x":)" + open + close + R"(,"level":1,"isMuted":true})"),
        VolumeSnapshot(1, true));
}

TEST(HostileJsonTest, hugeTextsAndObjectsWithManyKeysDecode)
{
    const std::string name(1000000, 'n');
    EXPECT_EQ(
        decodeJSON<ControlMode>(R"({"softwareTap":{"deviceID":")" + name + R"("}})"), ControlMode::softwareTap(name));
    std::string keys;
    for (int i = 0; i < 100000; ++i)
        keys += "\"key" + std::to_string(i) + "\":0,";
    EXPECT_EQ(decodeJSON<VolumeSnapshot>("{" + keys + R"("level":1,"isMuted":true})"), VolumeSnapshot(1, true));
}

} // namespace
} // namespace quenstal
