#pragma once

#include "Machine/MachineLoop.hpp"
#include "QuenstalLinux/Bus/DBusConnection.hpp"
#include "QuenstalLinux/FileDescriptor.hpp"

#include <functional>
#include <string>

#include <sys/types.h>

namespace quenstal {

/// Someone who has an account on the machine.
struct MachineUser {
    std::string name;
    uid_t number;
};

/// Someone at the machine's screen and keyboard: a session of logind on one of its virtual terminals, with one program.
/// Root.
class Login {
public:
    using Program = std::function<void()>;

    /// Makes the account where it is missing, and runs the program in the session, as that user. The program ends with
    /// the login at the latest.
    Login(const MachineUser& user, unsigned terminal, const Program& program = {});
    ~Login();
    Login(const Login&) = delete;
    Login& operator=(const Login&) = delete;

    /// Brings the session to the screen.
    void activate();
    /// To the program.
    void signal(int number) const;

private:
    /// False when logind refuses it.
    bool openSession(const MachineUser& user, unsigned terminal);

    MachineLoop loop_;
    DBusConnection bus_;
    pid_t process_;
    std::string session_;
    /// The session lasts as long as this is open.
    FileDescriptor sessionEnd_;
};

/// A program of a user who is not at the machine; it ends with this at the latest. Root.
class Outsider {
public:
    Outsider(const MachineUser& user, const std::function<void()>& program);
    ~Outsider();
    Outsider(const Outsider&) = delete;
    Outsider& operator=(const Outsider&) = delete;

private:
    pid_t process_;
};

/// 0, or the errno with which the user fails to open the file for reading and writing.
int errorOfOpening(const std::string& file, const MachineUser& user);

} // namespace quenstal
