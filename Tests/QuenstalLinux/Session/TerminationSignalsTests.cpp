#include "QuenstalLinux/Session/EndLimit.hpp"
#include "QuenstalLinux/Session/TerminationSignals.hpp"
#include "QuenstalSimulation/SimulatedRunLoop.hpp"

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

namespace quenstal {
namespace {

/// The signal that ends a program started now, when it sends itself a SIGTERM; 0 when it lives on.
int endOfStartedProgram()
{
    const pid_t child = fork();
    if (child == 0) {
        execl("/bin/sh", "sh", "-c", "kill -TERM $$", static_cast<char*>(nullptr));
        _exit(127);
    }
    int status = 0;
    waitpid(child, &status, 0);
    return WIFSIGNALED(status) ? WTERMSIG(status) : 0;
}

struct TerminationSignalsTest : testing::Test {
    SimulatedRunLoop loop;
    int asked = 0;
};

TEST_F(TerminationSignalsTest, eachOfTheThreeAsksOnceOnTheRunLoop)
{
    TerminationSignals termination;
    const auto ending = termination.onSignal(loop, [this] { ++asked; });
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
        asked = 0;
        raise(signal);
        EXPECT_EQ(asked, 0);
        loop.runUntilIdle();
        EXPECT_EQ(asked, 1) << "signal " << signal;
    }
}

TEST_F(TerminationSignalsTest, aSignalThatCameBeforeAnyoneListenedIsNotLost)
{
    TerminationSignals termination;
    raise(SIGTERM);
    const auto ending = termination.onSignal(loop, [this] { ++asked; });
    loop.runUntilIdle();
    EXPECT_EQ(asked, 1);
}

TEST_F(TerminationSignalsTest, startedProgramsHearThemAsEver)
{
    const TerminationSignals termination;
    EXPECT_EQ(endOfStartedProgram(), SIGTERM);
}

TEST_F(TerminationSignalsTest, aHangUpThatWasIgnoredAtTheStartStaysIgnored)
{
    const auto earlier = signal(SIGHUP, SIG_IGN);
    {
        TerminationSignals termination;
        const auto ending = termination.onSignal(loop, [this] { ++asked; });
        raise(SIGHUP);
        loop.runUntilIdle();
        EXPECT_EQ(asked, 0);
    }
    signal(SIGHUP, earlier);
}

TEST_F(TerminationSignalsTest, afterwardsTheyEndTheProgramAgain)
{
    const auto endByItself = [] {
        {
            const TerminationSignals termination;
        }
        raise(SIGTERM);
    };
    EXPECT_EXIT(endByItself(), testing::KilledBySignal(SIGTERM), "");
}

// --- The limit of the end ---

TEST(EndLimitTest, anEndThatIsHeldUpIsCutShort)
{
    const auto endForEver = [] {
        const EndLimit limit;
        EndLimit::begin();
        EndLimit::begin();
        for (;;)
            pause();
    };
    EXPECT_EXIT(endForEver(), testing::ExitedWithCode(0), "is not responding");
}

TEST(EndLimitTest, aProgramThatIsHeldUpWhenItIsAskedToEndEnds)
{
    const auto neverListen = [] {
        const EndLimit limit;
        const TerminationSignals termination;
        raise(SIGTERM);
        for (;;)
            pause();
    };
    EXPECT_EXIT(neverListen(), testing::ExitedWithCode(0), "is not responding");
}

} // namespace
} // namespace quenstal
