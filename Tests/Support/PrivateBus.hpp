#pragma once

// A message bus of the test's own, with nobody on it but the test.

#include <array>
#include <cstdlib>
#include <string>

#include <fcntl.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace quenstal {

class PrivateBus {
public:
    /// One that allows everything.
    PrivateBus()
        : PrivateBus("--session")
    {
    }
    /// `option` chooses the configuration.
    explicit PrivateBus(const std::string& option)
    {
        std::array<int, 2> output{};
        if (pipe2(output.data(), 0) != 0)
            return;
        const std::string print = "--print-address=" + std::to_string(output[1]);
        process_ = fork();
        if (process_ == 0) {
            // A test that crashes leaves no bus behind, which would keep its runner waiting.
            prctl(PR_SET_PDEATHSIG, SIGTERM);
            close(output[0]);
            // It complains of limits that do not matter here.
            const int silence = open("/dev/null", O_WRONLY);
            dup2(silence, STDERR_FILENO);
            execlp("dbus-daemon", "dbus-daemon", option.c_str(), "--nofork", "--nopidfile", "--nosyslog", print.c_str(),
                static_cast<char*>(nullptr));
            _exit(127);
        }
        close(output[1]);
        char letter = 0;
        while (read(output[0], &letter, 1) == 1 && letter != '\n')
            address_ += letter;
        close(output[0]);
    }
    PrivateBus(const PrivateBus&) = delete;
    PrivateBus& operator=(const PrivateBus&) = delete;
    ~PrivateBus() { stop(); }

    /// Empty when it did not start.
    const std::string& address() const { return address_; }
    void stop()
    {
        if (process_ <= 0)
            return;
        kill(process_, SIGTERM);
        waitpid(process_, nullptr, 0);
        process_ = -1;
    }

private:
    pid_t process_ = -1;
    std::string address_;
};

} // namespace quenstal
