#pragma once

#include "QuenstalKeyService/ActiveSession.hpp"
#include "QuenstalKeyService/AuthorizationQuestion.hpp"
#include "QuenstalKeyService/CallerQuestion.hpp"
#include "QuenstalKeyService/KeyClient.hpp"
#include "QuenstalKeyService/ProcessSessionQuery.hpp"
#include "QuenstalLinux/Bus/BusHandles.hpp"
#include "QuenstalLinux/Bus/DBusConnection.hpp"
#include "QuenstalLinux/Keyboards/EvdevKeyCapture.hpp"
#include "QuenstalLinux/Keyboards/KeyServiceProtocol.hpp"
#include "QuenstalPlatform/RunLoop.hpp"

#include <cstddef>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>

namespace quenstal {

/// Hands the volume keys of the seat's keyboards to one program of the session that is at the seat, and to nobody
/// else. The keyboards are taken over only while there is such a program; a switch to another session frees them at
/// once and the way back takes them again. Main thread.
class KeyService final : private KeyCaptureListener {
public:
    /// Callers that may wait at one time for the bus to identify them: more than one account can have connections.
    static constexpr std::size_t mostRequests = 512;
    /// Those of the session at the seat that may wait for an answer of logind and polkit.
    static constexpr std::ptrdiff_t mostQuestions = 8;
    /// logind and polkit, which ask nobody, answer at once; later than this is no, for now.
    static constexpr auto longestQuestion = std::chrono::seconds(5);
    /// How long nobody must have wanted the keys before the service exits.
    static constexpr auto idleTime = std::chrono::seconds(30);
    /// After keyboards were lost without a reason that lasts.
    static constexpr auto retryPause = std::chrono::seconds(1);

    struct Handlers {
        /// Nobody wanted the keys for `idleTime`.
        std::function<void()> idle;
        /// One line for the system's log.
        std::function<void(const std::string&)> note;
    };

    /// Everything outlives this.
    KeyService(RunLoop& runLoop, DBusConnection& systemBus, EvdevKeyCapture& keyboards, Handlers handlers);
    ~KeyService();
    KeyService(const KeyService&) = delete;
    KeyService& operator=(const KeyService&) = delete;

    bool isIdle() const { return clients_.empty() && requests_.empty(); }

private:
    /// A call of `Capture`, and the questions that it waits for, one after the other.
    struct Request {
        BusMessage call;
        std::unique_ptr<CallerQuestion> identity;
        /// Once the bus has answered.
        std::optional<Caller> caller;
        /// The one at the seat when it came to the caller's turn.
        ActiveSession::Session session;
        std::unique_ptr<ProcessSessionQuery> membership;
        std::unique_ptr<AuthorizationQuestion> authorization;
        Cancellation limit;
    };
    /// By the caller's unique name: one call of each.
    using Requests = std::map<std::string, Request>;
    using SessionID = std::string;

    static int captureCalled(sd_bus_message* message, void* userData, sd_bus_error* error);

    void admit(sd_bus_message* call);
    void identify(Requests::iterator request, const std::optional<Caller>& caller);
    void consider(Requests::iterator request);
    std::optional<KeyServiceRefusal> obstacleOf(const Request& request) const;
    std::optional<KeyServiceRefusal> obstacleIn(const ActiveSession::Session& session) const;
    void askLogind(Requests::iterator entry);
    void askPolkit(Requests::iterator request);
    /// With the reason for a no.
    void decide(Requests::iterator entry, std::optional<KeyServiceRefusal> refusal);
    void give(sd_bus_message* call, const ActiveSession::Session& session);
    void drop(const SessionID& session, const char* reason);

    KeyClient* activeClient() const;
    /// Takes the keyboards over or frees them, as the session at the seat asks for.
    void apply();
    void tendIdleTimer();
    void sessionChanged();

    void volumeKeyDown(std::int64_t button, bool isRepeat) override;
    void captureLost() override;

    RunLoop& runLoop_;
    DBusConnection& systemBus_;
    EvdevKeyCapture& keyboards_;
    Handlers handlers_;
    bool isCapturing_ = false;
    std::map<SessionID, std::unique_ptr<KeyClient>> clients_;
    Requests requests_;
    Cancellation idleTimer_;
    Cancellation retry_;
    Cancellation keyboardWatch_;
    BusSlot object_;
    ActiveSession activeSession_;
};

} // namespace quenstal
