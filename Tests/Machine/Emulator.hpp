#pragma once

#include "QuenstalLinux/FileDescriptor.hpp"

#include <chrono>
#include <string>

namespace quenstal {

/// The emulator that the machine under this test runs in, asked from within: it presses the keys of its keyboard,
/// plugs devices in and out, and records what its sound cards play. Each call returns once the emulator has done it,
/// and throws when it refuses. One thread.
class Emulator {
public:
    /// Whether this program runs on an emulated machine at all.
    static bool isPresent();

    Emulator();

    /// Down and up again. Keys have the emulator's names: "a", "volumeup", "audiomute".
    void press(const std::string& key, std::chrono::milliseconds held = std::chrono::milliseconds(20));
    void keyDown(const std::string& key) { sendKey(key, true); }
    void keyUp(const std::string& key) { sendKey(key, false); }
    /// By the name that the device was given on the emulator's command line.
    void pullOut(const std::string& device);
    void plugInKeyboard(const std::string& device);
    /// Records one of its sound back ends to a file below /out, 48 kHz, 16 bits and two channels, until
    /// `stopRecording`.
    void record(const std::string& backEnd, const std::string& file);
    void stopRecording();

private:
    void sendKey(const std::string& key, bool isDown);
    /// One line of JSON.
    void execute(const std::string& command);
    std::string readLine();

    FileDescriptor port_;
};

/// Loads modules of the machine's kernel, separated by spaces, and waits until their devices are there.
void loadModules(const std::string& names);

} // namespace quenstal
