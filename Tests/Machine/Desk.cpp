#include "Machine/Desk.hpp"

#include <algorithm>
#include <array>
#include <cerrno>
#include <numeric>
#include <stdexcept>
#include <string_view>

#include <fcntl.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

namespace quenstal {
namespace {

using namespace std::chrono_literals;

constexpr auto letters
    = std::to_array<std::uint16_t>({KEY_A, KEY_B, KEY_C, KEY_D, KEY_E, KEY_F, KEY_G, KEY_H, KEY_I, KEY_J, KEY_K, KEY_L,
        KEY_M, KEY_N, KEY_O, KEY_P, KEY_Q, KEY_R, KEY_S, KEY_T, KEY_U, KEY_V, KEY_W, KEY_X, KEY_Y, KEY_Z});

bool isTypewriter(udev_device& node)
{
    udev_device* const input = udev_device_get_parent_with_subsystem_devtype(&node, "input", nullptr);
    const char* const name = input ? udev_device_get_sysattr_value(input, "name") : nullptr;
    const char* const path = udev_device_get_devnode(&node);
    return name && path && std::string_view(path).starts_with("/dev/input/event")
        && std::string_view(name).ends_with(Typewriter::name);
}

bool isEarlier(const input_event& one, const input_event& other)
{
    return std::pair(one.input_event_sec, one.input_event_usec)
        < std::pair(other.input_event_sec, other.input_event_usec);
}

} // namespace

Typewriter::Typewriter()
{
    const std::unique_ptr<libevdev, decltype(&libevdev_free)> shape(libevdev_new(), libevdev_free);
    libevdev_set_name(shape.get(), name);
    libevdev_enable_event_type(shape.get(), EV_KEY);
    for (unsigned key = KEY_ESC; key < KEY_MICMUTE; ++key)
        libevdev_enable_event_code(shape.get(), EV_KEY, key, nullptr);
    for (unsigned light = LED_NUML; light <= LED_SCROLLL; ++light)
        libevdev_enable_event_code(shape.get(), EV_LED, light, nullptr);
    libevdev_uinput* device = nullptr;
    if (libevdev_uinput_create_from_device(shape.get(), LIBEVDEV_UINPUT_OPEN_MANAGED, &device) != 0)
        throw std::runtime_error("no typewriter");
    device_.reset(device);
}

void Typewriter::key(std::uint16_t code, bool isDown)
{
    libevdev_uinput_write_event(device_.get(), EV_KEY, code, isDown ? 1 : 0);
    libevdev_uinput_write_event(device_.get(), EV_SYN, SYN_REPORT, 0);
}

Desk::Desk()
    : udev_(udev_new())
    , monitor_(udev_monitor_new_from_netlink(udev_.get(), "udev"))
    , end_(eventfd(0, EFD_CLOEXEC))
{
    udev_monitor_filter_add_match_subsystem_devtype(monitor_.get(), "input", nullptr);
    udev_monitor_enable_receiving(monitor_.get());
    thread_ = std::thread([this] { run(); });
}

Desk::~Desk()
{
    eventfd_write(end_.get(), 1);
    thread_.join();
}

std::string Desk::text() const
{
    const std::lock_guard lock(mutex_);
    return text_;
}

std::size_t Desk::keysDown() const
{
    const std::lock_guard lock(mutex_);
    return std::accumulate(keyboards_.begin(), keyboards_.end(), std::size_t{0},
        [](std::size_t sum, const auto& entry) { return sum + entry.second.down.size(); });
}

std::string Desk::namesOfKeysDown() const
{
    const std::lock_guard lock(mutex_);
    std::string names;
    for (const auto& [node, keyboard] : keyboards_) {
        for (const std::uint16_t key : keyboard.down)
            names += node + ": " + libevdev_event_code_get_name(EV_KEY, key) + '\n';
    }
    return names;
}

std::size_t Desk::keyboards() const
{
    const std::lock_guard lock(mutex_);
    return keyboards_.size();
}

void Desk::run()
{
    for (;;) {
        std::vector<pollfd> waiting{{end_.get(), POLLIN, 0}, {udev_monitor_get_fd(monitor_.get()), POLLIN, 0}};
        for (const auto& [node, keyboard] : keyboards_)
            waiting.push_back({keyboard.file.get(), POLLIN, 0});
        poll(waiting.data(), waiting.size(), announced_.empty() ? -1 : 10);
        if (waiting[0].revents != 0)
            return;
        hearAnnouncements();
        const std::lock_guard lock(mutex_);
        openDue();
        hearKeyboards();
    }
}

/// Sooner or later, as it happens to be busy.
void Desk::hearAnnouncements()
{
    while (udev_device* const news = udev_monitor_receive_device(monitor_.get())) {
        const std::unique_ptr<udev_device, ReleaseUdev> device(news);
        const char* const action = udev_device_get_action(news);
        if (action && action == std::string_view("add") && isTypewriter(*news))
            announced_[udev_device_get_devnode(news)] = Clock::now() + 50ms * (announcements_++ % 8);
    }
}

void Desk::openDue()
{
    std::erase_if(announced_, [this](const auto& entry) {
        if (entry.second > Clock::now())
            return false;
        FileDescriptor file(open(entry.first.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC));
        if (file)
            keyboards_.insert_or_assign(entry.first, Keyboard{std::move(file), {}});
        return true;
    });
}

void Desk::hearKeyboards()
{
    std::vector<Event> events;
    std::set<std::string> gone;
    for (const auto& [node, keyboard] : keyboards_) {
        if (!read(node, keyboard, events))
            gone.insert(node);
    }
    std::ranges::stable_sort(events, isEarlier, &Event::event);
    for (const Event& event : events)
        take(event);
    std::erase_if(keyboards_, [&](const auto& entry) { return gone.contains(entry.first); });
}

bool Desk::read(const std::string& node, const Keyboard& keyboard, std::vector<Event>& events)
{
    for (;;) {
        input_event event{};
        const ssize_t size = ::read(keyboard.file.get(), &event, sizeof event);
        if (size != sizeof event)
            return errno == EAGAIN;
        events.push_back({node, event});
    }
}

void Desk::take(const Event& event)
{
    if (event.event.type == EV_SYN && event.event.code == SYN_DROPPED)
        text_ += "(dropped)";
    if (event.event.type != EV_KEY)
        return;
    const std::uint16_t code = event.event.code;
    std::set<std::uint16_t>& down = keyboards_.at(event.node).down;
    if (event.event.value == 0)
        down.erase(code);
    if (event.event.value != 1)
        return;
    if (!down.insert(code).second)
        text_ += "(never released)";
    const auto letter = std::ranges::find(letters, code);
    const bool isShifted
        = std::ranges::any_of(keyboards_, [](const auto& entry) { return entry.second.down.contains(KEY_LEFTSHIFT); });
    if (letter == letters.end())
        return;
    text_ += static_cast<char>((isShifted ? 'A' : 'a') + (letter - letters.begin()));
    ++typed_;
}

std::uint16_t keyOf(char letter)
{
    return letters.at(static_cast<std::size_t>(letter - 'a'));
}

} // namespace quenstal
