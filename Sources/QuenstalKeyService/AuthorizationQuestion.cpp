#include "QuenstalKeyService/AuthorizationQuestion.hpp"

#include "QuenstalLinux/Keyboards/KeyServiceProtocol.hpp"

#include <cstdint>
#include <utility>

namespace quenstal {

namespace {

constexpr const char* polkit = "org.freedesktop.PolicyKit1";
constexpr const char* authorityPath = "/org/freedesktop/PolicyKit1/Authority";
constexpr const char* authorityInterface = "org.freedesktop.PolicyKit1.Authority";
/// Nobody is asked for a password: a key must not open a dialogue.
constexpr std::uint32_t noInteraction = 0;

} // namespace

AuthorizationQuestion::AuthorizationQuestion(DBusConnection& systemBus, const std::string& client, Verdict verdict)
    : verdict_(std::move(verdict))
{
    sd_bus_slot* slot = nullptr;
    sd_bus_call_method_async(systemBus.get(), &slot, polkit, authorityPath, authorityInterface, "CheckAuthorization",
        answered, this, "(sa{sv})sa{ss}us", "system-bus-name", 1, "name", "s", client.c_str(),
        KeyServiceProtocol::polkitAction, 0, noInteraction, "");
    call_.reset(slot);
}

int AuthorizationQuestion::answered(sd_bus_message* message, void* userData, sd_bus_error*)
{
    std::optional<bool> decision;
    int isAuthorized = 0;
    int isChallenge = 0;
    if (sd_bus_message_is_method_error(message, nullptr) <= 0
        && sd_bus_message_enter_container(message, SD_BUS_TYPE_STRUCT, "bba{ss}") > 0
        && sd_bus_message_read(message, "bb", &isAuthorized, &isChallenge) > 0)
        decision = isAuthorized != 0;
    // A copy: the question may be destroyed by what follows from its answer.
    const Verdict verdict = static_cast<AuthorizationQuestion*>(userData)->verdict_;
    verdict(decision);
    return 0;
}

} // namespace quenstal
