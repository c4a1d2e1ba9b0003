#pragma once

// An X server of the test's own, on a display number that it chooses itself.

#include "Support/PrivateServer.hpp"

#include <optional>
#include <string>
#include <vector>

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
        : server_([](const std::string& descriptor) {
            return std::vector<std::string>{
                "Xvfb", "-displayfd", descriptor, "-screen", "0", "800x600x24", "-noreset", "-nolisten", "tcp"};
        })
        , display_(server_.line().empty() ? "" : ":" + server_.line())
    {
    }

    /// ":7", or empty when it did not start.
    const std::string& display() const { return display_; }
    void stop() { server_.stop(); }

    /// Runs a program against this server.
    int run(std::vector<std::string> command) const
    {
        command.insert(command.begin(), {"env", "DISPLAY=" + display_});
        return runProgram(std::move(command));
    }

private:
    PrivateServer server_;
    std::string display_;
};

} // namespace quenstal
