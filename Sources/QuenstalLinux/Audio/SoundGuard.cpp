#include "QuenstalLinux/Audio/SoundGuard.hpp"

#include <array>
#include <csignal>
#include <filesystem>
#include <new>
#include <utility>

#include <pipewire/log.h>
#include <spawn.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <system_error>
#include <unistd.h>

extern char** environ;

namespace quenstal {

namespace {

using namespace std::chrono_literals;

/// Whoever ends it again and again is let alone for this long each time.
constexpr auto restartPause = 1s;

/// What a child is started with. Another thread's files must not leak into it, so that both ends are close-on-exec and
/// handed over one by one.
class Spawning {
public:
    Spawning()
    {
        posix_spawn_file_actions_init(&files_);
        posix_spawnattr_init(&attributes_);
        sigset_t none;
        sigemptyset(&none);
        posix_spawnattr_setsigmask(&attributes_, &none);
        // Out of reach of a terminal that stops its foreground group.
        posix_spawnattr_setflags(&attributes_, POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSID);
    }
    ~Spawning()
    {
        posix_spawnattr_destroy(&attributes_);
        posix_spawn_file_actions_destroy(&files_);
    }
    Spawning(const Spawning&) = delete;
    Spawning& operator=(const Spawning&) = delete;

    void handOver(int descriptor) { posix_spawn_file_actions_adddup2(&files_, descriptor, descriptor); }
    /// The process; −1 when there is none.
    pid_t start(std::array<std::string, 5> words) const
    {
        std::array<char*, 6> arguments{};
        for (std::size_t i = 0; i < words.size(); ++i)
            arguments[i] = words[i].data();
        pid_t process = -1;
        const int status = posix_spawn(&process, words[0].c_str(), &files_, &attributes_, arguments.data(), environ);
        return status == 0 ? process : -1;
    }

private:
    posix_spawn_file_actions_t files_{};
    posix_spawnattr_t attributes_{};
};

} // namespace

SoundGuard::SoundGuard(RunLoop& runLoop, std::string program, std::string nodeName, std::string targetName)
    : runLoop_(runLoop)
    , program_(std::move(program))
    , nodeName_(std::move(nodeName))
    , targetName_(std::move(targetName))
{
    memory_ = FileDescriptor(memfd_create("quenstal-sound-guard", MFD_CLOEXEC));
    if (program_.empty() || !memory_ || ftruncate(memory_.get(), sizeof(SoundGuardRecord)) != 0)
        return;
    void* const place = mmap(nullptr, sizeof(SoundGuardRecord), PROT_READ | PROT_WRITE, MAP_SHARED, memory_.get(), 0);
    if (place == MAP_FAILED)
        return;
    record_ = new (place) SoundGuardRecord{};
    start();
}

SoundGuard::~SoundGuard()
{
    restart_.reset();
    end();
    if (record_)
        munmap(record_, sizeof(SoundGuardRecord));
}

void SoundGuard::start()
{
    std::array<int, 2> ends{};
    if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends.data()) != 0)
        return;
    FileDescriptor own(ends[0]);
    const FileDescriptor guards(ends[1]);
    Spawning spawning;
    spawning.handOver(guards.get());
    spawning.handOver(memory_.get());
    process_ = spawning.start(
        {program_, std::to_string(guards.get()), std::to_string(memory_.get()), nodeName_, targetName_});
    if (process_ <= 0) {
        pw_log_warn("Quenstal: the guard of the sound cannot be started: %s", program_.c_str());
        return;
    }
    lifeline_ = std::move(own);
    watch_ = runLoop_.watchReadable(lifeline_.get(), [this] {
        end();
        restart_ = runLoop_.after(restartPause, [this] { start(); });
    });
}

void SoundGuard::end()
{
    watch_.reset();
    lifeline_ = FileDescriptor();
    if (process_ <= 0)
        return;
    // One that was stopped would not see the end of the lifeline.
    kill(process_, SIGKILL);
    waitpid(process_, nullptr, 0);
    process_ = -1;
}

void SoundGuard::setDirectGain(float gain, bool isHeard)
{
    if (record_)
        record_->directPath.store({gain, isHeard});
}

void SoundGuard::pathBegins()
{
    if (record_)
        record_->paths.fetch_add(1);
}

std::optional<SoundGuard::Lowered> SoundGuard::lowered() const
{
    if (!record_ || !record_->isLowered.load() || record_->loweredPath == record_->paths.load())
        return std::nullopt;
    return Lowered{record_->before.volume(), record_->lowered.volume()};
}

void SoundGuard::forgetLowered()
{
    if (record_)
        record_->isLowered.store(false);
}

std::string soundGuardProgram()
{
    std::error_code error;
    const auto folder = std::filesystem::read_symlink("/proc/self/exe", error).parent_path();
    const auto beside = folder / "quenstal-sound-guard";
    return std::filesystem::exists(beside, error) ? beside : folder / "../libexec/quenstal-sound-guard";
}

} // namespace quenstal
