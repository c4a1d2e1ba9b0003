#pragma once

#include "Machine/Emulator.hpp"
#include "QuenstalLinux/FileDescriptor.hpp"

#include <chrono>
#include <cstdint>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

namespace quenstal {

/// A keyboard as every other program sees it: reads its keys without taking it over. One thread.
class KeyboardReader {
public:
    using Key = std::pair<std::uint16_t, std::int32_t>;

    explicit KeyboardReader(const std::string& node);

    /// Codes and values of the keys since the last call, waiting until there are as many as that, or for the limit,
    /// which is longer on a slower machine.
    std::vector<Key> keys(std::size_t atLeast = 0, std::chrono::milliseconds limit = std::chrono::milliseconds(5000));
    bool isLit(std::uint16_t light) const;
    /// What a desktop does when a lock key is pressed.
    void light(std::uint16_t light, bool isLit);

private:
    FileDescriptor file_;
};

/// The nodes of the keyboards with this name that may be opened.
std::vector<std::string> keyboardNodes(const std::string& name);
/// The first of them, once there is one. Throws when none comes.
std::string keyboardNode(const std::string& name);
/// Whether there comes to be none any more.
testing::AssertionResult keyboardGoes(const std::string& name);

/// The machine's USB keyboard, which the emulator knows as "keyboard", and who hears it. One thread.
class UsbKeyboard {
public:
    static constexpr const char* name = "QEMU QEMU USB Keyboard";
    static constexpr const char* cloneName = "Quenstal QEMU QEMU USB Keyboard";

    /// Waits for it. Throws when it does not come.
    explicit UsbKeyboard(Emulator& emulator);

    /// What the kernel gives to everyone who does not take the keyboard over.
    KeyboardReader& itself() { return itself_; }
    /// The clone, once it hears what the keyboard itself no longer tells. Throws when that does not come about.
    std::unique_ptr<KeyboardReader> openCloneOnceGrabbed();
    /// Whether a key pressed now, or in a moment, reaches everyone whole.
    testing::AssertionResult becomesFree();

private:
    Emulator& emulator_;
    KeyboardReader itself_;
};

} // namespace quenstal
