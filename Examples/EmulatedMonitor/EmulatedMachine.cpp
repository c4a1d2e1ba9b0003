#include "EmulatedMonitor/EmulatedMachine.hpp"

#include <array>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <set>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>

#include <linux/i2c-dev.h>
#include <linux/i2c.h>
#include <span>
#include <umockdev.h>

namespace quenstal {
namespace {

struct Unref {
    void operator()(gpointer object) const { g_object_unref(object); }
};
template <typename T>
using Reference = std::unique_ptr<T, Unref>;

void throwOnError(bool succeeded, GError* error)
{
    if (succeeded)
        return;
    const std::string message = error ? error->message : "the emulation failed";
    g_clear_error(&error);
    throw std::runtime_error(message);
}

/// The client's memory at an offset of some other of it, brought here.
UMockdevIoctlData* resolve(UMockdevIoctlData* data, std::size_t offset, std::size_t length)
{
    return umockdev_ioctl_data_resolve(data, offset, length, nullptr);
}

template <typename T>
T* as(UMockdevIoctlData* data)
{
    return reinterpret_cast<T*>(data->data);
}

struct Outcome {
    long result = 0;
    int error = 0;
};

Outcome outcomeOf(int error, long result)
{
    return error == 0 ? Outcome{result, 0} : Outcome{-1, error};
}

} // namespace

class EmulatedMachine::Testbed {
public:
    Testbed(const MachineFixture& machine, Monitors monitors)
        : monitors_(std::move(monitors))
        , testbed_(umockdev_testbed_new())
        , handler_(umockdev_ioctl_base_new())
    {
        GError* error = nullptr;
        const std::string text = machine.asDeviceText();
        throwOnError(umockdev_testbed_add_from_string(testbed_.get(), text.c_str(), &error), error);
        g_signal_connect(handler_.get(), "client-connected", G_CALLBACK(onOpen), this);
        g_signal_connect(handler_.get(), "handle-ioctl", G_CALLBACK(onIoctl), this);
        g_signal_connect(handler_.get(), "handle-read", G_CALLBACK(onRead), this);
        g_signal_connect(handler_.get(), "handle-write", G_CALLBACK(onWrite), this);
        for (const int number : machine.busNumbers()) {
            const std::string node = "/dev/i2c-" + std::to_string(number);
            throwOnError(umockdev_testbed_attach_ioctl(testbed_.get(), node.c_str(), handler_.get(), &error), error);
        }
    }

    UMockdevTestbed* get() const { return testbed_.get(); }

    std::set<int> opened() const
    {
        const std::lock_guard lock(mutex_);
        return opened_;
    }

    std::atomic<bool> isTracing = false;

private:
    using Client = UMockdevIoctlClient;

    static void onOpen(UMockdevIoctlBase*, Client* client, gpointer self)
    {
        Testbed& testbed = *static_cast<Testbed*>(self);
        const std::lock_guard lock(testbed.mutex_);
        testbed.opened_.insert(numberOf(client));
    }

    static int numberOf(Client* client)
    {
        const std::string node = umockdev_ioctl_client_get_devnode(client);
        return std::stoi(node.substr(node.rfind('-') + 1));
    }

    static gboolean onIoctl(UMockdevIoctlBase*, Client* client, gpointer self)
    {
        const Outcome outcome = static_cast<Testbed*>(self)->ioctl(client);
        umockdev_ioctl_client_complete(client, outcome.result, outcome.error);
        return TRUE;
    }

    static gboolean onRead(UMockdevIoctlBase*, Client* client, gpointer self)
    {
        return static_cast<Testbed*>(self)->transferChosen(client, I2C_M_RD);
    }

    static gboolean onWrite(UMockdevIoctlBase*, Client* client, gpointer self)
    {
        return static_cast<Testbed*>(self)->transferChosen(client, 0);
    }

    gboolean transferChosen(Client* client, std::uint16_t flags)
    {
        UMockdevIoctlData* bytes = umockdev_ioctl_client_get_arg(client);
        const auto length = static_cast<std::uint16_t>(bytes->data_len);
        const i2c_msg message{chosenAddress(client), flags, length, bytes->data};
        const Outcome outcome = outcomeOf(transfer(client, message), length);
        umockdev_ioctl_client_complete(client, outcome.result, outcome.error);
        return TRUE;
    }

    Outcome ioctl(Client* client)
    {
        UMockdevIoctlData* argument = umockdev_ioctl_client_get_arg(client);
        switch (umockdev_ioctl_client_get_request(client)) {
        case I2C_FUNCS:
            *as<unsigned long>(resolve(argument, 0, sizeof(unsigned long))) = I2C_FUNC_I2C | I2C_FUNC_SMBUS_EMUL;
            return {};
        case I2C_SLAVE:
        case I2C_SLAVE_FORCE:
            choose(client, *as<unsigned long>(argument));
            return {};
        case I2C_RDWR:
            return transferMessages(client, argument);
        default:
            // Anything must be completed, or the client hangs.
            return {-1, ENOTTY};
        }
    }

