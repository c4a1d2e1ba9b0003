// The program itself, as the service manager would start it: its ends, orderly and not.

#include "QuenstalKeyService/KeyServiceTest.hpp"
#include "QuenstalKeyService/ServiceManager.hpp"
#include "QuenstalPlatform/EventTaps.hpp"
#include "Support/BusStranger.hpp"

#include <atomic>
#include <cstdint>
#include <fstream>
#include <functional>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include <fcntl.h>
#include <gmock/gmock.h>
#include <linux/input.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/wait.h>

namespace quenstal {
namespace {

using testing::ElementsAre;

struct KeyServiceProgramTest : KeyServiceTest {
    void SetUp() override
    {
        KeyServiceTest::SetUp();
        if (!IsSkipped())
            startProgram();
    }
    void TearDown() override
    {
        sendSignal(SIGTERM);
        awaitEnd();
    }

    void startProgram()
    {
        process = fork();
        if (process == 0) {
            prctl(PR_SET_PDEATHSIG, SIGKILL);
            const int silence = open("/dev/null", O_WRONLY);
            dup2(silence, STDERR_FILENO);
            setenv("DBUS_SYSTEM_BUS_ADDRESS", bus.address().c_str(), 1);
            execl(QUENSTAL_KEYD, "quenstal-keyd", static_cast<char*>(nullptr));
            _exit(127);
        }
        // Not over the machine's connection: what arrives while that waits would not be seen.
        const DBusConnection observer(loop, bus.address());
        ASSERT_TRUE(eventually(
            [&] { return sd_bus_get_name_creds(observer.get(), KeyServiceProtocol::busName, 0, nullptr) >= 0; }));
    }
    /// One that has heard a key: the program is at rest then, as the emulation of its devices needs it that is shared
    /// with a program that is stopped or killed.
    std::unique_ptr<TestClient> listeningClient()
    {
        auto client = capturingClient();
        keyboard->type({{KEY_MUTE, 1}, {KEY_A, 1}});
        EXPECT_TRUE(eventually([&] {
            return client->presses().size() == 1 && keyboard->passed().size() == 1 && keyboard->isReaderAtRest();
        }));
        return client;
    }
    void sendSignal(int signal) const
    {
        if (process > 0)
            kill(process, signal);
    }
    /// The exit status, or the signal with a minus. None when the program does not end.
    std::optional<int> awaitEnd()
    {
        int status = 0;
        if (process <= 0 || !eventually([&] { return waitpid(process, &status, WNOHANG) == process; }))
            return std::nullopt;
        process = -1;
        return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
    }

    pid_t process = -1;
};

TEST_F(KeyServiceProgramTest, itHandsOutKeysAndFreesTheKeyboardsWhenItIsAskedToEnd)
{
    const auto client = listeningClient();
    EXPECT_THAT(client->presses(), ElementsAre(VolumeKeyPress{AuxiliaryButton::mute, false}));
    EXPECT_THAT(keyboard->passed(), ElementsAre("1 30 1"));
    sendSignal(SIGTERM);
    EXPECT_EQ(awaitEnd(), 0);
    EXPECT_FALSE(keyboard->isGrabbed());
    EXPECT_EQ(keyboard->clones(), 0);
    EXPECT_TRUE(client->isDropped());
}

TEST_F(KeyServiceProgramTest, aKilledOneTellsItsClientByItsDeathAndTheNextOneServesAgain)
{
    const auto client = listeningClient();
    sendSignal(SIGKILL);
    EXPECT_EQ(awaitEnd(), -SIGKILL);
    EXPECT_TRUE(eventually([&] { return client->isDropped(); }));
    startProgram();
    const auto next = newClient();
    next->capture();
    EXPECT_TRUE(eventually([&] { return next->hasSocket() && keyboard->grabs() == 2; }));
}

TEST_F(KeyServiceProgramTest, aStoppedOneLosesTheKeyboardsToTheUserAndTakesThemAgainWhenItGoesOn)
{
    const auto client = listeningClient();
    sendSignal(SIGSTOP);
    keyboard->type({{KEY_A, 1}});
    EXPECT_TRUE(eventually([&] { return !keyboard->isGrabbed() && keyboard->hasAnsweredAll(); }));
    sendSignal(SIGCONT);
    ASSERT_TRUE(eventually([&] { return keyboard->grabs() == 2; }));
    EXPECT_FALSE(client->isDropped());
    keyboard->type({{KEY_VOLUMEDOWN, 1}});
    EXPECT_TRUE(eventually([&] { return client->presses().size() == 2; }));
}

TEST_F(KeyServiceProgramTest, itEndsWithTheBusAndFreesTheKeyboards)
{
    const auto client = listeningClient();
    bus.stop();
    const auto status = awaitEnd();
    ASSERT_TRUE(status);
    EXPECT_NE(*status, 0);
    EXPECT_TRUE(eventually([&] { return client->isDropped(); }));
}

TEST_F(KeyServiceProgramTest, itEndsWhenItsConnectionFailsAndTheBusDoesNot)
{
    // What comes with a message cannot be received, nor then the message.
    const rlimit none{};
    ASSERT_EQ(prlimit(process, RLIMIT_NOFILE, &none, nullptr), 0);
    BusStranger attacker(bus.address());
    sd_bus_call_method_async(attacker.get(), nullptr, KeyServiceProtocol::busName, KeyServiceProtocol::objectPath,
        KeyServiceProtocol::interface, KeyServiceProtocol::captureMember, nullptr, nullptr, "h", STDIN_FILENO);
    attacker.flush();
    EXPECT_EQ(awaitEnd(), EXIT_FAILURE);
}

TEST_F(KeyServiceProgramTest, aSecondOneEndsAtOnce)
{
    const pid_t first = process;
    startProgram();
    EXPECT_EQ(awaitEnd(), EXIT_FAILURE);
    process = first;
    EXPECT_TRUE(listeningClient()->hasSocket());
}

/// Calls that nobody waits for, as fast as the bus takes them, until the end of this.
class Flood {
public:
    explicit Flood(const std::string& address)
        : thread_([this, address] { run(address); })
    {
    }
    ~Flood()
    {
        isOver_ = true;
        thread_.join();
    }
    Flood(const Flood&) = delete;
    Flood& operator=(const Flood&) = delete;

