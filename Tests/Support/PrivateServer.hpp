#pragma once

// A server of the test's own, which writes a line to a descriptor once it takes connections.

#include <array>
#include <functional>
#include <string>
#include <vector>

#include <fcntl.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace quenstal {

class PrivateServer {
public:
    /// The program and its arguments, by the number of the descriptor that it is to write its line to.
    using Command = std::function<std::vector<std::string>(const std::string& descriptor)>;

    explicit PrivateServer(const Command& command)
    {
        std::array<int, 2> ready{};
        if (pipe2(ready.data(), 0) != 0)
            return;
        std::vector<std::string> words = command(std::to_string(ready[1]));
        std::vector<char*> arguments;
        for (std::string& word : words)
            arguments.push_back(word.data());
        arguments.push_back(nullptr);
        process_ = fork();
        if (process_ == 0) {
            // A test that crashes leaves no server behind, which would keep its runner waiting.
            prctl(PR_SET_PDEATHSIG, SIGTERM);
            close(ready[0]);
            // It complains of things that do not matter here.
            const int silence = open("/dev/null", O_WRONLY);
            dup2(silence, STDERR_FILENO);
            execvp(arguments[0], arguments.data());
            _exit(127);
        }
        close(ready[1]);
        char letter = 0;
        while (read(ready[0], &letter, 1) == 1 && letter != '\n')
            line_ += letter;
        close(ready[0]);
    }
    PrivateServer(const PrivateServer&) = delete;
    PrivateServer& operator=(const PrivateServer&) = delete;
    ~PrivateServer() { stop(); }

    /// Empty when it did not start.
    const std::string& line() const { return line_; }
    /// Answers nobody until it goes on.
    void halt() const { kill(process_, SIGSTOP); }
    void goOn() const { kill(process_, SIGCONT); }
    void stop()
    {
        if (process_ <= 0)
            return;
        kill(process_, SIGTERM);
        goOn();
        waitpid(process_, nullptr, 0);
        process_ = -1;
    }

private:
    pid_t process_ = -1;
    std::string line_;
};

} // namespace quenstal