    Outcome transferMessages(Client* client, UMockdevIoctlData* argument)
    {
        UMockdevIoctlData* list = resolve(argument, 0, sizeof(i2c_rdwr_ioctl_data));
        const std::size_t count = as<i2c_rdwr_ioctl_data>(list)->nmsgs;
        if (count > I2C_RDWR_IOCTL_MAX_MSGS)
            return {-1, EINVAL};
        UMockdevIoctlData* messages = resolve(list, offsetof(i2c_rdwr_ioctl_data, msgs), count * sizeof(i2c_msg));
        for (std::size_t i = 0; i < count; ++i) {
            i2c_msg message = as<i2c_msg>(messages)[i];
            UMockdevIoctlData* bytes = resolve(messages, i * sizeof(i2c_msg) + offsetof(i2c_msg, buf), message.len);
            message.buf = bytes ? bytes->data : nullptr;
            if (const int error = transfer(client, message); error != 0)
                return {-1, error};
        }
        return {static_cast<long>(count), 0};
    }

    int transfer(Client* client, const i2c_msg& message)
    {
        const auto monitor = monitors_.find(numberOf(client));
        const std::span<std::uint8_t> bytes(message.buf, message.buf ? message.len : 0);
        const bool isRead = (message.flags & I2C_M_RD) != 0;
        const auto now = std::chrono::steady_clock::now();
        int error = ENXIO;
        if (monitor != monitors_.end())
            error = isRead ? monitor->second->read(message.addr, bytes, now)
                           : monitor->second->write(message.addr, bytes, now);
        if (isTracing)
            print(umockdev_ioctl_client_get_devnode(client), message, error);
        return error;
    }

    static void print(const char* node, const i2c_msg& message, int error)
    {
        std::string line = std::string(node) + ((message.flags & I2C_M_RD) != 0 ? " read  " : " write ");
        std::array<char, 8> text{};
        std::snprintf(text.data(), text.size(), "0x%02x", message.addr);
        line += text.data();
        for (int i = 0; error == 0 && message.buf && i < message.len && i < 16; ++i) {
            std::snprintf(text.data(), text.size(), " %02x", message.buf[i]);
            line += text.data();
        }
        line += error == 0 ? "\n" : std::string(" ") + std::strerror(error) + "\n";
        std::fputs(line.c_str(), stderr);
    }

    static void choose(Client* client, unsigned long address)
    {
        g_object_set_data(G_OBJECT(client), "address", GUINT_TO_POINTER(static_cast<guint>(address)));
    }

    static std::uint16_t chosenAddress(Client* client)
    {
        return static_cast<std::uint16_t>(GPOINTER_TO_UINT(g_object_get_data(G_OBJECT(client), "address")));
    }

    const Monitors monitors_;
    mutable std::mutex mutex_;
    std::set<int> opened_;
    const Reference<UMockdevTestbed> testbed_;
    const Reference<UMockdevIoctlBase> handler_;
};

EmulatedMachine::EmulatedMachine(const MachineFixture& machine, Monitors monitors)
    : testbed_(std::make_unique<Testbed>(machine, std::move(monitors)))
{
}

EmulatedMachine::~EmulatedMachine() = default;

bool EmulatedMachine::isPossible()
{
    const char* preloaded = std::getenv("LD_PRELOAD");
    return preloaded && std::string_view(preloaded).find("libumockdev-preload") != std::string_view::npos;
}

void EmulatedMachine::trace(bool isOn)
{
    testbed_->isTracing = isOn;
}

std::vector<std::string> EmulatedMachine::forbiddenBusesOpened() const
{
    const std::set<int> opened = testbed_->opened();
    std::vector<std::string> names;
    for (const MachineFixture::Bus& bus : MachineFixture::forbiddenBuses())
        if (opened.contains(bus.number))
            names.push_back(bus.name);
    return names;
}

void EmulatedMachine::setStatus(const std::string& connector, const std::string& status)
{
    const std::string path = std::string("/sys") + MachineFixture::cardPath() + "/drm/card0/card0-" + connector;
    umockdev_testbed_set_attribute(testbed_->get(), path.c_str(), "status", (status + "\n").c_str());
    announceHotplug();
}

void EmulatedMachine::announceHotplug()
{
    const std::string card = std::string("/sys") + MachineFixture::cardPath() + "/drm/card0";
    umockdev_testbed_set_property(testbed_->get(), card.c_str(), "HOTPLUG", "1");
    umockdev_testbed_uevent(testbed_->get(), card.c_str(), "change");
}

} // namespace quenstal
