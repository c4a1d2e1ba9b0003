#include "QuenstalLinux/Keys/EmulatedKeyboard.hpp"

#include "QuenstalLinux/FileDescriptor.hpp"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <string_view>

#include <fcntl.h>
#include <linux/input.h>
#include <linux/sockios.h>
#include <linux/uinput.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <system_error>
#include <unistd.h>

namespace quenstal {

namespace {

constexpr const char* systemsUinput = "/dev/uinput";
constexpr unsigned capabilitiesRequest = 0x20;

constexpr const char* anotherNode = "/dev/input/event7";
constexpr const char* clonePath = "/sys/devices/virtual/input/input9/event9";

std::string keyboardDevice(const std::string& number, const std::string& keys)
{
    const std::string input = "/devices/keyboard/input/input" + number;
    return "P: " + input + "\nE: SUBSYSTEM=input\nA: name=Test keyboard\nA: capabilities/key=" + keys
        + "\n\nP: " + input + "/event" + number + "\nN: input/event" + number
        + "\nE: SUBSYSTEM=input\nE: ID_INPUT_KEYBOARD=1\nE: DEVNAME=/dev/input/event" + number
        + "\nA: dev=13:" + std::to_string(64 + std::stoi(number)) + "\n";
}

constexpr const char* otherDevices
    = "P: /devices/mouse/input/input6\nE: SUBSYSTEM=input\nA: name=Test mouse\n"
      "A: capabilities/key=1f0000 0 0 0 0\n\n"
      "P: /devices/mouse/input/input6/event6\nN: input/event6\nE: SUBSYSTEM=input\n"
      "E: DEVNAME=/dev/input/event6\nA: dev=13:70\n\n"
      "P: /devices/virtual/input/input9\nE: SUBSYSTEM=input\nA: name=Quenstal Test keyboard\n"
      "A: capabilities/key=0\n\n"
      "P: /devices/virtual/input/input9/event9\nN: input/event9\nE: SUBSYSTEM=input\n"
      "E: DEVNAME=/dev/input/event9\nA: dev=13:73\n\n"
      "P: /devices/virtual/misc/uinput\nN: uinput\nE: SUBSYSTEM=misc\nE: DEVNAME=/dev/uinput\nA: dev=10:223\n";

void answer(UMockdevIoctlClient* client, const void* bytes, std::size_t size)
{
    UMockdevIoctlData* const argument = umockdev_ioctl_client_get_arg(client);
    const std::size_t room = _IOC_SIZE(umockdev_ioctl_client_get_request(client));
    g_autoptr(UMockdevIoctlData) buffer = umockdev_ioctl_data_resolve(argument, 0, room, nullptr);
    std::vector<guint8> answer(room, 0);
    std::memcpy(answer.data(), bytes, std::min(size, room));
    umockdev_ioctl_data_update(buffer, 0, answer.data(), static_cast<int>(room));
    umockdev_ioctl_client_complete(client, static_cast<glong>(std::min(size, room)), 0);
}

/// Whether the descriptor is a socket whose other end has not read all that was written.
bool hasUnreadAnswer(int descriptor)
{
    struct stat file { };
    int unread = 0;
    return fstat(descriptor, &file) == 0 && S_ISSOCK(file.st_mode) && ioctl(descriptor, SIOCOUTQ, &unread) == 0
        && unread > 0;
}

bool hasChildProcess()
{
    siginfo_t child{};
    return waitid(P_ALL, 0, &child, WEXITED | WNOHANG | WNOWAIT) == 0;
}

/// The keyboard's bitmap of that number; empty where it has nothing.
std::array<unsigned char, KEY_MAX / 8 + 1> capabilities(unsigned kind)
{
    std::array<unsigned char, KEY_MAX / 8 + 1> bits{};
    switch (kind) {
    case EV_SYN:
        bits[0] = 1 << EV_SYN | 1 << EV_KEY | 1 << EV_MSC;
        bits[EV_LED / 8] |= 1 << EV_LED % 8;
        break;
    case EV_KEY:
        std::fill_n(bits.begin(), 24, 0xFF);
        break;
    case EV_MSC:
        bits[0] = 1 << MSC_SCAN | 1 << MSC_RAW;
        break;
    case EV_LED:
        bits[0] = 1 << LED_NUML | 1 << LED_CAPSL;
        break;
    default:
        break;
    }
    return bits;
}

std::vector<input_event> writtenEvents(UMockdevIoctlClient* client)
{
    const UMockdevIoctlData* const argument = umockdev_ioctl_client_get_arg(client);
    const auto size = static_cast<std::size_t>(argument->data_len);
    // Anything else is the description of the clone.
    std::vector<input_event> events(size % sizeof(input_event) == 0 ? size / sizeof(input_event) : 0);
    std::memcpy(events.data(), argument->data, events.size() * sizeof(input_event));
    return events;
}

void acceptWrite(UMockdevIoctlClient* client)
{
    umockdev_ioctl_client_complete(client, umockdev_ioctl_client_get_arg(client)->data_len, 0);
}

} // namespace

KeyGrabber::Patience EmulatedKeyboard::shortPatience()
{
    using namespace std::chrono_literals;
    return {{.afterOpening = 0ms, .afterAnnouncement = 0ms, .longest = 0ms}, 5000ms, 200ms};
}

bool EmulatedKeyboard::isPossible()
{
    const char* preloaded = std::getenv("LD_PRELOAD");
    return preloaded && std::string_view(preloaded).find("umockdev") != std::string_view::npos;
}

EmulatedKeyboard::EmulatedKeyboard()
    : testbed_(umockdev_testbed_new())
    , keyboard_(umockdev_ioctl_base_new())
    , uinput_(umockdev_ioctl_base_new())
{
    umockdev_testbed_add_from_string(testbed_, keyboardDevice("5", allKeys).c_str(), nullptr);
    umockdev_testbed_add_from_string(testbed_, otherDevices, nullptr);
    g_signal_connect(keyboard_, "handle-ioctl", G_CALLBACK(answerKeyboard), this);
    g_signal_connect(keyboard_, "handle-read", G_CALLBACK(answerRead), this);
    g_signal_connect(keyboard_, "handle-write", G_CALLBACK(takeWriteToKeyboard), this);
    g_signal_connect(keyboard_, "client-vanished", G_CALLBACK(forget), this);
    g_signal_connect(uinput_, "handle-ioctl", G_CALLBACK(answerUinput), this);
    g_signal_connect(uinput_, "handle-write", G_CALLBACK(takeWriteToClone), this);
    umockdev_testbed_attach_ioctl(testbed_, node, keyboard_, nullptr);
    umockdev_testbed_attach_ioctl(testbed_, systemsUinput, uinput_, nullptr);
}

EmulatedKeyboard::~EmulatedKeyboard()
{
    umockdev_testbed_detach_ioctl(testbed_, node, nullptr);
    if (hasAnother_)
        umockdev_testbed_detach_ioctl(testbed_, anotherNode, nullptr);
    umockdev_testbed_detach_ioctl(testbed_, systemsUinput, nullptr);
    g_object_unref(keyboard_);
    g_object_unref(uinput_);
    g_object_unref(testbed_);
}

void EmulatedKeyboard::announceRemoval()
{
    umockdev_testbed_uevent(testbed_, "/sys/devices/keyboard/input/input5/event5", "remove");
    umockdev_testbed_remove_device(testbed_, "/sys/devices/keyboard/input/input5");
}

void EmulatedKeyboard::plugInAnother(const std::string& keys)
{
    umockdev_testbed_add_from_string(testbed_, keyboardDevice("7", keys).c_str(), nullptr);
    umockdev_testbed_attach_ioctl(testbed_, anotherNode, keyboard_, nullptr);
    hasAnother_ = true;
    umockdev_testbed_uevent(testbed_, "/sys/devices/keyboard/input/input7/event7", "add");
}

void EmulatedKeyboard::removeUinput()
{
    umockdev_testbed_remove_device(testbed_, "/sys/devices/virtual/misc/uinput");
}

void EmulatedKeyboard::type(const std::vector<std::pair<std::uint16_t, std::int32_t>>& keys)
{
    std::vector<Event> events;
    for (const auto& [code, value] : keys)
        events.push_back({EV_KEY, code, value});
    tell(events);
}

void EmulatedKeyboard::tell(const std::vector<Event>& events)
{
    for (const Event& event : events) {
        send(node, event);
        send(node, {EV_SYN, SYN_REPORT, 0});
    }
}

void EmulatedKeyboard::setLight(std::uint16_t light, bool isOn)
{
    send(systemsUinput, {EV_LED, light, isOn ? 1 : 0});
}

/// From the kernel's side of a device.
void EmulatedKeyboard::send(const char* device, const Event& event)
{
    input_event bytes{};
    bytes.type = event.type;
    bytes.code = event.code;
    bytes.value = event.value;
    const int kernelsSide = umockdev_testbed_get_dev_fd(testbed_, device);
    if (write(kernelsSide, &bytes, sizeof bytes) != sizeof bytes)
        throw std::system_error(errno, std::generic_category(), device);
}

bool EmulatedKeyboard::hasAnsweredAll() const
{
    // One thread answers in turn: when it has answered this, nothing from before is left to answer.
    const FileDescriptor device(open(node, O_RDWR | O_NONBLOCK | O_CLOEXEC));
    int version = 0;
    if (ioctl(device.get(), EVIOCGVERSION, &version) < 0)
        return false;
    const std::filesystem::directory_iterator descriptors("/proc/self/fd");
    return std::none_of(begin(descriptors), end(descriptors),
        [](const auto& entry) { return hasUnreadAnswer(std::stoi(entry.path().filename().string())); });
}

std::vector<std::string> EmulatedKeyboard::passed()
{
    const std::lock_guard lock(mutex_);
    return passed_;
}

std::vector<std::string> EmulatedKeyboard::lights()
{
    const std::lock_guard lock(mutex_);
    return lights_;
}

void EmulatedKeyboard::endStall()
{
    const std::lock_guard lock(mutex_);
    stallsWriters_ = false;
    for (UMockdevIoctlClient* writer : stalledWriters_) {
        acceptWrite(writer);
        g_object_unref(writer);
    }
    stalledWriters_.clear();
}

void EmulatedKeyboard::answerGrab(UMockdevIoctlClient* client)
{
    const bool grabs = *reinterpret_cast<const long*>(umockdev_ioctl_client_get_arg(client)->data) != 0;
    if (grabs && grabIsRefused_) {
        umockdev_ioctl_client_complete(client, -1, EBUSY);
        return;
    }
    if (grabs && !hasChildProcess())
        wasAlwaysGuarded_ = false;
    isGrabbed_ = grabs;
    grabs_ += grabs ? 1 : 0;
    umockdev_ioctl_client_complete(client, 0, 0);
}

gboolean EmulatedKeyboard::answerKeyboard(UMockdevIoctlBase*, UMockdevIoctlClient* client, gpointer self)
{
    auto& keyboard = *static_cast<EmulatedKeyboard*>(self);
    const unsigned long request = umockdev_ioctl_client_get_request(client);
    const unsigned number = _IOC_NR(request);
    keyboard.askers_.insert(client);
    if (request == EVIOCGRAB) {
        keyboard.answerGrab(client);
    } else if (keyboard.isPulledOut_) {
        umockdev_ioctl_client_complete(client, -1, ENODEV);
    } else if (number == _IOC_NR(EVIOCGVERSION)) {
        const int version = 0x10001;
        answer(client, &version, sizeof version);
    } else if (number == _IOC_NR(EVIOCGNAME(0))) {
        answer(client, "Test keyboard", sizeof "Test keyboard");
    } else if (number == _IOC_NR(EVIOCGKEY(0))) {
        std::array<unsigned char, KEY_MAX / 8 + 1> held{};
        held[KEY_A / 8] = keyboard.isHeld_ ? 1 << KEY_A % 8 : 0;
        answer(client, held.data(), held.size());
    } else {
        const auto bits = capabilities(number - capabilitiesRequest);
        answer(client, bits.data(), bits.size());
    }
    return TRUE;
}

gboolean EmulatedKeyboard::answerUinput(UMockdevIoctlBase*, UMockdevIoctlClient* client, gpointer self)
{
    auto& keyboard = *static_cast<EmulatedKeyboard*>(self);
    const unsigned long request = umockdev_ioctl_client_get_request(client);
    if (request == UI_DEV_CREATE && keyboard.cloneIsRefused_) {
        umockdev_ioctl_client_complete(client, -1, ENOMEM);
        return TRUE;
    }
    if (request == UI_DEV_CREATE) {
        ++keyboard.clones_;
        ++keyboard.clonesEver_;
        umockdev_testbed_uevent(keyboard.testbed_, clonePath, "add");
    }
    if (request == UI_DEV_DESTROY)
        --keyboard.clones_;
    if (request == UI_GET_VERSION) {
        const unsigned version = 5;
        answer(client, &version, sizeof version);
    } else if (_IOC_NR(request) == _IOC_NR(UI_GET_SYSNAME(0))) {
        answer(client, "input9", sizeof "input9");
    } else {
        umockdev_ioctl_client_complete(client, 0, 0);
    }
    return TRUE;
}

void EmulatedKeyboard::note(UMockdevIoctlClient* client, std::vector<std::string>& journal)
{
    for (const input_event& event : writtenEvents(client)) {
        if (event.type == EV_KEY && pullsOut_)
            isPulledOut_ = true;
        if (event.type != EV_SYN)
            journal.push_back(
                std::to_string(event.type) + " " + std::to_string(event.code) + " " + std::to_string(event.value));
    }
}

gboolean EmulatedKeyboard::takeWriteToClone(UMockdevIoctlBase*, UMockdevIoctlClient* client, gpointer self)
{
    auto& keyboard = *static_cast<EmulatedKeyboard*>(self);
    const std::lock_guard lock(keyboard.mutex_);
    keyboard.note(client, keyboard.passed_);
    for (const input_event& event : writtenEvents(client))
        keyboard.isFrameWhole_ = event.type == EV_SYN;
    if (keyboard.stallsWriters_)
        keyboard.stalledWriters_.push_back(static_cast<UMockdevIoctlClient*>(g_object_ref(client)));
    else
        acceptWrite(client);
    return TRUE;
}

void EmulatedKeyboard::forget(UMockdevIoctlBase*, UMockdevIoctlClient* client, gpointer self)
{
    static_cast<EmulatedKeyboard*>(self)->askers_.erase(client);
}

/// The reading itself is left to the emulation, which has one stream for everyone: whoever asks nothing and only
/// listens, and is told nothing while the keyboard is grabbed, would take the events from the one that has grabbed it.
gboolean EmulatedKeyboard::answerRead(UMockdevIoctlBase*, UMockdevIoctlClient* client, gpointer self)
{
    if (static_cast<EmulatedKeyboard*>(self)->askers_.contains(client))
        return FALSE;
    umockdev_ioctl_client_complete(client, -1, EAGAIN);
    return TRUE;
}

gboolean EmulatedKeyboard::takeWriteToKeyboard(UMockdevIoctlBase*, UMockdevIoctlClient* client, gpointer self)
{
    auto& keyboard = *static_cast<EmulatedKeyboard*>(self);
    const std::lock_guard lock(keyboard.mutex_);
    keyboard.note(client, keyboard.lights_);
    acceptWrite(client);
    return TRUE;
}

} // namespace quenstal
