#include "QuenstalKeyService/KeyService.hpp"

#include <algorithm>
#include <array>
#include <cerrno>
#include <utility>

#include <sys/socket.h>

namespace quenstal {

namespace {

const char* explanation(KeyServiceRefusal refusal)
{
    switch (refusal) {
    case KeyServiceRefusal::notActive:
        return "The volume keys belong to the active local session.";
    case KeyServiceRefusal::notAuthorized:
        return "polkit does not allow it.";
    case KeyServiceRefusal::undecided:
        return "polkit or logind is not responding.";
    case KeyServiceRefusal::inUse:
        return "Another program in the session has already captured the volume keys.";
    case KeyServiceRefusal::takenByOther:
        return "Another program has grabbed the keyboards.";
    case KeyServiceRefusal::notCloned:
        return "The system cannot create copies of the keyboards.";
    case KeyServiceRefusal::unguarded:
        return "The system cannot start the process that guards the keyboards.";
    case KeyServiceRefusal::keyHeld:
        return "A key is being held down.";
    case KeyServiceRefusal::lostAtOnce:
        return "The keyboards are lost again as soon as they are captured.";
    case KeyServiceRefusal::noAccess:
        return "The service does not have access to the keyboards or to uinput.";
    case KeyServiceRefusal::tooMany:
        return "Too many calls are waiting for an answer.";
    }
    return "";
}

void refuse(sd_bus_message* call, KeyServiceRefusal refusal)
{
    sd_bus_reply_method_errorf(call, errorName(refusal), "%s", explanation(refusal));
}

} // namespace

KeyService::KeyService(RunLoop& runLoop, DBusConnection& systemBus, EvdevKeyCapture& keyboards, Handlers handlers)
    : runLoop_(runLoop)
    , systemBus_(systemBus)
    , keyboards_(keyboards)
    , handlers_(std::move(handlers))
    , keyboardWatch_(keyboards.onMayHaveChanged([this] { apply(); }))
    , activeSession_(systemBus, [this] { sessionChanged(); })
{
    static const std::array table{
        sd_bus_vtable SD_BUS_VTABLE_START(0),
        sd_bus_vtable SD_BUS_METHOD_WITH_ARGS(KeyServiceProtocol::captureMember, SD_BUS_NO_ARGS,
            SD_BUS_RESULT("h", socket), captureCalled, SD_BUS_VTABLE_UNPRIVILEGED),
        sd_bus_vtable SD_BUS_VTABLE_END,
    };
    sd_bus_slot* slot = nullptr;
    sd_bus_add_object_vtable(
        systemBus.get(), &slot, KeyServiceProtocol::objectPath, KeyServiceProtocol::interface, table.data(), this);
    object_.reset(slot);
    tendIdleTimer();
}

KeyService::~KeyService()
{
    if (isCapturing_)
        keyboards_.stop();
}

int KeyService::captureCalled(sd_bus_message* message, void* userData, sd_bus_error*)
{
    static_cast<KeyService*>(userData)->admit(message);
    return 1;
}

/// Anyone may call, as often as the bus carries it. A call must cost little, and nothing that lasts.
void KeyService::admit(sd_bus_message* call)
{
    // There would be no way to hand over a socket.
    if (sd_bus_message_get_expect_reply(call) <= 0)
        return;
    const std::string sender = sd_bus_message_get_sender(call);
    if (requests_.size() >= mostRequests || requests_.contains(sender)) {
        refuse(call, KeyServiceRefusal::tooMany);
        return;
    }
    const auto request = requests_.emplace(sender, Request{}).first;
    request->second.call.reset(sd_bus_message_ref(call));
    request->second.identity = std::make_unique<CallerQuestion>(
        systemBus_, sender, [this, request](const auto& caller) { identify(request, caller); });
    tendIdleTimer();
}

void KeyService::identify(Requests::iterator request, const std::optional<Caller>& caller)
{
    request->second.caller = caller;
    if (!caller)
        decide(request, KeyServiceRefusal::notActive);
    else if (activeSession_.isCertain())
        consider(request);
}

void KeyService::consider(Requests::iterator request)
{
    if (const auto obstacle = obstacleOf(request->second))
        decide(request, obstacle);
    else
        askLogind(request);
}

/// What is certain without a question comes first: callers that are not at the seat must not cost the others anything.
std::optional<KeyServiceRefusal> KeyService::obstacleOf(const Request& request) const
{
    const auto& session = activeSession_.current();
    if (!session || request.caller->user != session->user)
        return KeyServiceRefusal::notActive;
    if (std::ranges::count_if(requests_, [](const auto& entry) { return entry.second.membership != nullptr; })
        >= mostQuestions)
        return KeyServiceRefusal::tooMany;
    return obstacleIn(*session);
}

std::optional<KeyServiceRefusal> KeyService::obstacleIn(const ActiveSession::Session& session) const
{
    if (activeSession_.current() != session)
        return KeyServiceRefusal::notActive;
    if (clients_.contains(session.id))
        return KeyServiceRefusal::inUse;
    switch (keyboards_.obstacleKind()) {
    case EvdevKeyCapture::Obstacle::takenByOther:
        return KeyServiceRefusal::takenByOther;
    case EvdevKeyCapture::Obstacle::notCloned:
        return KeyServiceRefusal::notCloned;
    case EvdevKeyCapture::Obstacle::unguarded:
        return KeyServiceRefusal::unguarded;
    case EvdevKeyCapture::Obstacle::keyHeld:
        return KeyServiceRefusal::keyHeld;
    case EvdevKeyCapture::Obstacle::lostAtOnce:
        return KeyServiceRefusal::lostAtOnce;
    case EvdevKeyCapture::Obstacle::noAccess:
        return KeyServiceRefusal::noAccess;
    case EvdevKeyCapture::Obstacle::noKeyboard: // One may come.
    case EvdevKeyCapture::Obstacle::none:
        break;
    }
    return std::nullopt;
}

void KeyService::askLogind(Requests::iterator entry)
{
    Request& request = entry->second;
    request.session = *activeSession_.current();
    request.limit = runLoop_.after(longestQuestion, [this, entry] { decide(entry, KeyServiceRefusal::undecided); });
    request.membership = std::make_unique<ProcessSessionQuery>(
        systemBus_, request.caller->process, [this, entry](const auto& session) {
            if (session && *session != entry->second.session.path)
                decide(entry, KeyServiceRefusal::notActive);
            else
                askPolkit(entry);
        });
}

void KeyService::askPolkit(Requests::iterator request)
{
    request->second.authorization = std::make_unique<AuthorizationQuestion>(
        systemBus_, request->first, [this, request](std::optional<bool> isAuthorized) {
            if (!isAuthorized)
                decide(request, KeyServiceRefusal::undecided);
            else
                decide(request, *isAuthorized ? std::nullopt : std::optional(KeyServiceRefusal::notAuthorized));
        });
}

void KeyService::decide(Requests::iterator entry, std::optional<KeyServiceRefusal> refusal)
{
    const Request request = std::move(entry->second);
    requests_.erase(entry);
    // Much may have happened meanwhile.
    if (const auto obstacle = refusal ? refusal : obstacleIn(request.session))
        refuse(request.call.get(), *obstacle);
    else
        give(request.call.get(), request.session);
    tendIdleTimer();
}

void KeyService::give(sd_bus_message* call, const ActiveSession::Session& session)
{
    std::array<int, 2> ends{};
    if (socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, ends.data()) != 0) {
        sd_bus_reply_method_errno(call, errno, nullptr);
        return;
    }
    FileDescriptor ours(ends[0]);
    const FileDescriptor theirs(ends[1]);
    if (sd_bus_reply_method_return(call, "h", theirs.get()) < 0)
        return;
    const auto gone = [this, id = session.id](const char* reason) { drop(id, reason); };
    const std::string name = sd_bus_message_get_sender(call);
    clients_.emplace(session.id, std::make_unique<KeyClient>(runLoop_, systemBus_, name, std::move(ours), gone));
    handlers_.note(
        "The volume keys of session " + session.id + " go to " + name + ", user " + std::to_string(session.user) + ".");
    apply();
}

