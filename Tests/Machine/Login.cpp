#include "Machine/Login.hpp"

#include <array>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <fstream>
#include <stdexcept>

#include <fcntl.h>
#include <grp.h>
#include <pwd.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace quenstal {
namespace {

constexpr const char* logind = "org.freedesktop.login1";
constexpr const char* logindPath = "/org/freedesktop/login1";
constexpr const char* logindManager = "org.freedesktop.login1.Manager";

void makeAccount(const MachineUser& user)
{
    if (getpwuid(user.number))
        return;
    const std::string number = std::to_string(user.number);
    std::ofstream("/etc/passwd", std::ios::app) << user.name << ":x:" << number << ":" << number << "::/:/bin/sh\n";
    std::ofstream("/etc/group", std::ios::app) << user.name << ":x:" << number << ":\n";
}

/// In a child: never again anyone else.
void become(const MachineUser& user)
{
    if (setgroups(0, nullptr) != 0 || setgid(user.number) != 0 || setuid(user.number) != 0)
        _exit(EXIT_FAILURE);
}

} // namespace

Login::Login(const MachineUser& user, unsigned terminal, const Program& program)
    : bus_(loop_, DBusConnection::Which::system)
{
    makeAccount(user);
    std::array<int, 2> gate{};
    if (pipe2(gate.data(), O_CLOEXEC) != 0)
        throw std::runtime_error("no pipe");
    const FileDescriptor entrance(gate[0]);
    FileDescriptor key(gate[1]);
    process_ = fork();
    if (process_ == 0) {
        close(gate[1]);
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        char opened = 0;
        // Until the session is there.
        if (read(gate[0], &opened, 1) != 1)
            _exit(EXIT_FAILURE);
        become(user);
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        if (program)
            program();
        else
            pause();
        _exit(EXIT_SUCCESS);
    }
    // What is left of the user's session before may still be ending.
    if (const auto opened = loop_.runUntil([&] { return openSession(user, terminal); }, std::chrono::seconds(30));
        !opened)
        throw std::runtime_error("logind opens no session for " + user.name + ": " + opened.message());
    if (write(key.get(), "!", 1) != 1)
        throw std::runtime_error("the session's program has gone");
}

Login::~Login()
{
    signal(SIGKILL);
    waitpid(process_, nullptr, 0);
}

bool Login::openSession(const MachineUser& user, unsigned terminal)
{
    sd_bus_error error = SD_BUS_ERROR_NULL;
    sd_bus_message* answer = nullptr;
    const std::string tty = "tty" + std::to_string(terminal);
    const int status = sd_bus_call_method(bus_.get(), logind, logindPath, logindManager, "CreateSession", &error,
        &answer, "uusssssussbssa(sv)", user.number, static_cast<unsigned>(process_), "machine-test", "tty", "user", "",
        "seat0", terminal, tty.c_str(), "", 0, "", "", 0);
    sd_bus_error_free(&error);
    if (status < 0)
        return false;
    const std::unique_ptr<sd_bus_message, decltype(&sd_bus_message_unref)> owner(answer, &sd_bus_message_unref);
    const char* id = nullptr;
    const char* path = nullptr;
    const char* runtime = nullptr;
    int end = -1;
    if (sd_bus_message_read(answer, "sosh", &id, &path, &runtime, &end) < 0)
        throw std::runtime_error("logind's answer is not understood");
    session_ = id;
    sessionEnd_ = FileDescriptor(fcntl(end, F_DUPFD_CLOEXEC, 3));
    return true;
}

void Login::activate()
{
    sd_bus_error error = SD_BUS_ERROR_NULL;
    const int status = sd_bus_call_method(
        bus_.get(), logind, logindPath, logindManager, "ActivateSession", &error, nullptr, "s", session_.c_str());
    if (status < 0)
        throw std::runtime_error(std::string("logind: ") + (error.message ? error.message : std::strerror(-status)));
}

void Login::signal(int number) const
{
    kill(process_, number);
}

Outsider::Outsider(const MachineUser& user, const std::function<void()>& program)
{
    makeAccount(user);
    process_ = fork();
    if (process_ == 0) {
        become(user);
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        program();
        _exit(EXIT_SUCCESS);
    }
}

Outsider::~Outsider()
{
    kill(process_, SIGKILL);
    waitpid(process_, nullptr, 0);
}

int errorOfOpening(const std::string& file, const MachineUser& user)
{
    const pid_t child = fork();
    if (child == 0) {
        become(user);
        const int opened = open(file.c_str(), O_RDWR | O_CLOEXEC | O_NONBLOCK);
        _exit(opened >= 0 ? 0 : errno);
    }
    int status = 0;
    waitpid(child, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : ECHILD;
}

} // namespace quenstal
