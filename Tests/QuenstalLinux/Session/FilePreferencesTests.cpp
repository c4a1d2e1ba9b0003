#include "QuenstalLinux/Session/FilePreferences.hpp"
#include "QuenstalSimulation/SimulatedRunLoop.hpp"
#include "Support/Eventually.hpp"

#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <string>
#include <utility>
#include <vector>

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/file.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace quenstal {
namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::HasSubstr;
using Kind = PreferencesProblem::Kind;

/// For as long as it lives nothing can be opened.
class NoDescriptors {
public:
    NoDescriptors()
    {
        getrlimit(RLIMIT_NOFILE, &usual_);
        const rlimit none{0, usual_.rlim_max};
        setrlimit(RLIMIT_NOFILE, &none);
    }
    NoDescriptors(const NoDescriptors&) = delete;
    NoDescriptors& operator=(const NoDescriptors&) = delete;
    ~NoDescriptors() { setrlimit(RLIMIT_NOFILE, &usual_); }

private:
    rlimit usual_{};
};

/// For as long as it lives no file grows beyond a few bytes: a write ends early, as on a disk that is full.
class FullDisk {
public:
    FullDisk()
        : usualAnswer_(signal(SIGXFSZ, SIG_IGN))
    {
        getrlimit(RLIMIT_FSIZE, &usual_);
        const rlimit little{20, usual_.rlim_max};
        setrlimit(RLIMIT_FSIZE, &little);
    }
    FullDisk(const FullDisk&) = delete;
    FullDisk& operator=(const FullDisk&) = delete;
    ~FullDisk()
    {
        setrlimit(RLIMIT_FSIZE, &usual_);
        signal(SIGXFSZ, usualAnswer_);
    }

private:
    sighandler_t usualAnswer_;
    rlimit usual_{};
};

struct FilePreferencesTest : testing::Test {
    FilePreferencesTest()
    {
        std::string name = (std::filesystem::temp_directory_path() / "quenstal-XXXXXX").string();
        folder = mkdtemp(name.data());
        path = folder / "quenstal" / "preferences.json";
    }
    ~FilePreferencesTest() override { std::filesystem::remove_all(folder); }

    static std::string textOf(const std::filesystem::path& path)
    {
        std::ifstream file(path, std::ios::binary);
        return {std::istreambuf_iterator<char>(file), {}};
    }
    std::string fileText() const { return textOf(path); }
    void writeFile(const std::string& text) const
    {
        std::filesystem::create_directories(path.parent_path());
        std::ofstream(path, std::ios::binary) << text;
    }
    std::optional<PreferencesProblem> problem(Kind kind, const char* ending = "") const
    {
        return PreferencesProblem{kind, path.string() + ending};
    }

    SimulatedRunLoop loop;
    std::filesystem::path folder;
    std::filesystem::path path;
};

TEST_F(FilePreferencesTest, valuesComeBackInTheNextRunWithTheirTypes)
{
    {
        FilePreferences preferences(loop, path);
        preferences.setBoolean("flag", true);
        preferences.setNumber("number", 1718000607.25);
        preferences.setString("text", "F11 volume down");
        preferences.setData("data", std::string("\x00\xFF{}\n", 5));
    }
    FilePreferences preferences(loop, path);
    EXPECT_TRUE(preferences.boolean("flag"));
    EXPECT_EQ(preferences.number("number"), 1718000607.25);
    EXPECT_EQ(preferences.string("text"), "F11 volume down");
    EXPECT_EQ(preferences.data("data"), std::string("\x00\xFF{}\n", 5));
    EXPECT_EQ(preferences.problem(), std::nullopt);
}

TEST_F(FilePreferencesTest, whatIsMissingOrOfAnotherTypeCountsAsMissing)
{
    FilePreferences preferences(loop, path);
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

TEST_F(FilePreferencesTest, anotherProcessSeesAValueOnceItIsSaved)
{
    FilePreferences one(loop, path);
    FilePreferences other(loop, path);
    EXPECT_FALSE(other.boolean("flag"));
    one.setBoolean("flag", true);
    one.saveNow();
    EXPECT_TRUE(other.boolean("flag"));
    other.setBoolean("flag", false);
    other.saveNow();
    EXPECT_FALSE(one.boolean("flag"));
}

TEST_F(FilePreferencesTest, processesThatWriteAtOnceLoseNothing)
{
    constexpr int processes = 4;
    constexpr int writes = 25;
    for (int process = 0; process < processes; ++process) {
        if (fork() == 0) {
            FilePreferences preferences(loop, path);
            for (int i = 0; i < writes; ++i) {
                preferences.setNumber(std::to_string(process) + "." + std::to_string(i), i + 1);
                preferences.saveNow();
            }
            // What found the file locked goes out with the next one.
            while (preferences.problem()) {
                preferences.setBoolean("end", true);
                preferences.saveNow();
            }
            _exit(0);
        }
    }
    for (int process = 0; process < processes; ++process)
        wait(nullptr);
    FilePreferences preferences(loop, path);
    for (int process = 0; process < processes; ++process) {
        for (int i = 0; i < writes; ++i)
            EXPECT_EQ(preferences.number(std::to_string(process) + "." + std::to_string(i)), i + 1);
    }
}

TEST_F(FilePreferencesTest, aProcessKilledInTheMiddleLeavesAWholeFileWithEverythingSavedBefore)
{
    int reports[2];
    ASSERT_EQ(pipe(reports), 0);
    const pid_t child = fork();
    if (child == 0) {
        FilePreferences preferences(loop, path);
        for (int i = 1;; ++i) {
            preferences.setNumber("count", i);
            preferences.saveNow();
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
    FilePreferences preferences(loop, path);
    EXPECT_GE(preferences.number("count"), last);
    preferences.setBoolean("flag", true);
    preferences.saveNow();
    EXPECT_EQ(preferences.problem(), std::nullopt);
}

// --- When it is saved ---

TEST_F(FilePreferencesTest, whatIsSetInOneMomentIsSavedTogetherAMomentLater)
{
    FilePreferences preferences(loop, path);
    preferences.setBoolean("flag", true);
    loop.advance(FilePreferences::saveDelay / 2);
    preferences.setNumber("number", 2);
    loop.advance(FilePreferences::saveDelay / 2 - 1ms);
    EXPECT_FALSE(std::filesystem::exists(path));
    loop.advance(1ms);
    ASSERT_TRUE(eventually(loop, [this] { return std::filesystem::exists(path); }));
    FilePreferences next(loop, path);
    EXPECT_TRUE(next.boolean("flag"));
    EXPECT_EQ(next.number("number"), 2);
}

TEST_F(FilePreferencesTest, aHeldKeyDoesNotPutItOff)
{
    FilePreferences preferences(loop, path);
    for (auto held = 0ms; held <= FilePreferences::saveDelay; held += 50ms) {
        preferences.setNumber("pressed", 1);
        loop.advance(50ms);
    }
    EXPECT_TRUE(eventually(loop, [this] { return std::filesystem::exists(path); }));
}

TEST_F(FilePreferencesTest, whatIsSetWhileItIsSavedIsSavedToo)
{
    FilePreferences preferences(loop, path);
    preferences.setNumber("first", 1);
    loop.advance(FilePreferences::saveDelay);
    preferences.setNumber("first", 2);
    preferences.setNumber("second", 2);
    ASSERT_TRUE(eventually(loop, [this] {
        loop.advance(FilePreferences::saveDelay);
        FilePreferences other(loop, path);
        return other.number("first") == 2 && other.number("second") == 2;
    }));
    EXPECT_EQ(preferences.number("first"), 2);
}

TEST_F(FilePreferencesTest, theEndSavesWhatIsNotSavedYet)
{
    {
        FilePreferences preferences(loop, path);
        preferences.setNumber("first", 1);
        loop.advance(FilePreferences::saveDelay);
        preferences.setNumber("second", 2);
    }
    FilePreferences next(loop, path);
    EXPECT_EQ(next.number("first"), 1);
    EXPECT_EQ(next.number("second"), 2);
}

// --- Files that are not what they should be ---

TEST_F(FilePreferencesTest, aBrokenFileIsKeptAsideAndTold)
{
    for (const char* text : {"{\"flag\": tr", "", "[1, 2]", "\xFF\xFE"}) {
        writeFile(text);
        FilePreferences preferences(loop, path);
        EXPECT_FALSE(preferences.boolean("flag"));
        EXPECT_EQ(preferences.problem(), problem(Kind::notValid, ".broken")) << text;
        EXPECT_EQ(textOf(path.string() + ".broken"), text);
        preferences.setBoolean("flag", true);
        preferences.saveNow();
        EXPECT_TRUE(FilePreferences(loop, path).boolean("flag"));
        EXPECT_EQ(preferences.problem(), problem(Kind::notValid, ".broken")) << "no more, as long as it runs";
    }
}

TEST_F(FilePreferencesTest, aFileBeyondTheBoundsIsNotValid)
{
    const std::string deep = "{\"a\": " + std::string(200'000, '[') + std::string(200'000, ']') + "}";
    const std::string large = "{\"a\": \"" + std::string(10'000'000, 'x') + "\"}";
    for (const std::string& text : {deep, large}) {
        writeFile(text);
        FilePreferences preferences(loop, path);
        preferences.setBoolean("flag", true);
        EXPECT_EQ(preferences.string("a"), std::nullopt);
        preferences.saveNow();
        EXPECT_EQ(preferences.problem(), problem(Kind::notValid, ".broken"));
        EXPECT_TRUE(textOf(path.string() + ".broken") == text);
        EXPECT_TRUE(FilePreferences(loop, path).boolean("flag"));
    }
}

TEST_F(FilePreferencesTest, aFileThatBecomesInvalidWhileItIsOpenIsKeptAsideToo)
{
    FilePreferences preferences(loop, path);
    preferences.setBoolean("flag", true);
    EXPECT_TRUE(preferences.boolean("flag"));
    writeFile("no preferences");
    preferences.saveNow();
    EXPECT_EQ(preferences.problem(), problem(Kind::notValid, ".broken"));
    EXPECT_EQ(textOf(path.string() + ".broken"), "no preferences");
    EXPECT_TRUE(FilePreferences(loop, path).boolean("flag"));
}

TEST_F(FilePreferencesTest, aFileThatCannotBePutAsideIsLeftAsItIs)
{
    writeFile("no preferences");
    std::filesystem::create_directory(path.string() + ".broken");
    FilePreferences preferences(loop, path);
    preferences.setBoolean("flag", true);
    EXPECT_TRUE(preferences.boolean("flag"));
    preferences.saveNow();
    EXPECT_TRUE(preferences.problem());
    EXPECT_EQ(fileText(), "no preferences");
}

TEST_F(FilePreferencesTest, nothingIsWrittenThatWouldNotBeRead)
{
    FilePreferences preferences(loop, path);
    preferences.setBoolean("flag", true);
    preferences.saveNow();
    preferences.setString("text", std::string(PreferencesFile::maximumBytes, 'x'));
    preferences.saveNow();
    EXPECT_EQ(preferences.problem(), problem(Kind::notSaved));
    EXPECT_TRUE(FilePreferences(loop, path).boolean("flag"));
}

TEST_F(FilePreferencesTest, aFileThatCannotBeOpenedForAMomentIsLeftAloneAndReadLater)
{
    writeFile(R"({"flag": true})");
    FilePreferences preferences(loop, path);
    std::vector<std::optional<PreferencesProblem>> told;
    const auto telling = preferences.onProblemChanged([&] { told.push_back(preferences.problem()); });
    {
        const NoDescriptors limit;
        EXPECT_FALSE(preferences.boolean("flag"));
        EXPECT_FALSE(preferences.boolean("flag"));
        preferences.setNumber("number", 2);
        preferences.saveNow();
        loop.runUntilIdle();
        EXPECT_THAT(told, ElementsAre(problem(Kind::notReadable)));
    }
    EXPECT_EQ(fileText(), R"({"flag": true})");
    EXPECT_TRUE(preferences.boolean("flag"));
    EXPECT_EQ(preferences.number("number"), 2);
    loop.advance(FilePreferences::retryPause);
    EXPECT_TRUE(eventually(loop, [this] { return FilePreferences(loop, path).number("number") == 2; }));
    EXPECT_TRUE(FilePreferences(loop, path).boolean("flag"));
    EXPECT_THAT(told, ElementsAre(problem(Kind::notReadable), std::nullopt));
}

TEST_F(FilePreferencesTest, whatWasReadBeforeHoldsWhileTheFileCannotBeOpened)
{
    writeFile(R"({"flag": true})");
    FilePreferences preferences(loop, path);
    EXPECT_TRUE(preferences.boolean("flag"));
    writeFile(R"({"flag": false})");
    const NoDescriptors limit;
    EXPECT_TRUE(preferences.boolean("flag"));
}

TEST_F(FilePreferencesTest, whatIsNoFileIsNeitherWaitedForNorTouched)
{
    const auto directory = [this] { std::filesystem::create_directories(path); };
    const auto fifo = [this] {
        std::filesystem::create_directories(path.parent_path());
        mkfifo(path.c_str(), 0600);
    };
    const std::pair<std::function<void()>, std::filesystem::file_type> rows[]{
        {directory, std::filesystem::file_type::directory}, {fifo, std::filesystem::file_type::fifo}};
    for (const auto& [make, type] : rows) {
        make();
        {
            FilePreferences preferences(loop, path);
            preferences.setBoolean("flag", true);
            EXPECT_TRUE(preferences.boolean("flag"));
            preferences.saveNow();
            EXPECT_EQ(preferences.problem(), problem(Kind::notReadable));
        }
        EXPECT_EQ(std::filesystem::status(path).type(), type);
        std::filesystem::remove(path);
    }
}

TEST_F(FilePreferencesTest, whatIsInTheWayBesideTheFileHoldsNothingUp)
{
    for (const char* ending : {".new", ".lock"}) {
        std::filesystem::create_directories(path.parent_path());
        mkfifo((path.string() + ending).c_str(), 0600);
        FilePreferences preferences(loop, path);
        preferences.setBoolean(ending, true);
        preferences.saveNow();
        EXPECT_EQ(preferences.problem(), std::nullopt) << ending;
        EXPECT_TRUE(FilePreferences(loop, path).boolean(ending));
    }
}

TEST_F(FilePreferencesTest, unknownKeysOfAnotherVersionSurviveAWrite)
{
    writeFile(R"({"Quenstal.Future": {"nested": [1, 2.5, null]}})");
    FilePreferences(loop, path).setBoolean("flag", true);
    EXPECT_THAT(fileText(), HasSubstr("Quenstal.Future"));
    EXPECT_THAT(fileText(), HasSubstr("2.5"));
}

TEST_F(FilePreferencesTest, aStoredValueOfAForeignShapeReadsAsMissing)
{
    writeFile(R"({"a": {"data": 5}, "b": {"data": "0g"}, "c": {"data": "123"}, "d": {}, "e": null})");
    FilePreferences preferences(loop, path);
    for (const char* key : {"a", "b", "c", "d", "e"})
        EXPECT_EQ(preferences.data(key), std::nullopt) << key;
}

TEST_F(FilePreferencesTest, whatCannotBeSavedStaysInForceIsToldOnceAndTriedAgain)
{
    // A file where the folder should be: not even the superuser can write there.
    std::ofstream(folder / "quenstal") << "in the way";
    FilePreferences preferences(loop, path);
    std::vector<std::optional<PreferencesProblem>> told;
    const auto telling = preferences.onProblemChanged([&] { told.push_back(preferences.problem()); });
    const auto isTold = [&] { return !told.empty(); };
    preferences.setBoolean("flag", true);
    loop.advance(FilePreferences::saveDelay);
    ASSERT_TRUE(eventually(loop, isTold));
    EXPECT_TRUE(preferences.boolean("flag"));
    preferences.setNumber("number", 2);
    preferences.saveNow();
    loop.runUntilIdle();
    EXPECT_THAT(told, ElementsAre(problem(Kind::notSaved)));
    std::filesystem::remove(folder / "quenstal");
    loop.advance(FilePreferences::retryPause);
    ASSERT_TRUE(eventually(loop, [&] { return told.size() == 2; }));
    EXPECT_EQ(preferences.problem(), std::nullopt);
    FilePreferences next(loop, path);
    EXPECT_TRUE(next.boolean("flag"));
    EXPECT_EQ(next.number("number"), 2);
}

TEST_F(FilePreferencesTest, aDiskThatIsFullLosesNothing)
{
    FilePreferences preferences(loop, path);
    preferences.setBoolean("flag", true);
    preferences.saveNow();
    const std::string whole = fileText();
    int told = 0;
    const auto telling = preferences.onProblemChanged([&] { ++told; });
    {
        const FullDisk full;
        preferences.setNumber("number", 2);
        preferences.saveNow();
        loop.runUntilIdle();
        EXPECT_EQ(preferences.problem(), problem(Kind::notSaved));
        EXPECT_EQ(preferences.number("number"), 2);
    }
    EXPECT_EQ(fileText(), whole);
    loop.advance(FilePreferences::retryPause);
    ASSERT_TRUE(eventually(loop, [&] { return told == 2; }));
    FilePreferences next(loop, path);
    EXPECT_TRUE(next.boolean("flag"));
    EXPECT_EQ(next.number("number"), 2);
}

TEST_F(FilePreferencesTest, aLockHeldByAStoppedProcessDoesNotHoldUpTheProgram)
{
    FilePreferences preferences(loop, path);
    preferences.setBoolean("first", true);
    preferences.saveNow();
    const int lock = open((path.string() + ".lock").c_str(), O_RDWR);
    ASSERT_EQ(flock(lock, LOCK_EX), 0);
    preferences.setBoolean("second", true);
    preferences.saveNow();
    EXPECT_TRUE(preferences.boolean("second"));
    EXPECT_FALSE(FilePreferences(loop, path).boolean("second"));
    close(lock);
    loop.advance(FilePreferences::retryPause);
    EXPECT_TRUE(eventually(loop, [this] { return FilePreferences(loop, path).boolean("second"); }));
}

TEST_F(FilePreferencesTest, theFileIsTheUsersOwn)
{
    FilePreferences(loop, path).setBoolean("flag", true);
    EXPECT_EQ(std::filesystem::status(path).permissions(), std::filesystem::perms(0600));
}

} // namespace
} // namespace quenstal
