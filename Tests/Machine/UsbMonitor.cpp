#include "Machine/UsbMonitor.hpp"

#include "Machine/MachineLoop.hpp"

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <set>
#include <stdexcept>
#include <string>

#include <arpa/inet.h>
#include <linux/i2c.h>
#include <linux/usb/ch9.h>
#include <poll.h>
#include <sys/socket.h>

namespace quenstal {
namespace {

namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;
using Bytes = std::vector<std::uint8_t>;

const fs::path hostController = "/sys/devices/platform/vhci_hcd.0";
constexpr std::uint16_t adapterVendor = 0x0403;
constexpr std::uint16_t adapterProduct = 0xC631;

/// In front of every message of the USB-over-network protocol, which the kernel's virtual host controller speaks. All
/// but the setup is in the network's byte order.
struct [[gnu::packed]] WireHeader {
    std::uint32_t command;
    std::uint32_t number;
    std::uint32_t device;
    std::uint32_t isInward;
    std::uint32_t endpoint;
    /// Of a request: its flags. Of an answer: 0 or a negative errno.
    std::uint32_t flagsOrStatus;
    std::uint32_t length;
    std::array<std::uint32_t, 3> ofOtherTransfers;
    usb_ctrlrequest setup;
};
static_assert(sizeof(WireHeader) == 48);

constexpr std::uint32_t submit = 1;
constexpr std::uint32_t withdraw = 2;
constexpr std::uint32_t submitted = 3;
constexpr std::uint32_t withdrawn = 4;

/// What the adapter's driver asks of it.
constexpr std::uint8_t askFunctions = 1;
constexpr std::uint8_t setDelay = 2;
constexpr std::uint8_t askStatus = 3;
constexpr std::uint8_t firstMessage = 4;
constexpr std::uint8_t lastMessage = 7;
constexpr std::uint8_t acknowledged = 1;
constexpr std::uint8_t notAcknowledged = 2;

template <typename Record>
Bytes bytesOf(const Record& record, std::size_t size = sizeof(Record))
{
    Bytes bytes(size);
    std::memcpy(bytes.data(), &record, size);
    return bytes;
}

Bytes deviceDescriptor()
{
    usb_device_descriptor device{};
    device.bLength = USB_DT_DEVICE_SIZE;
    device.bDescriptorType = USB_DT_DEVICE;
    device.bcdUSB = 0x0110;
    device.bDeviceClass = USB_CLASS_VENDOR_SPEC;
    device.bMaxPacketSize0 = 8;
    device.idVendor = adapterVendor;
    device.idProduct = adapterProduct;
    device.bNumConfigurations = 1;
    return bytesOf(device);
}

Bytes configurationDescriptor()
{
    usb_config_descriptor configuration{};
    configuration.bLength = USB_DT_CONFIG_SIZE;
    configuration.bDescriptorType = USB_DT_CONFIG;
    configuration.wTotalLength = USB_DT_CONFIG_SIZE + USB_DT_INTERFACE_SIZE;
    configuration.bNumInterfaces = 1;
    configuration.bConfigurationValue = 1;
    configuration.bmAttributes = USB_CONFIG_ATT_ONE;
    usb_interface_descriptor interface {
    };
    interface.bLength = USB_DT_INTERFACE_SIZE;
    interface.bDescriptorType = USB_DT_INTERFACE;
    Bytes bytes = bytesOf(configuration, USB_DT_CONFIG_SIZE);
    const Bytes interfaceBytes = bytesOf(interface, USB_DT_INTERFACE_SIZE);
    bytes.insert(bytes.end(), interfaceBytes.begin(), interfaceBytes.end());
    return bytes;
}

bool receive(int wire, void* bytes, std::size_t size)
{
    return size == 0 || recv(wire, bytes, size, MSG_WAITALL) == static_cast<ssize_t>(size);
}

std::string firstLine(const fs::path& file)
{
    std::ifstream stream(file);
    std::string line;
    std::getline(stream, line);
    return line;
}

/// The nodes that such adapters have.
std::set<std::string> adapterNodes()
{
    std::set<std::string> nodes;
    std::error_code none;
    for (const auto& device : fs::directory_iterator("/sys/class/i2c-dev", none)) {
        const std::string node = device.path().filename().string();
        if (firstLine(device.path() / "name").starts_with("i2c-tiny-usb") && fs::exists("/dev/" + node))
            nodes.insert(node);
    }
    return nodes;
}

/// The first port that nothing is plugged into.
std::string freePort()
{
    constexpr const char* isFree = "004";
    std::ifstream ports(hostController / "status");
    std::string header;
    std::getline(ports, header);
    std::string speed, port, state, rest;
    while (ports >> speed >> port >> state && std::getline(ports, rest))
        if (state == isFree)
            return port;
    throw std::runtime_error("no free port");
}

} // namespace

struct UsbMonitor::Request {
    std::uint32_t command;
    std::uint32_t number;
    bool isInward;
    usb_ctrlrequest setup;
    /// How much may come in.
    std::size_t room;
    /// What went out.
    Bytes sent;
};

UsbMonitor::UsbMonitor(std::shared_ptr<SimulatedMonitor> monitor)
    : monitor_(std::move(monitor))
    , othersNodes_(adapterNodes())
{
    std::array<int, 2> ends{};
    if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends.data()) != 0)
        throw std::runtime_error("no pair of sockets");
    wire_ = FileDescriptor(ends[0]);
    const FileDescriptor kernelsEnd(ends[1]);
    thread_ = std::thread([this] { serve(); });
    std::ofstream attach(hostController / "attach");
    // The port, the kernel's end of the wire, a number for the device, its speed.
    attach << freePort() << " " << ends[1] << " 65538 " << static_cast<int>(USB_SPEED_FULL) << std::flush;
    if (!attach) {
        pullOut();
        throw std::runtime_error("the adapter cannot be plugged in");
    }
}

