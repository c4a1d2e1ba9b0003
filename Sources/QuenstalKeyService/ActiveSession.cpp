#include "QuenstalKeyService/ActiveSession.hpp"

#include "QuenstalKeyService/BusProperties.hpp"

#include <cstdint>
#include <cstdlib>
#include <string_view>
#include <utility>

namespace quenstal {

namespace {

constexpr const char* logind = "org.freedesktop.login1";
constexpr const char* seatPath = "/org/freedesktop/login1/seat/seat0";
constexpr const char* seatInterface = "org.freedesktop.login1.Seat";
constexpr const char* sessionInterface = "org.freedesktop.login1.Session";
constexpr const char* propertiesInterface = "org.freedesktop.DBus.Properties";

/// Whether a seat's news is about who is at it.
bool isAboutActiveSession(sd_bus_message* message)
{
    const char* interface = nullptr;
    if (sd_bus_message_read_basic(message, SD_BUS_TYPE_STRING, &interface) <= 0
        || interface != std::string_view(seatInterface))
        return false;
    bool isAbout = false;
    forEachProperty(message, [&](std::string_view name) {
        isAbout |= name == "ActiveSession";
        return false;
    });
    char** invalidated = nullptr;
    if (sd_bus_message_read_strv(message, &invalidated) < 0)
        return isAbout;
    for (char** name = invalidated; name && *name; ++name) {
        isAbout |= *name == std::string_view("ActiveSession");
        std::free(*name);
    }
    std::free(invalidated);
    return isAbout;
}

/// What decides whose session it is.
struct SessionProperties {
    std::optional<uid_t> user;
    bool isRemote = true;
    std::string kind;
    std::string seat;
};

SessionProperties readSession(sd_bus_message* message)
{
    SessionProperties session;
    forEachProperty(message, [&](std::string_view name) {
        if (name == "User") {
            std::uint32_t user = 0;
            if (sd_bus_message_read(message, "v", "(uo)", &user, nullptr) > 0)
                session.user = user;
            return true;
        }
        if (name == "Remote") {
            int isRemote = 1;
            if (sd_bus_message_read(message, "v", "b", &isRemote) > 0)
                session.isRemote = isRemote != 0;
            return true;
        }
        if (name == "Class") {
            const char* kind = nullptr;
            if (sd_bus_message_read(message, "v", "s", &kind) > 0)
                session.kind = kind;
            return true;
        }
        if (name == "Seat") {
            const char* seat = nullptr;
            if (sd_bus_message_read(message, "v", "(so)", &seat, nullptr) > 0)
                session.seat = seat;
            return true;
        }
        return false;
    });
    return session;
}

} // namespace

ActiveSession::ActiveSession(DBusConnection& systemBus, std::function<void()> changed)
    : systemBus_(systemBus)
    , changed_(std::move(changed))
    , seatChanges_(systemBus, {logind, seatPath, propertiesInterface, "PropertiesChanged"},
          [this](sd_bus_message* message) { seatChanged(message); })
{
    askForSeat();
}

void ActiveSession::askForSeat()
{
    sd_bus_slot* slot = nullptr;
    sd_bus_call_method_async(systemBus_.get(), &slot, logind, seatPath, propertiesInterface, "Get", seatAnswered, this,
        "ss", seatInterface, "ActiveSession");
    question_.reset(slot);
}

void ActiveSession::askForSession(const std::string& path)
{
    sd_bus_slot* slot = nullptr;
    sd_bus_call_method_async(systemBus_.get(), &slot, logind, path.c_str(), propertiesInterface, "GetAll",
        sessionAnswered, this, "s", sessionInterface);
    question_.reset(slot);
}

void ActiveSession::settle(std::optional<Session> session)
{
    question_.reset();
    current_ = std::move(session);
    changed_();
}

void ActiveSession::seatChanged(sd_bus_message* message)
{
    if (!isAboutActiveSession(message))
        return;
    askForSeat();
    current_.reset();
    changed_();
}

int ActiveSession::seatAnswered(sd_bus_message* message, void* userData, sd_bus_error*)
{
    auto& self = *static_cast<ActiveSession*>(userData);
    const char* id = nullptr;
    const char* path = nullptr;
    if (sd_bus_message_is_method_error(message, nullptr) > 0
        || sd_bus_message_read(message, "v", "(so)", &id, &path) <= 0 || !*id) {
        self.settle(std::nullopt);
        return 0;
    }
    self.asked_ = Session{id, path, 0};
    self.askForSession(self.asked_.path);
    return 0;
}

int ActiveSession::sessionAnswered(sd_bus_message* message, void* userData, sd_bus_error*)
{
    auto& self = *static_cast<ActiveSession*>(userData);
    std::optional<Session> session;
    if (sd_bus_message_is_method_error(message, nullptr) <= 0) {
        const SessionProperties properties = readSession(message);
        if (properties.user && !properties.isRemote && properties.kind == "user" && properties.seat == seat)
            session = Session{self.asked_.id, self.asked_.path, *properties.user};
    }
    self.settle(std::move(session));
    return 0;
}

} // namespace quenstal
