#include "QuenstalLinux/Keyboards/GrabWatchdog.hpp"

#include <array>
#include <cerrno>
#include <cstddef>

#include <gtest/gtest.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <poll.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

namespace quenstal {
namespace {

struct GrabWatchdogTest : testing::Test {
    GrabWatchdogTest() { EXPECT_EQ(socketpair(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK, 0, ends.data()), 0); }
    ~GrabWatchdogTest() override
    {
        close(ends[0]);
        close(ends[1]);
    }

    bool isReleased(const GrabWatchdog& watchdog, int milliseconds)
    {
        pollfd entry{watchdog.releasedDescriptor(), POLLIN, 0};
        return poll(&entry, 1, milliseconds) == 1;
    }

    /// The reader reads the first, keys come in at the second.
    std::array<int, 2> ends{};
};

TEST_F(GrabWatchdogTest, eventsThatStayUnreadFreeTheKeyboards)
{
    const GrabWatchdog watchdog(ends[0]);
    ASSERT_EQ(write(ends[1], "k", 1), 1);
    EXPECT_TRUE(isReleased(watchdog, 5000));
}

TEST_F(GrabWatchdogTest, aReaderThatReadsKeepsThem)
{
    const GrabWatchdog watchdog(ends[0]);
    ASSERT_EQ(write(ends[1], "k", 1), 1);
    char key = 0;
    ASSERT_EQ(read(ends[0], &key, 1), 1);
    EXPECT_FALSE(isReleased(watchdog, static_cast<int>(GrabWatchdog::patience.count()) * 3 / 2));
}

TEST_F(GrabWatchdogTest, aReaderThatIsBehindButGoesOnKeepsThemAndOneThatStopsDoesNot)
{
    GrabWatchdog watchdog(ends[0]);
    ASSERT_EQ(write(ends[1], "k", 1), 1);
    for (int turn = 0; turn < 30; ++turn) {
        watchdog.readerTurns();
        ASSERT_FALSE(isReleased(watchdog, static_cast<int>(GrabWatchdog::patience.count()) / 20));
    }
    EXPECT_TRUE(isReleased(watchdog, 5000));
}

TEST_F(GrabWatchdogTest, itEndsWithItsOwnerHoweverThatEnds)
{
    std::array<int, 2> ready{};
    ASSERT_EQ(pipe(ready.data()), 0);
    const pid_t owner = fork();
    if (owner == 0) {
        close(ends[1]);
        const GrabWatchdog watchdog(ends[0]);
        [[maybe_unused]] const auto told = write(ready[1], "r", 1);
        pause();
    }
    close(ends[0]);
    char mark = 0;
    ASSERT_EQ(read(ready[0], &mark, 1), 1);
    pollfd keyboard{ends[1], 0, 0};
    EXPECT_EQ(poll(&keyboard, 1, 0), 0) << "nobody holds the keyboard open";
    kill(owner, SIGKILL);
    waitpid(owner, nullptr, 0);
    ASSERT_EQ(poll(&keyboard, 1, 5000), 1) << "the watchdog still holds the keyboard open";
    EXPECT_TRUE(keyboard.revents & POLLHUP);
    close(ready[0]);
    close(ready[1]);
}

/// As when the kernel has no memory for it, in this process and its children.
void refuseEpoll()
{
    std::array filter{
        sock_filter BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
        sock_filter BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, SYS_epoll_create1, 0, 1),
        sock_filter BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ERRNO | ENOMEM),
        sock_filter BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW),
    };
    const sock_fprog program{filter.size(), filter.data()};
    if (prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) != 0 || prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &program) != 0)
        _exit(2);
}

TEST_F(GrabWatchdogTest, withNothingToWaitOnItDoesNotWatch)
{
    const pid_t owner = fork();
    if (owner == 0) {
        refuseEpoll();
        const GrabWatchdog watchdog(ends[0]);
        _exit(watchdog.isWatching() ? 1 : 0);
    }
    int status = 0;
    ASSERT_EQ(waitpid(owner, &status, 0), owner);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << status;
}

TEST_F(GrabWatchdogTest, withoutPipesItDoesNotWatch)
{
    rlimit before{};
    ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &before), 0);
    const rlimit none{0, before.rlim_max};
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &none), 0);
    const GrabWatchdog watchdog(ends[0]);
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &before), 0);
    EXPECT_FALSE(watchdog.isWatching());
}

} // namespace
} // namespace quenstal