UsbMonitor::~UsbMonitor()
{
    pullOut();
}

void UsbMonitor::pullOut()
{
    {
        const std::lock_guard lock(mutex_);
        isOut_ = true;
    }
    changed_.notify_all();
    shutdown(wire_.get(), SHUT_RDWR);
    if (thread_.joinable())
        thread_.join();
}

void UsbMonitor::hang(bool hangs)
{
    const std::lock_guard lock(mutex_);
    hangs_ = hangs;
    changed_.notify_all();
}

int UsbMonitor::bus() const
{
    constexpr auto usualLimit = std::chrono::seconds(10);
    const auto end = Clock::now() + slowed(usualLimit);
    while (Clock::now() < end) {
        for (const std::string& node : adapterNodes())
            if (!othersNodes_.contains(node))
                return std::stoi(node.substr(node.find('-') + 1));
        poll(nullptr, 0, 10);
    }
    throw std::runtime_error("the bus of the USB adapter: " + gaveUpAfter(usualLimit));
}

void UsbMonitor::serve()
{
    for (WireHeader header{}; receive(wire_.get(), &header, sizeof header);) {
        Request request{
            ntohl(header.command), ntohl(header.number), header.isInward != 0, header.setup, ntohl(header.length), {}};
        if (request.command == submit && !request.isInward)
            request.sent.resize(request.room);
        if (!receive(wire_.get(), request.sent.data(), request.sent.size()))
            return;
        answer(request);
    }
}

void UsbMonitor::answer(const Request& request)
{
    WireHeader header{};
    header.command = htonl(request.command == withdraw ? withdrawn : submitted);
    header.number = htonl(request.number);
    Bytes bytes;
    if (request.command == submit) {
        const Answer understood = control(request);
        bytes = understood.value_or(Bytes());
        bytes.resize(request.isInward ? std::min(bytes.size(), request.room) : 0);
        header.flagsOrStatus = htonl(static_cast<std::uint32_t>(understood ? 0 : -EPIPE));
        header.length = htonl(static_cast<std::uint32_t>(request.isInward ? bytes.size() : request.sent.size()));
    }
    Bytes message = bytesOf(header);
    message.insert(message.end(), bytes.begin(), bytes.end());
    // Nobody listens when it was pulled out meanwhile, which ends the reading too.
    [[maybe_unused]] const auto sent = send(wire_.get(), message.data(), message.size(), MSG_NOSIGNAL);
}

/// The requests that a host makes of every device, and those of the adapter's own driver.
UsbMonitor::Answer UsbMonitor::control(const Request& request)
{
    const usb_ctrlrequest& setup = request.setup;
    if ((setup.bRequestType & USB_TYPE_MASK) == USB_TYPE_VENDOR)
        return adapter(request);
    switch (setup.bRequest) {
    case USB_REQ_GET_DESCRIPTOR:
        if (setup.wValue >> 8 == USB_DT_DEVICE)
            return deviceDescriptor();
        if (setup.wValue >> 8 == USB_DT_CONFIG)
            return configurationDescriptor();
        return std::nullopt;
    case USB_REQ_GET_STATUS:
        return Bytes{0, 0};
    case USB_REQ_SET_ADDRESS:
    case USB_REQ_SET_CONFIGURATION:
    case USB_REQ_SET_INTERFACE:
        return Bytes();
    default:
        return std::nullopt;
    }
}

UsbMonitor::Answer UsbMonitor::adapter(const Request& request)
{
    const std::uint8_t asked = request.setup.bRequest;
    if (asked == askFunctions)
        return bytesOf(std::uint32_t(I2C_FUNC_I2C | I2C_FUNC_SMBUS_EMUL));
    if (asked == setDelay)
        return Bytes();
    if (asked == askStatus)
        return Bytes{status_};
    if (asked >= firstMessage && asked <= lastMessage)
        return message(request);
    return std::nullopt;
}

UsbMonitor::Answer UsbMonitor::message(const Request& request)
{
    std::unique_lock lock(mutex_);
    isHanging_ = hangs_;
    changed_.wait(lock, [this] { return !hangs_ || isOut_; });
    isHanging_ = false;
    lock.unlock();
    const std::uint16_t address = request.setup.wIndex & 0x7F;
    Bytes received(request.isInward ? request.room : 0);
    const int error = request.isInward ? monitor_->read(address, received, Clock::now())
                                       : monitor_->write(address, request.sent, Clock::now());
    status_ = error == 0 ? acknowledged : notAcknowledged;
    return received;
}

} // namespace quenstal
