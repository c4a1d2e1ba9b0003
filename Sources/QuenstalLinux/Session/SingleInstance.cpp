#include "QuenstalLinux/Session/SingleInstance.hpp"

#include <array>
#include <cerrno>
#include <cstdint>

namespace quenstal {

namespace {

constexpr const char* objectPath = "/app/quenstal/Quenstal";
constexpr const char* applicationInterface = "org.freedesktop.Application";
/// The program's own interface has the name of the program.
constexpr const char* ownInterface = SingleInstance::busName;
/// In microseconds. An instance answers between two of its turns, or hangs.
constexpr std::uint64_t answerLimit = 5'000'000;

} // namespace

SingleInstance::SingleInstance(BusConnection& sessionBus)
    : sessionBus_(sessionBus)
{
    if (!sessionBus_)
        return;
    // The interface by which desktops start programs that are on the bus.
    static const std::array table{
        sd_bus_vtable SD_BUS_VTABLE_START(0),
        sd_bus_vtable SD_BUS_METHOD("Activate", "a{sv}", "", activate, SD_BUS_VTABLE_UNPRIVILEGED),
        sd_bus_vtable SD_BUS_METHOD("Open", "asa{sv}", "", activate, SD_BUS_VTABLE_UNPRIVILEGED),
        sd_bus_vtable SD_BUS_METHOD("ActivateAction", "sava{sv}", "", ignore, SD_BUS_VTABLE_UNPRIVILEGED),
        sd_bus_vtable SD_BUS_VTABLE_END,
    };
    static const std::array ownTable{
        sd_bus_vtable SD_BUS_VTABLE_START(0),
        sd_bus_vtable SD_BUS_METHOD("Report", "", "s", report, SD_BUS_VTABLE_UNPRIVILEGED),
        sd_bus_vtable SD_BUS_VTABLE_END,
    };
    sd_bus_slot* slot = nullptr;
    sd_bus_add_object_vtable(sessionBus_.get(), &slot, objectPath, applicationInterface, table.data(), this);
    object_.reset(slot);
    slot = nullptr;
    sd_bus_add_object_vtable(sessionBus_.get(), &slot, objectPath, ownInterface, ownTable.data(), this);
    reports_.reset(slot);
    // Without a place in the queue: the second one ends.
    isFirst_ = sd_bus_request_name(sessionBus_.get(), busName, 0) != -EEXIST;
}

bool SingleInstance::activateFirst()
{
    return sd_bus_call_method(
               sessionBus_.get(), busName, objectPath, applicationInterface, "Activate", nullptr, nullptr, "a{sv}", 0)
        >= 0;
}

int SingleInstance::activate(sd_bus_message* message, void* userData, sd_bus_error*)
{
    auto* instance = static_cast<SingleInstance*>(userData);
    if (instance->activated_)
        instance->activated_();
    return sd_bus_reply_method_return(message, "");
}

int SingleInstance::report(sd_bus_message* message, void* userData, sd_bus_error*)
{
    auto* instance = static_cast<SingleInstance*>(userData);
    const std::string words = instance->report_ ? instance->report_() : std::string();
    return sd_bus_reply_method_return(message, "s", words.c_str());
}

int SingleInstance::ignore(sd_bus_message* message, void*, sd_bus_error*)
{
    return sd_bus_reply_method_return(message, "");
}

std::optional<std::string> reportOfRunningInstance()
{
    sd_bus* bus = nullptr;
    const bool isConnected = sd_bus_open_user(&bus) >= 0;
    const std::unique_ptr<sd_bus, ReleaseBus> ownedBus(bus);
    sd_bus_message* question = nullptr;
    if (isConnected)
        sd_bus_message_new_method_call(bus, &question, SingleInstance::busName, objectPath, ownInterface, "Report");
    const BusMessage ownedQuestion(question);
    if (!question)
        return std::nullopt;
    sd_bus_message_set_auto_start(question, 0);
    sd_bus_message* answer = nullptr;
    const int status = sd_bus_call(bus, question, answerLimit, nullptr, &answer);
    const BusMessage ownedAnswer(answer);
    const char* words = nullptr;
    if (status < 0 || sd_bus_message_read(answer, "s", &words) < 0)
        return std::nullopt;
    return words;
}

} // namespace quenstal
