#include "QuenstalLinux/Keyboards/GrabWatchdog.hpp"

#include <array>
#include <cerrno>
#include <csignal>
#include <mutex>
#include <new>
#include <utility>

#include <fcntl.h>
#include <linux/input.h>
#include <poll.h>
#include <sys/epoll.h>
#include <sys/ioctl.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace quenstal {

namespace {

constexpr int checks = 10;
constexpr int checkInterval = static_cast<int>(GrabWatchdog::patience.count()) / checks;
constexpr int lifelineMark = -1;

bool isReadable(int descriptor)
{
    pollfd entry{descriptor, POLLIN, 0};
    return poll(&entry, 1, 0) == 1 && (entry.revents & POLLIN) != 0;
}

/// A live reader empties the queue between two checks, or shows that it is working on it.
bool readerHasStalled(int device, const GrabWatchdog::Turns& turns)
{
    std::uint32_t seen = turns;
    for (int check = 0; check < checks; ++check) {
        poll(nullptr, 0, checkInterval);
        if (!isReadable(device))
            return false;
        if (turns != seen)
            check = -1;
        seen = turns;
    }
    return true;
}

bool addTo(int epoll, int descriptor, std::uint32_t events, int mark)
{
    epoll_event event{};
    event.events = events;
    event.data.fd = mark;
    return epoll_ctl(epoll, EPOLL_CTL_ADD, descriptor, &event) == 0;
}

/// What the guard sleeps on. Empty if the system cannot provide it.
FileDescriptor waitingPlace(int device, int lifeline)
{
    FileDescriptor epoll(epoll_create1(EPOLL_CLOEXEC));
    const bool isWhole = epoll && addTo(epoll.get(), lifeline, EPOLLIN, lifelineMark)
        && addTo(epoll.get(), device, EPOLLIN | EPOLLET, device);
    return isWhole ? std::move(epoll) : FileDescriptor();
}

/// In memory that the guard shares. Null if the system cannot provide it.
GrabWatchdog::Turns* sharedTurns()
{
    void* const memory
        = mmap(nullptr, sizeof(GrabWatchdog::Turns), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    return memory == MAP_FAILED ? nullptr : new (memory) GrabWatchdog::Turns(0);
}

/// Runs in the child of a process with threads: system calls only.
[[noreturn]] void watch(int epoll, int device, const GrabWatchdog::Turns& turns, int released)
{
    prctl(PR_SET_NAME, "quenstal-guard");
    // Out of reach of a terminal that stops its foreground group.
    setsid();
    for (;;) {
        epoll_event event{};
        const int count = epoll_wait(epoll, &event, 1, -1);
        if (count != 1 && errno == EINTR)
            continue;
        // The owner notices the exit and releases the keyboards, which would be unguarded.
        if (count != 1)
            _exit(1);
        if (event.data.fd == lifelineMark)
            _exit(0);
        if (!readerHasStalled(device, turns))
            continue;
        ioctl(device, EVIOCGRAB, 0);
        const char mark = 1;
        if (write(released, &mark, 1) != 1)
            _exit(1);
    }
}

} // namespace

GrabWatchdog::GrabWatchdog(int device)
{
    // One at a time: a guard must not inherit the ends of another's pipes.
    static std::mutex mutex;
    const std::lock_guard lock(mutex);
    std::array<int, 2> released{};
    std::array<int, 2> lifeline{};
    if (pipe2(released.data(), O_CLOEXEC | O_NONBLOCK) != 0)
        return;
    released_ = FileDescriptor(released[0]);
    const FileDescriptor releasedEnd(released[1]);
    if (pipe2(lifeline.data(), O_CLOEXEC) != 0)
        return;
    const FileDescriptor lifelineEnd(lifeline[0]);
    lifeline_ = FileDescriptor(lifeline[1]);
    // Created here: a guard that fails to could not report that.
    const FileDescriptor epoll = waitingPlace(device, lifelineEnd.get());
    if (!epoll)
        return;
    turns_.reset(sharedTurns());
    if (!turns_)
        return;
    process_ = fork();
    if (process_ == 0) {
        close(lifeline[1]);
        watch(epoll.get(), device, *turns_, released[1]);
    }
}

void GrabWatchdog::Unmap::operator()(Turns* turns) const
{
    munmap(turns, sizeof *turns);
}

GrabWatchdog::~GrabWatchdog()
{
    if (process_ <= 0)
        return;
    // Closing the lifeline is not enough: the guards of other keyboards that started later hold copies of it.
    kill(process_, SIGKILL);
    waitpid(process_, nullptr, 0);
}

} // namespace quenstal
