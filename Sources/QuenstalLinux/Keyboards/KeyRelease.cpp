#include "QuenstalLinux/Keyboards/KeyRelease.hpp"

#include "QuenstalLinux/FileDescriptor.hpp"

#include <algorithm>
#include <array>
#include <cerrno>
#include <utility>

#include <fcntl.h>
#include <linux/input.h>
#include <sys/ioctl.h>
#include <unistd.h>

namespace quenstal {

namespace {

bool isAnyKeyHeld(int keyboard)
{
    std::array<unsigned char, KEY_MAX / 8 + 1> held{};
    return ioctl(keyboard, EVIOCGKEY(held.size()), held.data()) >= 0
        && std::ranges::any_of(held, [](unsigned char bits) { return bits != 0; });
}

/// Events only show when to ask. Their contents are not needed.
void forgetEvents(int keyboard)
{
    std::array<input_event, 64> events{};
    while (read(keyboard, events.data(), sizeof events) > 0) { }
}

class KeyRelease final : public Interface {
public:
    KeyRelease(RunLoop& runLoop, FileDescriptor keyboard, RunLoop::Task task)
        : keyboard_(std::move(keyboard))
        , task_(std::move(task))
        , events_(runLoop.watchReadable(keyboard_.get(), [this] { look(); }))
        // The key may have been released before the node was opened.
        , firstLook_(runLoop.after(RunLoop::Duration::zero(), [this] { look(); }))
    {
    }

private:
    void look()
    {
        forgetEvents(keyboard_.get());
        if (isAnyKeyHeld(keyboard_.get()))
            return;
        // A copy: the task may destroy this.
        const RunLoop::Task task = task_;
        task();
    }

    FileDescriptor keyboard_;
    RunLoop::Task task_;
    Cancellation events_;
    Cancellation firstLook_;
};

} // namespace

Cancellation whenReleased(RunLoop& runLoop, const std::string& node, RunLoop::Task task)
{
    FileDescriptor keyboard(open(node.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC));
    if (!keyboard)
        return nullptr;
    return std::make_unique<KeyRelease>(runLoop, std::move(keyboard), std::move(task));
}

} // namespace quenstal
