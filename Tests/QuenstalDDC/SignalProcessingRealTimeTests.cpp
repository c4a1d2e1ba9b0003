// What the audio thread may not do, watched while the procedure runs.

#include "QuenstalDDC/SignalProcessingBlocks.hpp"

#include <array>
#include <atomic>
#include <functional>

#include <gtest/gtest.h>
#include <linux/seccomp.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

thread_local bool watched = false;
std::atomic<int> allocations = 0;

void* counted(void* memory)
{
    if (watched)
        ++allocations;
    return memory;
}

} // namespace

// The C library's own entry points, behind which it keeps the real ones.
extern "C" {
void* __libc_malloc(std::size_t);
void* __libc_calloc(std::size_t, std::size_t);
void* __libc_realloc(void*, std::size_t);
void __libc_free(void*);

[[gnu::visibility("default")]] void* malloc(std::size_t size)
{
    return counted(__libc_malloc(size));
}
[[gnu::visibility("default")]] void* calloc(std::size_t count, std::size_t size)
{
    return counted(__libc_calloc(count, size));
}
[[gnu::visibility("default")]] void* realloc(void* memory, std::size_t size)
{
    return counted(__libc_realloc(memory, size));
}
[[gnu::visibility("default")]] void free(void* memory)
{
    counted(nullptr);
    __libc_free(memory);
}
}

namespace quenstal {
namespace {

using namespace testing_support;

/// A session with the equalizer on, and buffers that are ready.
struct Rig {
    explicit Rig(const Layout& layout, std::size_t frames = 512)
        : input(layout, layout.planar ? frames : frames * layout.channels, 0)
        , output(input)
        , inputs(input.list())
        , outputs(output.list())
    {
        BlockSource source(1);
        source.fill(input, layout);
        QSSoftwareVolumeSessionPrepare(session, 0.7f);
        session.sampleFormat = static_cast<std::uint32_t>(layout.format);
        session.nonInterleaved = layout.planar;
        const QSSoftwareEQProfile profile{.enabled = true,
            .preampDB = -3,
            .bandCount = 5,
            .bands = {{60, 4}, {250, -3}, {1000, 2}, {4000, 1}, {12000, 5}}};
        QSSoftwareVolumeSessionSetEQProfile(&session, &profile);
        cycle();
    }

    void cycle()
    {
        const AudioBufferList in{static_cast<std::uint32_t>(inputs.size()), inputs.data()};
        AudioBufferList out{static_cast<std::uint32_t>(outputs.size()), outputs.data()};
        QSSoftwareVolumeIOProc(0, nullptr, &in, nullptr, &out, nullptr, &session);
    }

    Arena input;
    Arena output;
    std::vector<AudioBuffer> inputs;
    std::vector<AudioBuffer> outputs;
    QSSoftwareVolumeSession session;
};

constexpr std::array layouts{
    Layout{QSSampleFormat::float32, false, 2},
    Layout{QSSampleFormat::float32, true, 2},
    Layout{QSSampleFormat::float32, false, 7},
    Layout{QSSampleFormat::int16, false, 2},
    Layout{QSSampleFormat::int32, true, 2},
    Layout{QSSampleFormat::float64, false, 12},
};

/// How a process ends that does this with no system calls at its disposal but read, write and exit.
int statusWithoutSystemCalls(const std::function<void()>& work)
{
    const pid_t child = fork();
    if (child == 0) {
        if (prctl(PR_SET_SECCOMP, SECCOMP_MODE_STRICT) != 0)
            _exit(2);
        work();
        syscall(SYS_exit, 0);
    }
    int status = 0;
    return waitpid(child, &status, 0) == child ? status : -1;
}

TEST(RealTime, aCycleAllocatesAndFreesNothing)
{
    for (const Layout& layout : layouts) {
        Rig rig(layout);
        allocations = 0;
        watched = true;
        for (int i = 0; i < 100; ++i)
            rig.cycle();
        watched = false;
        EXPECT_EQ(allocations, 0) << layout.name();
    }
}

TEST(RealTime, anAllocationIsSeen)
{
    allocations = 0;
    watched = true;
    delete new Rig(layouts[0]);
    watched = false;
    EXPECT_GT(allocations, 0);
}

TEST(RealTime, aCycleMakesNoSystemCall)
{
    for (const Layout& layout : layouts) {
        Rig rig(layout);
        const int status = statusWithoutSystemCalls([&] {
            for (int i = 0; i < 1000; ++i)
                rig.cycle();
        });
        EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << layout.name() << ": " << status;
    }
}

TEST(RealTime, aSystemCallIsSeen)
{
    const int status = statusWithoutSystemCalls([] { syscall(SYS_getpid); });
    EXPECT_TRUE(WIFSIGNALED(status)) << status;
}

/// Page faults and voluntary switches of this thread so far.
long faultsAndWaits()
{
    rusage usage{};
    return getrusage(RUSAGE_THREAD, &usage) == 0 ? usage.ru_minflt + usage.ru_majflt + usage.ru_nvcsw : -1;
}

// The system moves a page now and then, whoever owns it. What the procedure itself does, it does in every run.
TEST(RealTime, tenThousandCyclesNeitherFaultNorWait)
{
    constexpr int runs = 5;
    for (const Layout& layout : layouts) {
        Rig rig(layout, 64);
        long fewest = 1;
        for (int run = 0; run < runs && fewest != 0; ++run) {
            const long before = faultsAndWaits();
            ASSERT_GE(before, 0);
            for (int i = 0; i < 10000; ++i)
                rig.cycle();
            fewest = faultsAndWaits() - before;
        }
        EXPECT_EQ(fewest, 0) << layout.name();
    }
}

} // namespace
} // namespace quenstal
