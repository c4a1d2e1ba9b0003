#include "Machine/Keyboards.hpp"

#include "Machine/MachineLoop.hpp"

#include <algorithm>
#include <array>
#include <filesystem>
#include <fstream>
#include <functional>
#include <stdexcept>

#include <fcntl.h>
#include <linux/input.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <unistd.h>

namespace quenstal {
namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;
namespace fs = std::filesystem;

constexpr auto usualLimit = 30s;

/// What is said of a limit that was met begins with what was waited for.
testing::AssertionResult comesAbout(const std::string& what, const std::function<bool()>& holds)
{
    const auto end = Clock::now() + slowed(usualLimit);
    while (!holds()) {
        if (Clock::now() > end)
            return testing::AssertionFailure() << what << ": " << gaveUpAfter(usualLimit);
        poll(nullptr, 0, 10);
    }
    return testing::AssertionSuccess();
}

void require(const testing::AssertionResult& result)
{
    if (!result)
        throw std::runtime_error(result.message());
}

} // namespace

KeyboardReader::KeyboardReader(const std::string& node)
    : file_(open(node.c_str(), O_RDWR | O_NONBLOCK | O_CLOEXEC))
{
}

std::vector<KeyboardReader::Key> KeyboardReader::keys(std::size_t atLeast, std::chrono::milliseconds limit)
{
    std::vector<Key> keys;
    const auto end = Clock::now() + slowed(limit);
    for (;;) {
        input_event event{};
        if (read(file_.get(), &event, sizeof event) == sizeof event) {
            if (event.type == EV_KEY)
                keys.emplace_back(event.code, event.value);
            continue;
        }
        if (keys.size() >= atLeast || Clock::now() > end)
            return keys;
        pollfd entry{file_.get(), POLLIN, 0};
        poll(&entry, 1, 10);
    }
}

bool KeyboardReader::isLit(std::uint16_t light) const
{
    std::array<unsigned char, LED_MAX / 8 + 1> lights{};
    return ioctl(file_.get(), EVIOCGLED(lights.size()), lights.data()) >= 0
        && (lights[light / 8] >> light % 8 & 1) != 0;
}

void KeyboardReader::light(std::uint16_t light, bool isLit)
{
    std::array<input_event, 2> events{};
    events[0].type = EV_LED;
    events[0].code = light;
    events[0].value = isLit ? 1 : 0;
    events[1].type = EV_SYN;
    if (write(file_.get(), events.data(), sizeof events) != sizeof events)
        return; // The light stays as it is, which the test sees.
}

std::vector<std::string> keyboardNodes(const std::string& name)
{
    std::vector<std::string> nodes;
    for (const auto& input : fs::directory_iterator("/sys/class/input")) {
        std::string found;
        std::ifstream file(input.path() / "device/name");
        const std::string node = "/dev/input/" + input.path().filename().string();
        if (std::getline(file, found) && found == name && access(node.c_str(), R_OK | W_OK) == 0)
            nodes.push_back(node);
    }
    return nodes;
}

std::string keyboardNode(const std::string& name)
{
    std::vector<std::string> nodes;
    require(comesAbout("a keyboard named " + name, [&] { return !(nodes = keyboardNodes(name)).empty(); }));
    return nodes.front();
}

testing::AssertionResult keyboardGoes(const std::string& name)
{
    return comesAbout("the end of the keyboard named " + name, [&] { return keyboardNodes(name).empty(); });
}

UsbKeyboard::UsbKeyboard(Emulator& emulator)
    : emulator_(emulator)
    , itself_(keyboardNode(name))
{
}

std::unique_ptr<KeyboardReader> UsbKeyboard::openCloneOnceGrabbed()
{
    auto clone = std::make_unique<KeyboardReader>(keyboardNode(cloneName));
    // The keyboard is grabbed a moment after its clone is made.
    require(comesAbout("a grabbed keyboard whose keys reach its clone", [&] {
        emulator_.press("f12");
        return itself_.keys(2, 200ms).empty() && clone->keys(2).size() == 2;
    }));
    return clone;
}

testing::AssertionResult UsbKeyboard::becomesFree()
{
    const std::vector<KeyboardReader::Key> whole{{KEY_B, 1}, {KEY_B, 0}};
    // The last process that shares the grab may still be ending, or its patience lasts.
    return comesAbout("a free keyboard, whose keys reach everyone", [&] {
        emulator_.press("b");
        return itself_.keys(2, 200ms) == whole;
    });
}

} // namespace quenstal
