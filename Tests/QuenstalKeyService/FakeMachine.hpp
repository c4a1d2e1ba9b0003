#pragma once

#include "QuenstalLinux/Bus/BusHandles.hpp"
#include "QuenstalLinux/Bus/DBusConnection.hpp"

#include <deque>
#include <map>
#include <string>
#include <vector>

namespace quenstal {

/// logind and polkit, as far as the key service asks them, on a bus of the test's own.
class FakeMachine {
public:
    struct Session {
        std::uint32_t user = 0;
        bool isRemote = false;
        std::string kind = "user";
        std::string seat = "seat0";
    };
    enum class Verdict { yes, no, error, none };

    FakeMachine(RunLoop& runLoop, const std::string& address);

    void addSession(const std::string& id, const Session& session);
    /// Puts a session at the seat; "" for none.
    void switchTo(const std::string& id);
    /// The session that every process belongs to; "" for none.
    void putProcessesInto(const std::string& id) { home_ = id; }
    /// Something about the seat that has nothing to do with who is at it.
    void tellIdleHint();

    void setVerdict(Verdict verdict) { verdict_ = verdict; }
    /// Answers what was left without an answer.
    void answerAll(bool isAuthorized);
    /// What polkit was asked: subject, action and flags.
    const std::vector<std::string>& questions() const { return questions_; }
    DBusConnection& connection() { return connection_; }

private:
    struct SessionObject {
        std::string id;
        Session properties;
        BusSlot object;
    };

    static std::string pathOf(const std::string& id);
    static int activeSession(
        sd_bus*, const char*, const char*, const char*, sd_bus_message* reply, void* self, sd_bus_error*);
    static int sessionProperty(
        sd_bus*, const char*, const char*, const char* name, sd_bus_message* reply, void* session, sd_bus_error*);
    static int sessionByProcess(sd_bus_message* message, void* self, sd_bus_error* error);
    static int checkAuthorization(sd_bus_message* message, void* self, sd_bus_error* error);
    static void answer(sd_bus_message* question, bool isAuthorized);

    DBusConnection connection_;
    std::string active_;
    std::string home_;
    std::deque<SessionObject> sessions_;
    Verdict verdict_ = Verdict::yes;
    std::vector<std::string> questions_;
    std::vector<BusMessage> waiting_;
};

} // namespace quenstal
