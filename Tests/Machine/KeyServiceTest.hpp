#pragma once

// The installed key service on an emulated machine: systemd, the bus, polkit, logind and a USB keyboard, with clients
// in the sessions of users who may not open keyboards.

#include "Machine/Emulator.hpp"
#include "Machine/Keyboards.hpp"
#include "Machine/Login.hpp"
#include "Machine/MachineLoop.hpp"
#include "QuenstalLinux/Keyboards/EvdevKeyCapture.hpp"
#include "QuenstalLinux/Keys/ServiceKeyCapture.hpp"
#include "QuenstalPlatform/EventTaps.hpp"

#include <array>
#include <cstdlib>
#include <memory>
#include <stdexcept>
#include <string>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

namespace quenstal {

inline const MachineUser alice{"alice", 4242};
inline const MachineUser bob{"bob", 4243};

/// In the user's session: asks for the keys as the application does, and reports one letter for each key or loss.
class MachineClient final : private KeyCaptureListener {
public:
    explicit MachineClient(int reports)
        : reports_(reports)
    {
    }

    void run()
    {
        if (!loop_.runUntil([this] { return capture_.isPossible(); }, std::chrono::seconds(30))
            || !capture_.start(*this))
            report('-');
        loop_.runUntil([] { return false; }, std::chrono::seconds(300));
    }

private:
    void volumeKeyDown(std::int64_t button, bool) override
    {
        report(button == AuxiliaryButton::soundUp ? '+' : button == AuxiliaryButton::soundDown ? '_' : '0');
    }
    void captureLost() override { report('-'); }
    void report(char letter)
    {
        if (write(reports_, &letter, 1) != 1)
            _exit(EXIT_FAILURE);
    }

    const int reports_;
    MachineLoop loop_;
    DBusConnection systemBus_{loop_, DBusConnection::Which::system};
    EvdevKeyCapture keyboards_{loop_};
    ServiceKeyCapture capture_{loop_, systemBus_, keyboards_};
};

/// A user at the machine with such a client.
class ClientLogin {
public:
    ClientLogin(const MachineUser& user, unsigned terminal)
        : pipe_(makePipe())
        , reader_(pipe_[0])
        , writer_(pipe_[1])
        , login_(user, terminal, [writer = pipe_[1]] { MachineClient(writer).run(); })
    {
    }

    Login& login() { return login_; }
    /// All reports so far.
    const std::string& reports()
    {
        for (char letter = 0; read(reader_.get(), &letter, 1) == 1;)
            reports_ += letter;
        return reports_;
    }

private:
    static std::array<int, 2> makePipe()
    {
        std::array<int, 2> ends{};
        if (pipe2(ends.data(), O_CLOEXEC | O_NONBLOCK) != 0)
            throw std::runtime_error("no pipe");
        return ends;
    }

    std::array<int, 2> pipe_;
    FileDescriptor reader_;
    FileDescriptor writer_;
    std::string reports_;
    Login login_;
};

struct MachineKeyServiceTest : testing::Test {
    void SetUp() override
    {
        if (!Emulator::isPresent())
            GTEST_SKIP() << "runs on an emulated machine";
        keyboard = std::make_unique<UsbKeyboard>(machine());
        ASSERT_TRUE(keyboard->becomesFree());
        ASSERT_TRUE(keyboardGoes(UsbKeyboard::cloneName));
    }

    static Emulator& machine()
    {
        static Emulator emulator;
        return emulator;
    }

    /// The application asks again when the service did not answer in time, as on a machine this slow; here another
    /// client does.
    std::unique_ptr<ClientLogin> loginWithKeys()
    {
        for (int attempt = 0; attempt < 4; ++attempt) {
            auto client = std::make_unique<ClientLogin>(alice, 1);
            const auto isDecided
                = [&] { return !keyboardNodes(UsbKeyboard::cloneName).empty() || !client->reports().empty(); };
            if (loop.runUntil(isDecided, std::chrono::seconds(15)) && client->reports().empty())
                return client;
        }
        throw std::runtime_error("the key service gives no keys");
    }

    testing::AssertionResult reports(ClientLogin& client, const std::string& expected)
    {
        return loop.runUntil([&] { return client.reports() == expected; }, std::chrono::seconds(30));
    }

    /// Whatever it does: it has no say in it. Until it is gone, the bus would send new calls to it.
    void killService()
    {
        EXPECT_EQ(std::system("systemctl kill --signal=KILL quenstal-keyd.service"), 0);
        const auto isGone = [] { return std::system("systemctl is-active -q quenstal-keyd.service") != 0; };
        EXPECT_TRUE(loop.runUntil(isGone, std::chrono::seconds(20)));
    }

    std::unique_ptr<UsbKeyboard> keyboard;
    MachineLoop loop;
};

} // namespace quenstal