    int sent() const { return sent_; }
    bool isGoingOn() const { return sent_ < most; }

private:
    /// Far more than any test needs, and no flood without end.
    static constexpr int most = 500'000;

    void run(const std::string& address)
    {
        BusStranger attacker(address);
        while (!isOver_ && sent_ < most) {
            attacker.call(KeyServiceProtocol::busName, KeyServiceProtocol::objectPath, KeyServiceProtocol::interface,
                KeyServiceProtocol::captureMember);
            if (++sent_ % 64 == 0)
                attacker.flush();
        }
    }

    std::atomic<bool> isOver_ = false;
    std::atomic<int> sent_ = 0;
    std::thread thread_;
};

/// Under a service manager's watchdog.
struct KeyServiceFloodTest : KeyServiceProgramTest {
    /// A flood leaves little of a machine to anyone: a longer limit.
    bool slowly(const std::function<bool()>& holds)
    {
        for (int attempt = 0; attempt < 4; ++attempt)
            if (eventually(holds))
                return true;
        return false;
    }
    /// In kilobytes: what it has now, or the most that it ever had.
    long memoryUsed() const { return statusOf("RssAnon:"); }
    long mostMemoryUsed() const { return statusOf("VmHWM:"); }
    long statusOf(const char* what) const
    {
        std::ifstream status("/proc/" + std::to_string(process) + "/status");
        for (std::string word; status >> word;)
            if (long kilobytes = 0; word == what && status >> kilobytes)
                return kilobytes;
        return 0;
    }

    bool showsThatItLives()
    {
        // The queue may hold some from before.
        const int enough = signsOfLife + 20;
        return slowly([&] { return signsOfLife >= enough; });
    }

    ServiceManager manager{std::chrono::milliseconds(50)};
    int signsOfLife = 0;
    // Whoever shows that it lives waits while nobody looks.
    Cancellation watch = loop.watchReadable(manager.descriptor(), [this] { signsOfLife += manager.signsOfLife(); });
};

TEST_F(KeyServiceFloodTest, aFloodOfCallsTakesNoMemoryAndTheClientKeepsItsKeys)
{
    const auto client = listeningClient();
    const long before = mostMemoryUsed();
    ASSERT_GT(before, 0);
    const Flood flood(bus.address());
    ASSERT_TRUE(slowly([&] { return flood.sent() > 1000; }));
    EXPECT_TRUE(showsThatItLives());
    keyboard->type({{KEY_VOLUMEUP, 1}});
    EXPECT_TRUE(slowly([&] { return client->presses().size() == 2; }));
    ASSERT_TRUE(slowly([&] { return flood.sent() > 20'000; }));
    EXPECT_TRUE(showsThatItLives());
    EXPECT_TRUE(flood.isGoingOn()) << "nothing came of it before the end of the flood";
    EXPECT_LT(mostMemoryUsed() - before, 2048);
    EXPECT_FALSE(client->isDropped());
}

TEST_F(KeyServiceFloodTest, whatLargeMessagesTakeGoesBackWithThem)
{
    const auto client = listeningClient();
    const long before = memoryUsed();
    ASSERT_GT(before, 0);
    BusStranger attacker(bus.address());
    const std::vector<std::uint8_t> body(30'000'000);
    for (int round = 0; round < 4; ++round)
        attacker.callWithBody(KeyServiceProtocol::busName, KeyServiceProtocol::objectPath,
            KeyServiceProtocol::interface, KeyServiceProtocol::captureMember, body);
    EXPECT_GT(mostMemoryUsed(), 30'000) << "it never had one";
    EXPECT_TRUE(slowly([&] { return memoryUsed() - before < 2048; })) << memoryUsed() - before << " kB";
    keyboard->type({{KEY_VOLUMEUP, 1}});
    EXPECT_TRUE(slowly([&] { return client->presses().size() == 2; }));
    EXPECT_FALSE(client->isDropped());
}

} // namespace
} // namespace quenstal