void KeyService::drop(const SessionID& session, const char* reason)
{
    const auto client = clients_.find(session);
    if (client == clients_.end())
        return;
    handlers_.note(
        client->second->name() + " of session " + session + " has given the volume keys back: it " + reason + ".");
    clients_.erase(client);
    apply();
    tendIdleTimer();
}

KeyClient* KeyService::activeClient() const
{
    const auto& session = activeSession_.current();
    const auto client = session ? clients_.find(session->id) : clients_.end();
    return client == clients_.end() ? nullptr : client->second.get();
}

void KeyService::apply()
{
    const bool isWanted = activeClient() != nullptr;
    if (isWanted == isCapturing_)
        return;
    if (!isWanted)
        keyboards_.stop();
    isCapturing_ = isWanted && keyboards_.start(*this);
}

void KeyService::sessionChanged()
{
    apply();
    if (!activeSession_.isCertain())
        return;
    for (auto next = requests_.begin(); next != requests_.end();) {
        // Considered, it may be gone.
        const auto request = next++;
        if (request->second.caller && !request->second.membership)
            consider(request);
    }
}

void KeyService::tendIdleTimer()
{
    if (!isIdle())
        idleTimer_.reset();
    else if (!idleTimer_)
        idleTimer_ = runLoop_.after(idleTime, [this] {
            idleTimer_.reset();
            handlers_.idle();
        });
}

void KeyService::volumeKeyDown(std::int64_t button, bool isRepeat)
{
    if (KeyClient* const client = activeClient())
        client->send({button, isRepeat});
}

void KeyService::captureLost()
{
    isCapturing_ = false;
    const auto kind = keyboards_.obstacleKind();
    const bool mayComeBack = kind == EvdevKeyCapture::Obstacle::none || kind == EvdevKeyCapture::Obstacle::noKeyboard;
    if (const auto& session = activeSession_.current(); session && !mayComeBack)
        drop(SessionID(session->id), "can no longer have the keyboards");
    else
        // Unplugged, or freed by the watchdog: the client need not know.
        retry_ = runLoop_.after(retryPause, [this] { apply(); });
}

} // namespace quenstal
