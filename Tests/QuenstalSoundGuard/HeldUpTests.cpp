#include "QuenstalSoundGuard/HeldUp.hpp"

#include <csignal>
#include <string>

#include <gtest/gtest.h>
#include <sys/ptrace.h>
#include <sys/wait.h>
#include <unistd.h>

namespace quenstal {
namespace {

/// A process that only waits.
struct HeldUpTest : testing::Test {
    HeldUpTest()
        : child(fork())
    {
        if (child == 0) {
            for (;;)
                pause();
        }
    }
    ~HeldUpTest() override
    {
        kill(child, SIGKILL);
        waitpid(child, nullptr, 0);
    }
    const pid_t child;
};

TEST_F(HeldUpTest, aStoppedProcessIsUntilItGoesOn)
{
    EXPECT_FALSE(isHeldUp(child));
    kill(child, SIGSTOP);
    waitpid(child, nullptr, WUNTRACED);
    EXPECT_TRUE(isHeldUp(child));
    kill(child, SIGCONT);
    waitpid(child, nullptr, WCONTINUED);
    EXPECT_FALSE(isHeldUp(child));
}

TEST_F(HeldUpTest, aProcessInTheHandsOfADebuggerIs)
{
    if (ptrace(PTRACE_ATTACH, child, nullptr, nullptr) != 0)
        GTEST_SKIP() << "this machine lets nobody debug";
    waitpid(child, nullptr, 0);
    EXPECT_TRUE(isHeldUp(child));
    ptrace(PTRACE_DETACH, child, nullptr, nullptr);
}

TEST_F(HeldUpTest, aProcessThatHasEndedIsNot)
{
    kill(child, SIGKILL);
    siginfo_t ended{};
    waitid(P_PID, static_cast<id_t>(child), &ended, WEXITED | WNOWAIT);
    EXPECT_FALSE(isHeldUp(child)) << "a zombie";
    EXPECT_FALSE(isHeldUp(0x7fff'fff0)) << "none at all";
}

TEST(HeldUpText, theKernelsWordsAreUnderstood)
{
    const struct {
        std::string status;
        bool isHeldUp;
    } rows[] = {
        {"Name:\tquenstal\nState:\tS (sleeping)\nCoreDumping:\t0\n", false},
        {"Name:\tquenstal\nState:\tR (running)\n", false},
        {"Name:\tquenstal\nState:\tD (disk sleep)\nCoreDumping:\t0\n", false},
        {"Name:\tquenstal\nState:\tT (stopped)\n", true},
        {"Name:\tquenstal\nState:\tt (tracing stop)\n", true},
        {"Name:\tquenstal\nState:\tD (disk sleep)\nCoreDumping:\t1\n", true},
        {"Name:\tState:\tT\nState:\tZ (zombie)", false},
        {"", false},
    };
    for (const auto& row : rows)
        EXPECT_EQ(tellsOfHoldUp(row.status), row.isHeldUp) << row.status;
}

} // namespace
} // namespace quenstal
