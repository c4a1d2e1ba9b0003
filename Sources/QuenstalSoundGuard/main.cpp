// The guard of the sound: a process that a program starts beside itself while it makes the volume in software, and that
// gives the sound back when the program is held up.
//
//   quenstal-sound-guard LIFELINE MEMORY STREAM TARGET    two descriptors, two nodes' names

#include "QuenstalLinux/Audio/SoundGuardRecord.hpp"
#include "QuenstalLinux/Bus/EventLoop.hpp"
#include "QuenstalLinux/FileDescriptor.hpp"
#include "QuenstalSoundGuard/HeldUp.hpp"
#include "QuenstalSoundGuard/SoundReturn.hpp"

#include <cstdio>
#include <cstdlib>
#include <exception>
#include <memory>
#include <optional>
#include <string>
#include <utility>

#include <sys/mman.h>
#include <system_error>
#include <unistd.h>

namespace quenstal {
namespace {

using namespace std::chrono_literals;

constexpr auto restInterval = 400ms;
constexpr auto alertInterval = 100ms;
/// A stop of less than that is nobody's business. Looks are counted, and not time: when the whole machine was asleep,
/// or this process was stopped too, nothing was seen.
constexpr int looksUntilSure = 8;

class Guard {
public:
    Guard(EventLoop& loop, pid_t owner, SoundReturn::Names names, SoundGuardRecord& record)
        : loop_(loop)
        , owner_(owner)
        , names_(std::move(names))
        , record_(record)
    {
        lookAgain();
    }

private:
    void lookAgain()
    {
        next_ = loop_.after(looks_ > 0 ? alertInterval : restInterval, [this] { look(); });
    }
    void look()
    {
        // However short the owner's life between two stops was: it may have led the sound away again, or not yet.
        const bool isAtStake = givenBack_ != record_.paths.load();
        looks_ = isAtStake && isHeldUp(owner_) ? looks_ + 1 : 0;
        if (looks_ >= looksUntilSure && !giving_)
            giveBack();
        lookAgain();
    }
    void giveBack()
    {
        const std::uint32_t path = record_.paths.load();
        giving_.emplace(loop_, owner_, names_, record_, [this, path](bool isBack) {
            if (isBack)
                givenBack_ = path;
            giving_.reset();
            // Another try comes after as many looks.
            looks_ = 0;
        });
    }

    EventLoop& loop_;
    const pid_t owner_;
    const SoundReturn::Names names_;
    SoundGuardRecord& record_;
    int looks_ = 0;
    /// The path whose sound was given back last; the program begins with none.
    std::uint32_t givenBack_ = 0;
    std::optional<SoundReturn> giving_;
    Cancellation next_;
};

int run(int lifeline, int memory, SoundReturn::Names names)
{
    const pid_t owner = getppid();
    EventLoop loop;
    const FileDescriptor lifelineEnd(lifeline);
    const FileDescriptor sharedMemory(memory);
    void* const place
        = mmap(nullptr, sizeof(SoundGuardRecord), PROT_READ | PROT_WRITE, MAP_SHARED, sharedMemory.get(), 0);
    if (place == MAP_FAILED)
        throw std::system_error(errno, std::generic_category(), "no shared memory");
    // Nothing is ever sent: it is readable when the other end has gone.
    const Cancellation watch = loop.watchReadable(lifelineEnd.get(), [&loop] { loop.exit(EXIT_SUCCESS); });
    const Guard guard(loop, owner, std::move(names), *static_cast<SoundGuardRecord*>(place));
    return loop.run();
}

} // namespace
} // namespace quenstal

int main(int argc, char** argv)
{
    try {
        if (argc != 5)
            throw std::runtime_error("it is started by quenstal, and by nobody else");
        return quenstal::run(std::stoi(argv[1]), std::stoi(argv[2]), {argv[3], argv[4]});
    } catch (const std::exception& error) {
        std::fprintf(stderr, "The guard of the sound cannot run: %s.\n", error.what());
        return EXIT_FAILURE;
    }
}
