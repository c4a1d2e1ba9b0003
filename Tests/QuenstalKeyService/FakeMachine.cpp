#include "QuenstalKeyService/FakeMachine.hpp"

#include <array>
#include <string_view>

namespace quenstal {

namespace {

constexpr const char* seatPath = "/org/freedesktop/login1/seat/seat0";
constexpr const char* seatInterface = "org.freedesktop.login1.Seat";

} // namespace

FakeMachine::FakeMachine(RunLoop& runLoop, const std::string& address)
    : connection_(runLoop, address)
{
    static const std::array seat{
        sd_bus_vtable SD_BUS_VTABLE_START(0),
        sd_bus_vtable SD_BUS_PROPERTY("ActiveSession", "(so)", activeSession, 0, SD_BUS_VTABLE_PROPERTY_EMITS_CHANGE),
        sd_bus_vtable SD_BUS_PROPERTY("IdleHint", "b", nullptr, 0, SD_BUS_VTABLE_PROPERTY_EMITS_INVALIDATION),
        sd_bus_vtable SD_BUS_VTABLE_END,
    };
    static const std::array manager{
        sd_bus_vtable SD_BUS_VTABLE_START(0),
        sd_bus_vtable SD_BUS_METHOD("GetSessionByPID", "u", "o", sessionByProcess, SD_BUS_VTABLE_UNPRIVILEGED),
        sd_bus_vtable SD_BUS_VTABLE_END,
    };
    static const std::array authority{
        sd_bus_vtable SD_BUS_VTABLE_START(0),
        sd_bus_vtable SD_BUS_METHOD(
            "CheckAuthorization", "(sa{sv})sa{ss}us", "(bba{ss})", checkAuthorization, SD_BUS_VTABLE_UNPRIVILEGED),
        sd_bus_vtable SD_BUS_VTABLE_END,
    };
    sd_bus* bus = connection_.get();
    sd_bus_add_object_vtable(bus, nullptr, seatPath, seatInterface, seat.data(), this);
    sd_bus_add_object_vtable(bus, nullptr, "/org/freedesktop/PolicyKit1/Authority",
        "org.freedesktop.PolicyKit1.Authority", authority.data(), this);
    sd_bus_add_object_vtable(
        bus, nullptr, "/org/freedesktop/login1", "org.freedesktop.login1.Manager", manager.data(), this);
    sd_bus_request_name(bus, "org.freedesktop.login1", 0);
    sd_bus_request_name(bus, "org.freedesktop.PolicyKit1", 0);
}

std::string FakeMachine::pathOf(const std::string& id)
{
    return id.empty() ? "/" : "/org/freedesktop/login1/session/" + id;
}

void FakeMachine::addSession(const std::string& id, const Session& session)
{
    static const std::array table{
        sd_bus_vtable SD_BUS_VTABLE_START(0),
        sd_bus_vtable SD_BUS_PROPERTY("Id", "s", sessionProperty, 0, 0),
        sd_bus_vtable SD_BUS_PROPERTY("User", "(uo)", sessionProperty, 0, 0),
        sd_bus_vtable SD_BUS_PROPERTY("Seat", "(so)", sessionProperty, 0, 0),
        sd_bus_vtable SD_BUS_PROPERTY("Remote", "b", sessionProperty, 0, 0),
        sd_bus_vtable SD_BUS_PROPERTY("Class", "s", sessionProperty, 0, 0),
        sd_bus_vtable SD_BUS_VTABLE_END,
    };
    SessionObject& entry = sessions_.emplace_back(SessionObject{id, session, nullptr});
    sd_bus_slot* slot = nullptr;
    sd_bus_add_object_vtable(
        connection_.get(), &slot, pathOf(id).c_str(), "org.freedesktop.login1.Session", table.data(), &entry);
    entry.object.reset(slot);
}

void FakeMachine::switchTo(const std::string& id)
{
    active_ = id;
    sd_bus_emit_properties_changed(connection_.get(), seatPath, seatInterface, "ActiveSession", nullptr);
}

void FakeMachine::tellIdleHint()
{
    sd_bus_emit_properties_changed(connection_.get(), seatPath, seatInterface, "IdleHint", nullptr);
}

void FakeMachine::answerAll(bool isAuthorized)
{
    for (const BusMessage& question : waiting_)
        answer(question.get(), isAuthorized);
    waiting_.clear();
}

int FakeMachine::activeSession(
    sd_bus*, const char*, const char*, const char*, sd_bus_message* reply, void* self, sd_bus_error*)
{
    const std::string& id = static_cast<FakeMachine*>(self)->active_;
    return sd_bus_message_append(reply, "(so)", id.c_str(), pathOf(id).c_str());
}

int FakeMachine::sessionProperty(
    sd_bus*, const char*, const char*, const char* name, sd_bus_message* reply, void* object, sd_bus_error*)
{
    const auto& [id, session, slot] = *static_cast<SessionObject*>(object);
    const std::string_view property(name);
    if (property == "User")
        return sd_bus_message_append(reply, "(uo)", session.user, "/org/freedesktop/login1/user/someone");
    if (property == "Seat")
        return sd_bus_message_append(reply, "(so)", session.seat.c_str(), seatPath);
    if (property == "Remote")
        return sd_bus_message_append(reply, "b", session.isRemote ? 1 : 0);
    return sd_bus_message_append(reply, "s", property == "Class" ? session.kind.c_str() : id.c_str());
}

int FakeMachine::sessionByProcess(sd_bus_message* message, void* self, sd_bus_error* error)
{
    const std::string& home = static_cast<FakeMachine*>(self)->home_;
    if (home.empty())
        return sd_bus_error_set(error, "org.freedesktop.login1.NoSessionForPID", "Does not belong to any session");
    return sd_bus_reply_method_return(message, "o", pathOf(home).c_str());
}

int FakeMachine::checkAuthorization(sd_bus_message* message, void* self, sd_bus_error* error)
{
    auto& machine = *static_cast<FakeMachine*>(self);
    const char* kind = nullptr;
    const char* key = nullptr;
    const char* subject = nullptr;
    const char* action = nullptr;
    std::uint32_t flags = 0;
    sd_bus_message_read(message, "(sa{sv})s", &kind, 1, &key, "s", &subject, &action);
    sd_bus_message_skip(message, "a{ss}");
    sd_bus_message_read(message, "u", &flags);
    machine.questions_.push_back(
        std::string(kind) + " " + key + "=" + subject + " " + action + " " + std::to_string(flags));
    switch (machine.verdict_) {
    case Verdict::yes:
    case Verdict::no:
        answer(message, machine.verdict_ == Verdict::yes);
        return 1;
    case Verdict::error:
        return sd_bus_error_set(error, "org.freedesktop.PolicyKit1.Error.Failed", "Broken on purpose");
    case Verdict::none:
        machine.waiting_.emplace_back(sd_bus_message_ref(message));
        return 1;
    }
    return 0;
}

void FakeMachine::answer(sd_bus_message* question, bool isAuthorized)
{
    // An administrator's password would help: that is no yes.
    sd_bus_reply_method_return(question, "(bba{ss})", isAuthorized ? 1 : 0, isAuthorized ? 0 : 1, 0);
}

} // namespace quenstal
