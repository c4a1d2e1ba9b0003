#include "QuenstalLinux/Audio/Eld.hpp"

#include <array>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <string>

#include <gtest/gtest.h>
#include <unistd.h>

namespace quenstal {
namespace {

std::array<std::uint8_t, 84> eldBytes(bool displayPort, const std::string& name)
{
    std::array<std::uint8_t, 84> bytes{};
    bytes[0] = 0x10;
    bytes[4] = static_cast<std::uint8_t>(0x60 | name.size());
    bytes[5] = displayPort ? 0x04 : 0x00;
    bytes[16] = 0x10;
    bytes[17] = 0xAC;
    bytes[18] = 0x5B;
    bytes[19] = 0x41;
    std::memcpy(&bytes[20], name.data(), name.size());
    return bytes;
}

constexpr const char* eldText = "monitor_present\t\t1\n"
                                "eld_valid\t\t1\n"
                                "monitor_name\t\tDELL U2720Q\n"
                                "connection_type\t\tDisplayPort\n"
                                "manufacture_id\t\t0xac10\n"
                                "product_id\t\t0x415b\n"
                                "sad_count\t\t1\n";
const Eld dell{"DELL U2720Q", true, 0xac10, 0x415b};

struct EldFilesTest : testing::Test {
    EldFilesTest()
    {
        std::string pattern = std::filesystem::temp_directory_path() / "quenstal-eld.XXXXXX";
        root = mkdtemp(pattern.data());
        std::filesystem::create_directory(root / "card1");
    }
    ~EldFilesTest() override { std::filesystem::remove_all(root); }
    void write(const std::string& name, const std::string& text) { std::ofstream(root / "card1" / name) << text; }

    std::filesystem::path root;
};

TEST(EldBytes, nameKindAndIdentityAreRead)
{
    EXPECT_EQ(parseEldBytes(eldBytes(true, "DELL U2720Q")), dell);
    EXPECT_EQ(parseEldBytes(eldBytes(false, "TV")), (Eld{"TV", false, 0xac10, 0x415b}));
    EXPECT_EQ(parseEldBytes(eldBytes(false, ""))->monitorName, "");
}

TEST(EldBytes, tooFewOrNoneAreNothing)
{
    EXPECT_EQ(parseEldBytes({}), std::nullopt);
    EXPECT_EQ(parseEldBytes(std::array<std::uint8_t, 84>{}), std::nullopt) << "no monitor";
    const auto bytes = eldBytes(true, "DELL U2720Q");
    EXPECT_EQ(parseEldBytes(std::span(bytes).first(19)), std::nullopt);
    EXPECT_EQ(parseEldBytes(std::span(bytes).first(30)), std::nullopt) << "the name is cut off";
    EXPECT_EQ(parseEldBytes(std::span(bytes).first(31)), dell);
}

TEST(EldText, theKernelsTextSaysTheSame)
{
    EXPECT_EQ(parseEldText(eldText), dell);
    EXPECT_EQ(parseEldText("monitor_present\t\t0\neld_valid\t\t0\n"), std::nullopt);
    EXPECT_EQ(parseEldText(""), std::nullopt);
    EXPECT_EQ(parseEldText("eld_valid 1"), Eld{});
    EXPECT_EQ(parseEldText("eld_valid\t\t1\nmonitor_name\n\nproduct_id\t\tzzz"), Eld{});
}

TEST_F(EldFilesTest, theOnlyMonitorOfACardIsTheOne)
{
    write("eld#0.0", "eld_valid\t\t0\n");
    write("eld#0.1", eldText);
    write("id", "HDMI");
    EXPECT_EQ(readEld({root, root}, 1, 3), dell);
    EXPECT_EQ(readEld({root, root}, 2, 3), std::nullopt);
}

TEST_F(EldFilesTest, twoMonitorsLeaveItOpen)
{
    write("eld#0.0", eldText);
    write("eld#0.1", eldText);
    EXPECT_EQ(readEld({root, root}, 1, 3), std::nullopt);
}

} // namespace
} // namespace quenstal
