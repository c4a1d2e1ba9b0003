#pragma once

// An X server of the test's own, on a display number that it chooses itself.

#include <array>
#include <cstdlib>
#include <optional>
#include <string>
#include <vector>

#include <fcntl.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

namespace quenstal {

/// Runs a program and waits for its end. Its exit status.
inline int runProgram(std::vector<std::string> command)
{
    std::vector<char*> arguments;
    for (std::string& word : command)
        arguments.push_back(word.data());
    arguments.push_back(nullptr);
    const pid_t child = fork();
    if (child == 0) {
        execvp(arguments[0], arguments.data());
        _exit(127);
    }
    int status = 0;
    waitpid(child, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

class PrivateXServer {
public:
    /// None when there is no Xvfb to run.
    static std::optional<std::string> missingProgram()
    {
        for (const char* program : {"Xvfb", "xdotool", "setxkbmap"}) {
            if (runProgram({"sh", "-c", std::string("command -v ") + program + " >/dev/null"}) != 0)
                return program;
        }
        return std::nullopt;
    }

    PrivateXServer()
    {
        std::array<int, 2> ready{};
        if (pipe2(ready.data(), 0) != 0)
            return;
        const std::string descriptor = std::to_string(ready[1]);
        process_ = fork();
        if (process_ == 0) {
            close(ready[0]);
            const int silence = open("/dev/null", O_WRONLY);
            dup2(silence, STDERR_FILENO);
            execlp("Xvfb", "Xvfb", "-displayfd", descriptor.c_str(), "-screen", "0", "800x600x24", "-noreset",
                "-nolisten", "tcp", static_cast<char*>(nullptr));
            _exit(127);
        }
        close(ready[1]);
        // The server writes its number when it takes connections.
        char digit = 0;
        while (read(ready[0], &digit, 1) == 1 && digit != '\n')
            display_ += digit;
        close(ready[0]);
        if (!display_.empty())
            display_ = ":" + display_;
    }
    PrivateXServer(const PrivateXServer&) = delete;
    PrivateXServer& operator=(const PrivateXServer&) = delete;
    ~PrivateXServer() { stop(); }

    /// ":7", or empty when it did not start.
    const std::string& display() const { return display_; }

    void stop()
    {
        if (process_ <= 0)
            return;
        kill(process_, SIGTERM);
        waitpid(process_, nullptr, 0);
        process_ = -1;
    }

    /// Runs a program against this server.
    int run(std::vector<std::string> command) const
    {
        command.insert(command.begin(), {"env", "DISPLAY=" + display_});
        return runProgram(std::move(command));
    }

private:
    pid_t process_ = -1;
    std::string display_;
};

} // namespace quenstal
