#include "Machine/Emulator.hpp"

#include "Machine/MachineLoop.hpp"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <thread>

#include <fcntl.h>
#include <nlohmann/json.hpp>
#include <unistd.h>

namespace quenstal {
namespace {

namespace fs = std::filesystem;
using nlohmann::json;

/// The node of the port that the machine was given for this; empty when there is none.
fs::path portNode()
{
    std::error_code none;
    for (const auto& port : fs::directory_iterator("/sys/class/virtio-ports", none)) {
        std::string name;
        std::ifstream(port.path() / "name") >> name;
        if (name == "emulator")
            return "/dev" / port.path().filename();
    }
    return {};
}

json command(const std::string& name, const json& arguments = json::object())
{
    return {{"execute", name}, {"arguments", arguments}};
}

json keyEvent(const std::string& key, bool isDown)
{
    const json code{{"type", "qcode"}, {"data", key}};
    return {{"type", "key"}, {"data", {{"down", isDown}, {"key", code}}}};
}

} // namespace

bool Emulator::isPresent()
{
    return !portNode().empty();
}

Emulator::Emulator()
    : port_(open(portNode().c_str(), O_RDWR | O_CLOEXEC))
{
    if (!port_)
        throw std::runtime_error("no way to the emulator");
    // It is silent but for a greeting, until it is asked for what it can do.
    execute(command("qmp_capabilities").dump());
}

void Emulator::press(const std::string& key, std::chrono::milliseconds held)
{
    keyDown(key);
    std::this_thread::sleep_for(held);
    keyUp(key);
}

void Emulator::sendKey(const std::string& key, bool isDown)
{
    execute(command("input-send-event", {{"events", json::array({keyEvent(key, isDown)})}}).dump());
}

void Emulator::pullOut(const std::string& device)
{
    execute(command("device_del", {{"id", device}}).dump());
}

void Emulator::plugInKeyboard(const std::string& device)
{
    execute(command("device_add", {{"driver", "usb-kbd"}, {"id", device}}).dump());
}

void Emulator::record(const std::string& backEnd, const std::string& file)
{
    const char* const outside = std::getenv("QUENSTAL_MACHINE_OUT");
    if (!outside)
        throw std::runtime_error("it is not known where the host sees /out");
    const std::string line = "wavcapture " + std::string(outside) + "/" + file + " " + backEnd + " 48000 16 2";
    execute(command("human-monitor-command", {{"command-line", line}}).dump());
}

void Emulator::stopRecording()
{
    execute(command("human-monitor-command", {{"command-line", "stopcapture 0"}}).dump());
}

void Emulator::execute(const std::string& command)
{
    const std::string line = command + "\n";
    if (write(port_.get(), line.data(), line.size()) != static_cast<ssize_t>(line.size()))
        throw std::runtime_error("the emulator does not listen");
    for (;;) {
        // Its greeting and its events come in between.
        const json answer = json::parse(readLine());
        if (answer.contains("error"))
            throw std::runtime_error(command + ": " + answer["error"].dump());
        if (!answer.contains("return"))
            continue;
        // The older commands answer with text, which is a complaint.
        if (answer["return"].is_string() && answer["return"] != "")
            throw std::runtime_error(command + ": " + answer["return"].get<std::string>());
        return;
    }
}

std::string Emulator::readLine()
{
    std::string line;
    for (char character = 0; read(port_.get(), &character, 1) == 1;) {
        if (character == '\n')
            return line;
        line += character;
    }
    throw std::runtime_error("the emulator has gone silent");
}

void loadModules(const std::string& names)
{
    if (std::system(("modprobe -a " + names).c_str()) != 0)
        throw std::runtime_error("cannot load " + names);
    constexpr auto usualLimit = std::chrono::seconds(60);
    const std::string limit = std::to_string(slowed(usualLimit).count());
    if (std::system(("udevadm settle --timeout=" + limit).c_str()) != 0)
        throw std::runtime_error("the devices of " + names + ": " + gaveUpAfter(usualLimit));
}

} // namespace quenstal
