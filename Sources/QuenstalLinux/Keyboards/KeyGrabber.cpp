#include "QuenstalLinux/Keyboards/KeyGrabber.hpp"

#include "QuenstalLinux/Keyboards/GrabWatchdog.hpp"
#include "QuenstalLinux/Keyboards/GrabbedKeyboard.hpp"

#include <algorithm>
#include <array>
#include <memory>
#include <optional>
#include <utility>

#include <poll.h>
#include <sys/eventfd.h>

namespace quenstal {

namespace {

using Clock = std::chrono::steady_clock;
using Loss = KeyGrabber::Loss;

constexpr int nothing = -1;
constexpr int forever = -1;
/// How long a shift key is held for a letter.
constexpr auto longestEnd = std::chrono::milliseconds(500);

pollfd waitFor(int descriptor)
{
    return {descriptor, POLLIN, 0};
}

int millisecondsUntil(Clock::time_point end)
{
    const auto left = std::max(end - Clock::now(), Clock::duration::zero());
    return static_cast<int>(std::chrono::ceil<std::chrono::milliseconds>(left).count());
}

/// What becomes of one keyboard, step by step. On the thread.
class Holding {
public:
    Holding(const std::string& node, const KeyGrabber::Patience& patience, VolumeKeyFilter::Press press, int wake)
        : patience_(patience)
        , wake_(wake)
        , keyboard_(node, std::move(press))
    {
    }
    /// The keyboard is freed while it is still guarded, and while no key is held: a shift key that goes down on the
    /// clone is to come up there, and in time for the next letter.
    ~Holding()
    {
        const Clock::time_point end = Clock::now() + longestEnd;
        awaitReleaseOnClone(end);
        keyboard_.letGo();
        awaitReleaseOnClone(end);
    }
    Holding(const Holding&) = delete;
    Holding& operator=(const Holding&) = delete;

    /// Why it ended; none when it was asked to.
    std::optional<Loss> run()
    {
        if (keyboard_.state() == GrabbedKeyboard::State::gone)
            return Loss::gone;
        // Before there is a clone: it would wait for ever where a key is held for ever.
        if (awaitRelease() && introduceClone() && guard() && grab()) {
            while (turn({})) { }
        }
        return loss_;
    }

private:
    void awaitReleaseOnClone(Clock::time_point end)
    {
        while (keyboard_.clone() && keyboard_.clone()->isAnyKeyDown() && Clock::now() < end
            && keyboard_.state() != GrabbedKeyboard::State::gone) {
            pollfd waiting = waitFor(keyboard_.descriptor());
            poll(&waiting, 1, millisecondsUntil(end));
            keyboard_.readEvents();
        }
    }

    bool awaitRelease()
    {
        return until([this] { return !keyboard_.isAnyKeyHeld(); }, patience_.heldKey, Loss::keyHeld);
    }

    bool introduceClone()
    {
        debut_.emplace(patience_.debut);
        if (!keyboard_.makeClone())
            return lose(Loss::notCloned);
        debut_->watch(keyboard_.clone()->place());
        const bool isDone = until([this] { return debut_->isOver(); }, patience_.announcement, Loss::notCloned);
        debut_.reset();
        return isDone;
    }

    bool guard()
    {
        watchdog_.emplace(keyboard_.descriptor());
        return watchdog_->isWatching() || lose(Loss::unguarded);
    }

    bool grab()
    {
        const auto isTried = [this] {
            keyboard_.tryToGrab();
            return keyboard_.state() != GrabbedKeyboard::State::waiting;
        };
        if (!until(isTried, patience_.heldKey, Loss::keyHeld))
            return false;
        return keyboard_.state() != GrabbedKeyboard::State::busy || lose(Loss::busy);
    }

    /// False when it is the loss, because it does not hold in time, or when this ends before.
    template <typename Condition>
    bool until(Condition holds, std::chrono::milliseconds limit, Loss loss)
    {
        const Clock::time_point end = Clock::now() + limit;
        while (!holds()) {
            if (Clock::now() >= end)
                return lose(loss);
            if (!turn(debut_ ? std::min(end, debut_->overAt().value_or(end)) : end))
                return false;
        }
        return true;
    }

    /// Waits for events, until then at the latest, and deals with them. False when this is to end.
    bool turn(const std::optional<Clock::time_point>& end)
    {
        if (keyboard_.state() == GrabbedKeyboard::State::gone)
            return lose(Loss::gone);
        std::array waiting{waitFor(wake_), waitFor(watchdog_ ? watchdog_->releasedDescriptor() : nothing),
            waitFor(keyboard_.descriptor()), waitFor(keyboard_.clone() ? keyboard_.clone()->descriptor() : nothing),
            waitFor(debut_ ? debut_->announcements() : nothing), waitFor(debut_ ? debut_->openings() : nothing)};
        poll(waiting.data(), waiting.size(), end ? millisecondsUntil(*end) : forever);
        if (watchdog_)
            watchdog_->readerTurns();
        const auto& [wake, released, keyboard, clone, announcements, openings] = waiting;
        if (wake.revents != 0)
            return false;
        if (released.revents != 0)
            return lose(Loss::stalled);
        if (keyboard.revents != 0)
            keyboard_.readEvents();
        if (clone.revents != 0)
            keyboard_.clone()->passLights();
        if (announcements.revents != 0 || openings.revents != 0)
            debut_->readNews();
        return true;
    }

    bool lose(Loss loss)
    {
        loss_ = loss;
        return false;
    }

    const KeyGrabber::Patience& patience_;
    int wake_;
    std::optional<Loss> loss_;
    std::optional<CloneDebut> debut_;
    GrabbedKeyboard keyboard_;
    std::optional<GrabWatchdog> watchdog_;
};

} // namespace

KeyGrabber::KeyGrabber(const std::string& node, const Patience& patience, Handlers handlers)
    : wake_(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK))
    , thread_([node, patience, handlers = std::move(handlers), wake = wake_.get()] {
        auto holding = std::make_unique<Holding>(node, patience, handlers.press, wake);
        const std::optional<Loss> loss = holding->run();
        holding.reset();
        if (loss)
            handlers.lost(*loss);
    })
{
}

KeyGrabber::~KeyGrabber()
{
    end();
    thread_.join();
}

void KeyGrabber::end()
{
    eventfd_write(wake_.get(), 1);
}

} // namespace quenstal
