#include "QuenstalLinux/Session/SingleInstance.hpp"

#include <array>
#include <chrono>
#include <cstdint>
#include <utility>

namespace quenstal {

namespace {

constexpr const char* objectPath = "/app/quenstal/Quenstal";
constexpr const char* applicationInterface = "org.freedesktop.Application";
/// The program's own interface has the name of the program.
constexpr const char* ownInterface = SingleInstance::busName;
/// The bus's answer to a request for a name that another connection has.
constexpr std::uint32_t nameExists = 3;
/// A running instance answers between two of its turns, unless it hangs.
constexpr std::chrono::microseconds answerLimit = std::chrono::seconds(5);

} // namespace

SingleInstance::SingleInstance(DBusConnection& sessionBus)
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
    slot = nullptr;
    sd_bus_request_name_async(sessionBus_.get(), &slot, busName, 0, nameAnswered, this);
    nameQuestion_.reset(slot);
    sessionBus_.processUntil([this] { return isAnswered_; }, DBusConnection::greetingPatience);
}

int SingleInstance::nameAnswered(sd_bus_message* message, void* userData, sd_bus_error*)
{
    auto* instance = static_cast<SingleInstance*>(userData);
    std::uint32_t answer = 0;
    instance->isAnswered_ = true;
    instance->isFirst_ = sd_bus_message_is_method_error(message, nullptr) > 0
        || sd_bus_message_read_basic(message, SD_BUS_TYPE_UINT32, &answer) <= 0 || answer != nameExists;
    if (!instance->isFirst_ && instance->notFirst_)
        instance->notFirst_();
    return 0;
}

void SingleInstance::onActivated(RunLoop::Task task)
{
    activated_ = std::move(task);
    hearWhatWasKept();
}

void SingleInstance::onReportAsked(std::function<std::string()> report)
{
    report_ = std::move(report);
    hearWhatWasKept();
}

bool SingleInstance::activateFirst()
{
    sd_bus_message* call = nullptr;
    sd_bus_message_new_method_call(sessionBus_.get(), &call, busName, objectPath, applicationInterface, "Activate");
    const BusMessage ownedCall(call);
    return call && sd_bus_message_append(call, "a{sv}", 0) >= 0
        && sd_bus_call(sessionBus_.get(), call, answerLimit.count(), nullptr, nullptr) >= 0;
}

int SingleInstance::activate(sd_bus_message* message, void* userData, sd_bus_error*)
{
    auto* instance = static_cast<SingleInstance*>(userData);
    if (!instance->activated_)
        return instance->keepUntilHeard(message);
    instance->activated_();
    return sd_bus_reply_method_return(message, "");
}

int SingleInstance::report(sd_bus_message* message, void* userData, sd_bus_error*)
{
    auto* instance = static_cast<SingleInstance*>(userData);
    if (!instance->report_)
        return instance->keepUntilHeard(message);
    return sd_bus_reply_method_return(message, "s", instance->report_().c_str());
}

int SingleInstance::ignore(sd_bus_message* message, void*, sd_bus_error*)
{
    return sd_bus_reply_method_return(message, "");
}

int SingleInstance::keepUntilHeard(sd_bus_message* message)
{
    kept_.emplace_back(sd_bus_message_ref(message));
    return 1;
}

void SingleInstance::hearWhatWasKept()
{
    for (const BusMessage& message : std::exchange(kept_, {}))
        sd_bus_enqueue_for_read(sessionBus_.get(), message.get());
    sessionBus_.processSoon();
}

std::optional<std::string> reportOfRunningInstance()
{
    const Bus bus = DBusConnection::open(DBusConnection::Which::session);
    sd_bus_message* question = nullptr;
    if (bus && busGreets(*bus, answerLimit))
        sd_bus_message_new_method_call(
            bus.get(), &question, SingleInstance::busName, objectPath, ownInterface, "Report");
    const BusMessage ownedQuestion(question);
    if (!question)
        return std::nullopt;
    sd_bus_message_set_auto_start(question, 0);
    sd_bus_message* answer = nullptr;
    const int status = sd_bus_call(bus.get(), question, answerLimit.count(), nullptr, &answer);
    const BusMessage ownedAnswer(answer);
    const char* words = nullptr;
    if (status < 0 || sd_bus_message_read(answer, "s", &words) < 0)
        return std::nullopt;
    return words;
}

} // namespace quenstal
