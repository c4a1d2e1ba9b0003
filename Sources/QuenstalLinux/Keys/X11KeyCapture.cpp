#include "QuenstalLinux/Keys/X11KeyCapture.hpp"

#include "QuenstalLinux/Keyboards/KeyAdvice.hpp"
#include "QuenstalLinux/Keys/XkbEvents.h"
#include "QuenstalPlatform/EventTaps.hpp"

#include <algorithm>
#include <array>
#include <utility>

namespace quenstal {

namespace {

struct VolumeKeysym {
    xcb_keysym_t keysym;
    std::int64_t button;
};
constexpr std::array volumeKeysyms{
    VolumeKeysym{0x1008FF11, AuxiliaryButton::soundDown},
    VolumeKeysym{0x1008FF12, AuxiliaryButton::mute},
    VolumeKeysym{0x1008FF13, AuxiliaryButton::soundUp},
};

} // namespace

X11KeyCapture::X11KeyCapture(RunLoop& runLoop, const std::string& display)
    : runLoop_(runLoop)
    , changes_(runLoop)
{
    int screenNumber = 0;
    connection_ = connectToX11(display, screenNumber);
    if (!connection_)
        return;
    root_ = rootWindow(connection_.get(), screenNumber);
    symbols_.reset(xcb_key_symbols_alloc(connection_.get()));
    xkbEvent_ = selectKeymapEvents(connection_.get());
    watch_ = runLoop_.watchReadable(xcb_get_file_descriptor(connection_.get()), [this] { dispatch(); });
}

X11KeyCapture::~X11KeyCapture()
{
    stop();
}

std::vector<X11KeyCapture::Grab> X11KeyCapture::volumeKeys() const
{
    std::vector<Grab> keys;
    for (const VolumeKeysym& volumeKey : volumeKeysyms) {
        const XcbReply<xcb_keycode_t> codes(xcb_key_symbols_get_keycode(symbols_.get(), volumeKey.keysym));
        for (const xcb_keycode_t* code = codes.get(); code && *code != XCB_NO_SYMBOL; ++code)
            keys.push_back({*code, volumeKey.button});
    }
    return keys;
}

/// All keys or none.
X11KeyCapture::Obstacle X11KeyCapture::grab()
{
    if (!connection_)
        return Obstacle::noServer;
    const std::vector<Grab> keys = volumeKeys();
    std::vector<xcb_void_cookie_t> requests;
    for (const Grab& key : keys)
        requests.push_back(xcb_grab_key_checked(
            connection_.get(), 1, root_, XCB_MOD_MASK_ANY, key.keycode, XCB_GRAB_MODE_ASYNC, XCB_GRAB_MODE_ASYNC));
    for (std::size_t i = 0; i < keys.size(); ++i) {
        const XcbReply<xcb_generic_error_t> error(xcb_request_check(connection_.get(), requests[i]));
        if (!error)
            grabs_.push_back(keys[i]);
    }
    // Events that arrived with the answers are in memory already, so the descriptor does not report them.
    queuedEvents_ = runLoop_.after(RunLoop::Duration::zero(), [this] { dispatch(); });
    if (grabs_.size() == keys.size() && !keys.empty())
        return Obstacle::none;
    ungrab();
    return keys.empty() ? Obstacle::noKeys : Obstacle::ownedByOther;
}

void X11KeyCapture::ungrab()
{
    for (const Grab& key : grabs_)
        xcb_ungrab_key(connection_.get(), key.keycode, root_, XCB_MOD_MASK_ANY);
    grabs_.clear();
    heldKey_.reset();
    if (connection_)
        xcb_flush(connection_.get());
}

bool X11KeyCapture::isPossible()
{
    if (listener_)
        return true;
    if (!probedAt_ || runLoop_.steadyNow() - *probedAt_ >= probeLifetime)
        probe();
    return obstacle_ == Obstacle::none;
}

void X11KeyCapture::probe()
{
    const Obstacle before = obstacle_;
    probedAt_ = runLoop_.steadyNow();
    obstacle_ = grab();
    ungrab();
    awaitFreeKeys();
    if (before == Obstacle::ownedByOther && obstacle_ == Obstacle::none)
        changes_.notify();
}

void X11KeyCapture::awaitFreeKeys()
{
    if (obstacle_ == Obstacle::ownedByOther)
        retry_ = runLoop_.after(retryPause, [this] { probe(); });
    else
        retry_.reset();
}

std::string X11KeyCapture::obstacle()
{
    if (isPossible())
        return {};
    switch (obstacle_) {
    case Obstacle::ownedByOther:
        return KeyAdvice::keysTaken;
    case Obstacle::noKeys:
        return KeyAdvice::noKeysInLayout;
    case Obstacle::noServer:
    case Obstacle::none:
        break;
    }
    return {};
}

bool X11KeyCapture::start(KeyCaptureListener& listener)
{
    probedAt_ = runLoop_.steadyNow();
    obstacle_ = grab();
    awaitFreeKeys();
    if (obstacle_ == Obstacle::none)
        listener_ = &listener;
    return listener_ != nullptr;
}

void X11KeyCapture::stop()
{
    listener_ = nullptr;
    ungrab();
}

void X11KeyCapture::dispatch()
{
    while (connection_) {
        const XcbReply<xcb_generic_event_t> event(xcb_poll_for_event(connection_.get()));
        if (!event)
            break;
        handle(*event);
    }
    if (connection_ && xcb_connection_has_error(connection_.get()))
        loseServer();
}

void X11KeyCapture::handle(const xcb_generic_event_t& event)
{
    constexpr std::uint8_t sentByAClient = 0x80;
    if (event.response_type & sentByAClient)
        return;
    // All core key events share their layout.
    if (event.response_type == XCB_KEY_PRESS)
        keyPressed(reinterpret_cast<const xcb_key_press_event_t&>(event).detail);
    else if (event.response_type == XCB_KEY_RELEASE)
        keyReleased(reinterpret_cast<const xcb_key_release_event_t&>(event).detail);
    else if (event.response_type == XCB_MAPPING_NOTIFY)
        keymapChanged();
    else if (xkbEvent_ != 0 && event.response_type == xkbEvent_ && isKeymapChange(&event))
        keymapChanged();
}

void X11KeyCapture::keyPressed(xcb_keycode_t keycode)
{
    const auto grabbed = std::ranges::find(grabs_, keycode, &Grab::keycode);
    if (!listener_ || grabbed == grabs_.end())
        return;
    const bool isRepeat = heldKey_ == keycode;
    heldKey_ = keycode;
    listener_->volumeKeyDown(grabbed->button, isRepeat);
}

void X11KeyCapture::keyReleased(xcb_keycode_t keycode)
{
    if (heldKey_ == keycode)
        heldKey_.reset();
}

void X11KeyCapture::keymapChanged()
{
    symbols_.reset(xcb_key_symbols_alloc(connection_.get()));
    probedAt_.reset();
    changes_.notify();
    if (!listener_)
        return;
    ungrab();
    obstacle_ = grab();
    if (obstacle_ != Obstacle::none)
        lose();
}

void X11KeyCapture::loseServer()
{
    watch_.reset();
    grabs_.clear();
    symbols_.reset();
    connection_.reset();
    obstacle_ = Obstacle::noServer;
    retry_.reset();
    changes_.notify();
    lose();
}

void X11KeyCapture::lose()
{
    if (KeyCaptureListener* const listener = std::exchange(listener_, nullptr))
        listener->captureLost();
}

} // namespace quenstal
