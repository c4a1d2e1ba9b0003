// The program itself, as the service manager would start it: its ends, orderly and not.

#include "QuenstalKeyService/KeyServiceTest.hpp"
#include "QuenstalPlatform/EventTaps.hpp"

#include <optional>

#include <fcntl.h>
#include <gmock/gmock.h>
#include <linux/input.h>
#include <signal.h>
#include <sys/prctl.h>
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
        const BusConnection observer(loop, bus.address());
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

TEST_F(KeyServiceProgramTest, aSecondOneEndsAtOnce)
{
    const pid_t first = process;
    startProgram();
    EXPECT_EQ(awaitEnd(), EXIT_FAILURE);
    process = first;
    EXPECT_TRUE(listeningClient()->hasSocket());
}

} // namespace
} // namespace quenstal
