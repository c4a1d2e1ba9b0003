#include "QuenstalKeyService/KeyService.hpp"

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
        return "The volume keys belong to the local session at the screen.";
    case KeyServiceRefusal::notAuthorized:
        return "Not allowed by polkit.";
    case KeyServiceRefusal::inUse:
        return "The session's volume keys already belong to another program.";
    case KeyServiceRefusal::takenByOther:
        return "Another program has grabbed the keyboards.";
    case KeyServiceRefusal::notCloned:
        return "The system makes no clones of the keyboards.";
    case KeyServiceRefusal::unguarded:
        return "There is no process to guard the keyboards.";
    case KeyServiceRefusal::noAccess:
        return "The service may not use the keyboards or uinput.";
    case KeyServiceRefusal::tooMany:
        return "Too many calls wait for an answer.";
    }
    return "";
}

void refuse(sd_bus_message* call, KeyServiceRefusal refusal)
{
    sd_bus_reply_method_errorf(call, errorName(refusal), "%s", explanation(refusal));
}

struct Caller {
    uid_t user = 0;
    pid_t process = 0;
};

/// As the bus tells. None for one that has left it.
std::optional<Caller> callerOf(sd_bus_message* call)
{
    sd_bus_creds* asked = nullptr;
    sd_bus_query_sender_creds(call, SD_BUS_CREDS_EUID | SD_BUS_CREDS_PID, &asked);
    const BusCredentials credentials(asked);
    Caller caller;
    if (!credentials || sd_bus_creds_get_euid(credentials.get(), &caller.user) < 0
        || sd_bus_creds_get_pid(credentials.get(), &caller.process) < 0)
        return std::nullopt;
    return caller;
}

} // namespace

KeyService::KeyService(RunLoop& runLoop, BusConnection& systemBus, EvdevKeyCapture& keyboards, Handlers handlers)
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
    auto& self = *static_cast<KeyService*>(userData);
    if (self.activeSession_.isCertain())
        self.consider(message);
    else if (self.earlyCalls_.size() < mostRequests)
        self.earlyCalls_.emplace_back(sd_bus_message_ref(message));
    else
        refuse(message, KeyServiceRefusal::tooMany);
    self.tendIdleTimer();
    return 1;
}

/// What is certain without a question comes first: whoever is not at the seat costs nobody else anything.
void KeyService::consider(sd_bus_message* call)
{
    const auto& session = activeSession_.current();
    const auto caller = session ? callerOf(call) : std::nullopt;
    if (!caller || caller->user != session->user)
        refuse(call, KeyServiceRefusal::notActive);
    else if (requests_.size() >= mostRequests)
        refuse(call, KeyServiceRefusal::tooMany);
    else if (const auto obstacle = obstacleIn(*session))
        refuse(call, *obstacle);
    else
        askLogind(call, caller->process);
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
    case EvdevKeyCapture::Obstacle::noAccess:
        return KeyServiceRefusal::noAccess;
    case EvdevKeyCapture::Obstacle::noKeyboard: // One may come.
    case EvdevKeyCapture::Obstacle::none:
        break;
    }
    return std::nullopt;
}

void KeyService::askLogind(sd_bus_message* call, pid_t caller)
{
    const auto request = requests_.insert(
        requests_.end(), {BusMessage(sd_bus_message_ref(call)), *activeSession_.current(), nullptr, nullptr, nullptr});
    request->limit
        = runLoop_.after(longestQuestion, [this, request] { decide(request, KeyServiceRefusal::notAuthorized); });
    request->membership
        = std::make_unique<MembershipQuestion>(systemBus_, caller, [this, request](const auto& session) {
              if (session && *session != request->session.path)
                  decide(request, KeyServiceRefusal::notActive);
              else
                  askPolkit(request);
          });
}

void KeyService::askPolkit(Requests::iterator request)
{
    request->authorization = std::make_unique<AuthorizationQuestion>(
        systemBus_, sd_bus_message_get_sender(request->call.get()), [this, request](bool isAuthorized) {
            decide(request, isAuthorized ? std::nullopt : std::optional(KeyServiceRefusal::notAuthorized));
        });
}

void KeyService::decide(Requests::iterator entry, std::optional<KeyServiceRefusal> refusal)
{
    const Request request = std::move(*entry);
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
    clients_.emplace(session.id, std::make_unique<KeyClient>(runLoop_, call, std::move(ours), gone));
    handlers_.note("The volume keys of session " + session.id + " go to " + clients_[session.id]->name() + ", user "
        + std::to_string(session.user) + ".");
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
    for (const BusMessage& call : std::exchange(earlyCalls_, {}))
        consider(call.get());
    tendIdleTimer();
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
        drop(SessionID(session->id), "cannot have the keyboards any more");
    else
        // Unplugged, or freed by the watchdog: the client need not know.
        retry_ = runLoop_.after(retryPause, [this] { apply(); });
}

} // namespace quenstal
