#include "QuenstalLinux/Keys/ServiceKeyCapture.hpp"

#include "QuenstalLinux/Keyboards/KeyAdvice.hpp"

#include <array>
#include <cerrno>
#include <cstdlib>

#include <fcntl.h>
#include <span>
#include <sys/socket.h>

namespace quenstal {

namespace {

constexpr const char* bus = "org.freedesktop.DBus";
constexpr const char* busPath = "/org/freedesktop/DBus";

std::uint64_t microseconds(std::chrono::microseconds duration)
{
    return static_cast<std::uint64_t>(duration.count());
}

/// Whether a list of names, as the bus answers it, has the service.
bool namesService(sd_bus_message* message)
{
    char** names = nullptr;
    if (sd_bus_message_read_strv(message, &names) < 0)
        return false;
    bool isThere = false;
    for (char** name = names; name && *name; ++name) {
        isThere |= *name == std::string_view(KeyServiceProtocol::busName);
        std::free(*name);
    }
    std::free(names);
    return isThere;
}

} // namespace

ServiceKeyCapture::ServiceKeyCapture(RunLoop& runLoop, DBusConnection& systemBus, const EvdevKeyCapture& keyboards)
    : runLoop_(runLoop)
    , systemBus_(systemBus)
    , keyboards_(keyboards)
    , changes_(runLoop)
    , serviceChanges_(
          systemBus, {bus, busPath, bus, "ActivatableServicesChanged"}, [this](sd_bus_message*) { askAgain(); })
    , service_(systemBus, KeyServiceProtocol::busName, [this] { ownerChanged(); })
{
    if (systemBus)
        askWhetherInstalled();
}

ServiceKeyCapture::~ServiceKeyCapture()
{
    stop();
}

/// Waits, so that the first choice between the ways of capture is the right one. If the bus is too busy to answer at
/// once, its answer counts when it arrives.
void ServiceKeyCapture::askWhetherInstalled()
{
    if (!busGreets(*systemBus_.get(), DBusConnection::greetingPatience)) {
        askAgain();
        return;
    }
    sd_bus_message* question = nullptr;
    sd_bus_message* answer = nullptr;
    if (sd_bus_message_new_method_call(systemBus_.get(), &question, bus, busPath, bus, "ListActivatableNames") >= 0
        && sd_bus_call(systemBus_.get(), question, microseconds(longestQuestion), nullptr, &answer) >= 0)
        isInstalled_ = namesService(answer);
    else
        askAgain();
    sd_bus_message_unref(question);
    sd_bus_message_unref(answer);
}

void ServiceKeyCapture::askAgain()
{
    sd_bus_slot* slot = nullptr;
    sd_bus_call_method_async(
        systemBus_.get(), &slot, bus, busPath, bus, "ListActivatableNames", servicesListed, this, "");
    question_.reset(slot);
}

void ServiceKeyCapture::setInstalled(bool isInstalled)
{
    isInstalled_ = isInstalled;
    refusalEnd_.reset();
    changes_.notify();
}

int ServiceKeyCapture::servicesListed(sd_bus_message* message, void* userData, sd_bus_error*)
{
    if (sd_bus_message_is_method_error(message, nullptr) <= 0)
        static_cast<ServiceKeyCapture*>(userData)->setInstalled(namesService(message));
    return 0;
}

/// One that runs counts as installed, however it was started. One that ended can be started again.
void ServiceKeyCapture::ownerChanged()
{
    if (!service_.current()->empty())
        setInstalled(true);
}

bool ServiceKeyCapture::isPossible()
{
    return listener_ || (isInstalled_ && systemBus_ && !refusalEnd_ && hasKeyboard());
}

bool ServiceKeyCapture::hasKeyboard() const
{
    return keyboards_.obstacleKind() != EvdevKeyCapture::Obstacle::noKeyboard;
}

std::string ServiceKeyCapture::obstacle()
{
    if (isPossible())
        return {};
    if (!isInstalled_ || !systemBus_)
        return KeyAdvice::noAccess;
    if (!hasKeyboard())
        return KeyAdvice::noKeyboard;
    if (!refusal_)
        return KeyAdvice::noAnswer;
    switch (*refusal_) {
    case KeyServiceRefusal::notActive:
        return KeyAdvice::notActive;
    case KeyServiceRefusal::notAuthorized:
        return KeyAdvice::notAuthorized;
    case KeyServiceRefusal::undecided:
        return KeyAdvice::undecided;
    case KeyServiceRefusal::inUse:
        return KeyAdvice::inUse;
    case KeyServiceRefusal::takenByOther:
        return KeyAdvice::keyboardTaken;
    case KeyServiceRefusal::notCloned:
        return KeyAdvice::notCloned;
    case KeyServiceRefusal::unguarded:
        return KeyAdvice::unguarded;
    case KeyServiceRefusal::keyHeld:
        return KeyAdvice::keyHeld;
    case KeyServiceRefusal::lostAtOnce:
        return KeyAdvice::lostAtOnce;
    case KeyServiceRefusal::noAccess:
        return KeyAdvice::serviceWithoutAccess;
    case KeyServiceRefusal::tooMany:
        break;
    }
    return KeyAdvice::tooMany;
}

bool ServiceKeyCapture::start(KeyCaptureListener& listener)
{
    if (!isPossible())
        return false;
    sd_bus_message* call = nullptr;
    sd_bus_slot* slot = nullptr;
    const bool isAsked
        = sd_bus_message_new_method_call(systemBus_.get(), &call, KeyServiceProtocol::busName,
              KeyServiceProtocol::objectPath, KeyServiceProtocol::interface, KeyServiceProtocol::captureMember)
            >= 0
        && sd_bus_call_async(systemBus_.get(), &slot, call, captureAnswered, this, 0) >= 0;
    sd_bus_message_unref(call);
    call_.reset(slot);
    if (!isAsked)
        return false;
    listener_ = &listener;
    callLimit_ = runLoop_.after(longestCall, [this] { refuse({}); });
    return true;
}

int ServiceKeyCapture::captureAnswered(sd_bus_message* message, void* userData, sd_bus_error*)
{
    auto& self = *static_cast<ServiceKeyCapture*>(userData);
    self.callLimit_.reset();
    int socket = -1;
    if (const sd_bus_error* error = sd_bus_message_get_error(message))
        self.refuse(error->name);
    else if (sd_bus_message_read_basic(message, SD_BUS_TYPE_UNIX_FD, &socket) <= 0)
        self.refuse({});
    else
        self.take(FileDescriptor(fcntl(socket, F_DUPFD_CLOEXEC, 3)));
    return 0;
}

void ServiceKeyCapture::take(FileDescriptor socket)
{
    if (!socket) {
        refuse({});
        return;
    }
    socket_ = std::move(socket);
    socketWatch_ = runLoop_.watchReadable(socket_.get(), [this] { readPresses(); });
}

void ServiceKeyCapture::refuse(std::string_view errorName)
{
    refusal_ = refusalFrom(errorName);
    refusalEnd_ = runLoop_.after(refusalPause, [this] {
        refusalEnd_.reset();
        // A refusal by the administrator is not asked about again and again.
        if (refusal_ != KeyServiceRefusal::notAuthorized)
            changes_.notify();
    });
    lose();
}

void ServiceKeyCapture::readPresses()
{
    // One more than a packet has, so that a longer one is detected.
    std::array<std::uint8_t, VolumeKeyPacket{}.size() + 1> buffer{};
    while (socketWatch_) {
        const ssize_t size = recv(socket_.get(), buffer.data(), buffer.size(), MSG_DONTWAIT);
        if (size < 0 && (errno == EAGAIN || errno == EINTR))
            return;
        const auto press = pressFrom(std::span(buffer).first(size > 0 ? static_cast<std::size_t>(size) : 0));
        // Closed, or no key service at all.
        if (!press) {
            lose();
            return;
        }
        listener_->volumeKeyDown(press->button, press->isRepeat);
    }
}

void ServiceKeyCapture::lose()
{
    KeyCaptureListener* const listener = listener_;
    stop();
    changes_.notify();
    listener->captureLost();
}

void ServiceKeyCapture::stop()
{
    listener_ = nullptr;
    call_.reset();
    callLimit_.reset();
    socketWatch_.reset();
    // A forked process may hold a copy, which would keep the keys.
    if (socket_)
        shutdown(socket_.get(), SHUT_RDWR);
    socket_ = FileDescriptor();
}

} // namespace quenstal
