#pragma once

#include "QuenstalLinux/Keyboards/KeyGrabber.hpp"

#include <atomic>
#include <cstdint>
#include <mutex>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include <umockdev.h>

namespace quenstal {

/// A keyboard and a uinput whose requests the test answers in place of the kernel; a journal of what was written to
/// both. Needs a program that was started by umockdev.
class EmulatedKeyboard {
public:
    static constexpr const char* node = "/dev/input/event5";
    static constexpr const char* allKeys = "402000000 3803078f800d001 feffffdfffefffff fffffffffffffffe";
    static constexpr const char* muteAlone = "2000000000000 0";

    struct Event {
        std::uint16_t type;
        std::uint16_t code;
        std::int32_t value;
    };

    /// For desktops that open a clone at once, and keys that are held for ever.
    static KeyGrabber::Patience shortPatience();

    /// Whether umockdev started this program.
    static bool isPossible();

    EmulatedKeyboard();
    ~EmulatedKeyboard();
    EmulatedKeyboard(const EmulatedKeyboard&) = delete;
    EmulatedKeyboard& operator=(const EmulatedKeyboard&) = delete;

    void holdKey(bool isHeld) { isHeld_ = isHeld; }
    void refuseGrab(bool isRefused) { grabIsRefused_ = isRefused; }
    /// A uinput that may be opened and makes nothing.
    void refuseClones(bool isRefused) { cloneIsRefused_ = isRefused; }
    /// Whoever writes to the clone waits until `endStall`.
    void stallWriters() { stallsWriters_ = true; }
    void endStall();
    /// Once a key has reached the clone, nothing can be asked of the device any more.
    void pullOutAfterAKey() { pullsOut_ = true; }
    /// The kernel's announcement of the same.
    void announceRemoval();
    /// One more, which nobody types on, with these keys as sysfs prints them.
    void plugInAnother(const std::string& keys = allKeys);
    /// A system without uinput, or one that this program may not use.
    void removeUinput();

    /// Keys and their values as the kernel tells them, a frame each.
    void type(const std::vector<std::pair<std::uint16_t, std::int32_t>>& keys);
    /// Any events, a frame each.
    void tell(const std::vector<Event>& events);
    /// The system sets one of the clone's lights.
    void setLight(std::uint16_t light, bool isOn);

    bool isGrabbed() const { return isGrabbed_; }
    /// Whether every request so far was answered, and whoever asked has taken the answer. A process and its children
    /// share one stream for each device: before one of them goes on, another must have its answer.
    bool hasAnsweredAll() const;
    /// The same, and what the reader of the keyboard has written to the clone is whole. A reader may be stopped or
    /// killed then: it waits.
    bool isReaderAtRest() const { return isFrameWhole_ && hasAnsweredAll(); }
    /// Times that it was grabbed.
    int grabs() const { return grabs_; }
    /// Whether this program had a child process to guard the keyboard, every time that it was grabbed.
    bool wasAlwaysGuarded() const { return wasAlwaysGuarded_; }
    int clones() const { return clones_; }
    /// Those included that are gone.
    int clonesEver() const { return clonesEver_; }
    /// Types, codes and values that reached the clone, without the reports.
    std::vector<std::string> passed();
    /// The same of what was written to the keyboard itself.
    std::vector<std::string> lights();

private:
    static gboolean answerKeyboard(UMockdevIoctlBase* base, UMockdevIoctlClient* client, gpointer self);
    static gboolean answerUinput(UMockdevIoctlBase* base, UMockdevIoctlClient* client, gpointer self);
    static gboolean takeWriteToClone(UMockdevIoctlBase* base, UMockdevIoctlClient* client, gpointer self);
    static void forget(UMockdevIoctlBase* base, UMockdevIoctlClient* client, gpointer self);
    static gboolean answerRead(UMockdevIoctlBase* base, UMockdevIoctlClient* client, gpointer self);
    static gboolean takeWriteToKeyboard(UMockdevIoctlBase* base, UMockdevIoctlClient* client, gpointer self);
    void send(const char* device, const Event& event);
    void answerGrab(UMockdevIoctlClient* client);
    void note(UMockdevIoctlClient* client, std::vector<std::string>& journal);

    bool hasAnother_ = false;
    UMockdevTestbed* testbed_;
    UMockdevIoctlBase* keyboard_;
    UMockdevIoctlBase* uinput_;
    std::atomic<bool> isHeld_ = false;
    std::atomic<bool> grabIsRefused_ = false;
    std::atomic<bool> cloneIsRefused_ = false;
    std::atomic<bool> isGrabbed_ = false;
    std::atomic<int> grabs_ = 0;
    std::atomic<bool> wasAlwaysGuarded_ = true;
    std::atomic<bool> isFrameWhole_ = false;
    std::atomic<bool> stallsWriters_ = false;
    std::atomic<bool> pullsOut_ = false;
    std::atomic<bool> isPulledOut_ = false;
    std::atomic<int> clones_ = 0;
    std::atomic<int> clonesEver_ = 0;
    std::mutex mutex_; // guards the journals and stalledWriters_
    std::vector<std::string> passed_;
    std::vector<std::string> lights_;
    std::vector<UMockdevIoctlClient*> stalledWriters_;
    /// Who has asked the keyboard anything. The emulation's thread only.
    std::set<UMockdevIoctlClient*> askers_;
};

} // namespace quenstal
