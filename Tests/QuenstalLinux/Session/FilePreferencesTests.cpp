#include "QuenstalLinux/Session/FilePreferences.hpp"

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <thread>
#include <vector>

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/file.h>
#include <sys/wait.h>
#include <unistd.h>

namespace quenstal {
namespace {

using testing::HasSubstr;

struct FilePreferencesTest : testing::Test {
    FilePreferencesTest()
    {
        std::string name = (std::filesystem::temp_directory_path() / "quenstal-XXXXXX").string();
        folder = mkdtemp(name.data());
        path = folder / "quenstal" / "preferences.json";
    }
    ~FilePreferencesTest() override { std::filesystem::remove_all(folder); }

    std::string fileText() const
    {
        std::ifstream file(path, std::ios::binary);
        return {std::istreambuf_iterator<char>(file), {}};
    }
    void writeFile(const std::string& text) const
    {
        std::filesystem::create_directories(path.parent_path());
        std::ofstream(path, std::ios::binary) << text;
    }

    std::filesystem::path folder;
    std::filesystem::path path;
};

TEST_F(FilePreferencesTest, valuesComeBackInTheNextRunWithTheirTypes)
{
    {
        FilePreferences preferences(path);
        preferences.setBoolean("flag", true);
        preferences.setNumber("number", 1718000607.25);
        preferences.setString("text", "F11 volume down");
        preferences.setData("data", std::string("\x00\xFF{}\n", 5));
    }
    FilePreferences preferences(path);
    EXPECT_TRUE(preferences.boolean("flag"));
    EXPECT_EQ(preferences.number("number"), 1718000607.25);
    EXPECT_EQ(preferences.string("text"), "F11 volume down");
    EXPECT_EQ(preferences.data("data"), std::string("\x00\xFF{}\n", 5));
    EXPECT_EQ(preferences.takeProblem(), std::nullopt);
}

TEST_F(FilePreferencesTest, whatIsMissingOrOfAnotherTypeCountsAsMissing)
{
    FilePreferences preferences(path);
    EXPECT_FALSE(preferences.boolean("none"));
    EXPECT_EQ(preferences.number("none"), 0);
    EXPECT_EQ(preferences.string("none"), std::nullopt);
    EXPECT_EQ(preferences.data("none"), std::nullopt);
    preferences.setString("value", "true");
    EXPECT_FALSE(preferences.boolean("value"));
    EXPECT_EQ(preferences.data("value"), std::nullopt);
    preferences.setNumber("value", 1);
    EXPECT_FALSE(preferences.boolean("value"));
    EXPECT_EQ(preferences.string("value"), std::nullopt);
    preferences.setBoolean("value", true);
    EXPECT_EQ(preferences.number("value"), 0);
    EXPECT_FALSE(preferences.boolean("Value"));
}

TEST_F(FilePreferencesTest, anotherProcessSeesAValueOnceItIsSet)
{
    FilePreferences one(path);
    FilePreferences other(path);
    EXPECT_FALSE(other.boolean("flag"));
    one.setBoolean("flag", true);
    EXPECT_TRUE(other.boolean("flag"));
    other.setBoolean("flag", false);
    EXPECT_FALSE(one.boolean("flag"));
}

TEST_F(FilePreferencesTest, processesThatWriteAtOnceLoseNothing)
{
    constexpr int processes = 4;
    constexpr int writes = 25;
    for (int process = 0; process < processes; ++process) {
        if (fork() == 0) {
            FilePreferences preferences(path);
            for (int i = 0; i < writes; ++i)
                preferences.setNumber(std::to_string(process) + "." + std::to_string(i), i + 1);
            // A write that found the file locked goes out with the next one.
            const std::string end = std::to_string(process) + ".end";
            while (!FilePreferences(path).boolean(end))
                preferences.setBoolean(end, true);
            _exit(0);
        }
    }
    for (int process = 0; process < processes; ++process)
        wait(nullptr);
    FilePreferences preferences(path);
    for (int process = 0; process < processes; ++process) {
        for (int i = 0; i < writes; ++i)
            EXPECT_EQ(preferences.number(std::to_string(process) + "." + std::to_string(i)), i + 1);
    }
}

TEST_F(FilePreferencesTest, aProcessKilledInTheMiddleLeavesAWholeFileWithEverythingSetBefore)
{
    int reports[2];
    ASSERT_EQ(pipe(reports), 0);
    const pid_t child = fork();
    if (child == 0) {
        FilePreferences preferences(path);
        for (int i = 1;; ++i) {
            preferences.setNumber("count", i);
            if (write(reports[1], &i, sizeof i) < 0)
                _exit(1);
        }
    }
    int last = 0;
    while (last < 200)
        ASSERT_EQ(read(reports[0], &last, sizeof last), static_cast<ssize_t>(sizeof last));
    kill(child, SIGKILL);
    waitpid(child, nullptr, 0);
    close(reports[1]);
    while (read(reports[0], &last, sizeof last) > 0) { }
    close(reports[0]);
    FilePreferences preferences(path);
    EXPECT_GE(preferences.number("count"), last);
    EXPECT_EQ(preferences.takeProblem(), std::nullopt);
    preferences.setBoolean("flag", true);
    EXPECT_EQ(preferences.takeProblem(), std::nullopt);
}

TEST_F(FilePreferencesTest, aBrokenFileIsKeptAsideAndReportedOnce)
{
    for (const char* text : {"{\"flag\": tr", "", "[1, 2]", "\xFF\xFE"}) {
        writeFile(text);
        FilePreferences preferences(path);
        EXPECT_FALSE(preferences.boolean("flag"));
        const auto problem = preferences.takeProblem();
        ASSERT_TRUE(problem) << text;
        EXPECT_THAT(*problem, HasSubstr("preferences.json.broken"));
        EXPECT_EQ(preferences.takeProblem(), std::nullopt);
        std::ifstream aside(path.string() + ".broken", std::ios::binary);
        EXPECT_EQ(std::string(std::istreambuf_iterator<char>(aside), {}), text);
        preferences.setBoolean("flag", true);
        EXPECT_TRUE(FilePreferences(path).boolean("flag"));
    }
}

TEST_F(FilePreferencesTest, unknownKeysOfAnotherVersionSurviveAWrite)
{
    writeFile(R"({"Quenstal.Future": {"nested": [1, 2.5, null]}})");
    FilePreferences(path).setBoolean("flag", true);
    EXPECT_THAT(fileText(), HasSubstr("Quenstal.Future"));
    EXPECT_THAT(fileText(), HasSubstr("2.5"));
}

TEST_F(FilePreferencesTest, aStoredValueOfAForeignShapeReadsAsMissing)
{
    writeFile(R"({"a": {"data": 5}, "b": {"data": "0g"}, "c": {"data": "123"}, "d": {}, "e": null})");
    FilePreferences preferences(path);
    for (const char* key : {"a", "b", "c", "d", "e"})
        EXPECT_EQ(preferences.data(key), std::nullopt) << key;
}

TEST_F(FilePreferencesTest, whatCannotBeSavedStaysInForceAndIsReportedOnce)
{
    // A file where the folder should be: not even the superuser can write there.
    std::ofstream(folder / "quenstal") << "in the way";
    FilePreferences preferences(path);
    preferences.setBoolean("flag", true);
    EXPECT_TRUE(preferences.boolean("flag"));
    EXPECT_THAT(preferences.takeProblem().value_or(""), HasSubstr("cannot be saved"));
    preferences.setNumber("number", 2);
    EXPECT_EQ(preferences.takeProblem(), std::nullopt);
    std::filesystem::remove(folder / "quenstal");
    preferences.setString("text", "x");
    FilePreferences next(path);
    EXPECT_TRUE(next.boolean("flag"));
    EXPECT_EQ(next.number("number"), 2);
}

TEST_F(FilePreferencesTest, aLockHeldByAStoppedProcessDoesNotHoldUpTheProgram)
{
    FilePreferences preferences(path);
    preferences.setBoolean("first", true);
    const int lock = open((path.string() + ".lock").c_str(), O_RDWR);
    ASSERT_EQ(flock(lock, LOCK_EX), 0);
    preferences.setBoolean("second", true);
    EXPECT_TRUE(preferences.boolean("second"));
    EXPECT_FALSE(FilePreferences(path).boolean("second"));
    close(lock);
    preferences.setBoolean("third", true);
    EXPECT_TRUE(FilePreferences(path).boolean("second"));
}

TEST_F(FilePreferencesTest, theFileIsTheUsersOwn)
{
    FilePreferences(path).setBoolean("flag", true);
    EXPECT_EQ(std::filesystem::status(path).permissions(), std::filesystem::perms(0600));
}

} // namespace
} // namespace quenstal
