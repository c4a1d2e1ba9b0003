// The installed key service on an emulated machine: systemd, the bus, polkit, logind and a USB keyboard, with clients
// in the sessions of users who may not open keyboards.

#include "Machine/Emulator.hpp"
#include "Machine/Keyboards.hpp"
#include "Machine/Login.hpp"
#include "Machine/MachineLoop.hpp"
#include "QuenstalLinux/Keys/EvdevKeyCapture.hpp"
#include "QuenstalLinux/Keys/ServiceKeyCapture.hpp"
#include "QuenstalPlatform/EventTaps.hpp"

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <memory>
#include <stdexcept>

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <linux/input-event-codes.h>
#include <unistd.h>

namespace quenstal {
namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;
using Key = KeyboardReader::Key;

const MachineUser alice{"alice", 4242};
const MachineUser bob{"bob", 4243};

/// In the user's session: asks for the keys as the application does, and reports one letter for each key or loss.
class Client final : private KeyCaptureListener {
public:
    explicit Client(int reports)
        : reports_(reports)
    {
    }

    void run()
    {
        if (!loop_.runUntil([this] { return capture_.isPossible(); }, 30s) || !capture_.start(*this))
            report('-');
        loop_.runUntil([] { return false; }, 300s);
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
    BusConnection systemBus_{loop_, BusConnection::Which::system};
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
        , login_(user, terminal, [writer = pipe_[1]] { Client(writer).run(); })
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
            if (loop.runUntil(isDecided, 15s) && client->reports().empty())
                return client;
        }
        throw std::runtime_error("the key service gives no keys");
    }

    testing::AssertionResult reports(ClientLogin& client, const std::string& expected)
    {
        return loop.runUntil([&] { return client.reports() == expected; }, 30s);
    }

    /// Whatever it does: it has no say in it. Until it is gone, the bus would send new calls to it.
    void killService()
    {
        EXPECT_EQ(std::system("systemctl kill --signal=KILL quenstal-keyd.service"), 0);
        const auto isGone = [] { return std::system("systemctl is-active -q quenstal-keyd.service") != 0; };
        EXPECT_TRUE(loop.runUntil(isGone, 20s));
    }

    std::unique_ptr<UsbKeyboard> keyboard;
    MachineLoop loop;
};

TEST_F(MachineKeyServiceTest, theUserAtTheScreenGetsTheVolumeKeysAndTheKeyboardStaysClosed)
{
    const auto client = loginWithKeys();
    const auto clone = keyboard->openCloneOnceGrabbed();
    for (const char* key : {"a", "volumeup", "volumedown", "audiomute", "b"})
        machine().press(key);
    EXPECT_TRUE(reports(*client, "+_0")) << client->reports();
    EXPECT_THAT(clone->keys(4), ElementsAre(Key(KEY_A, 1), Key(KEY_A, 0), Key(KEY_B, 1), Key(KEY_B, 0)));
    EXPECT_EQ(errorOfOpening(keyboardNode(UsbKeyboard::name), alice), EACCES);
    EXPECT_EQ(errorOfOpening(keyboardNode(UsbKeyboard::cloneName), alice), EACCES);
    EXPECT_EQ(errorOfOpening("/dev/uinput", alice), EACCES);
    EXPECT_EQ(errorOfOpening("/dev/quenstal-uinput", alice), EACCES);
}

TEST_F(MachineKeyServiceTest, whoIsNotAtTheScreenIsRefused)
{
    const auto first = loginWithKeys();
    keyboard->openCloneOnceGrabbed();
    ClientLogin second(bob, 2);
    EXPECT_TRUE(reports(second, "-")) << second.reports();
    machine().press("volumeup");
    EXPECT_TRUE(reports(*first, "+")) << first->reports();
    EXPECT_EQ(second.reports(), "-");
}

TEST_F(MachineKeyServiceTest, theKeysGoWithTheScreenAndComeBack)
{
    const auto first = loginWithKeys();
    keyboard->openCloneOnceGrabbed();
    Login second(bob, 2);
    second.activate();
    EXPECT_TRUE(keyboard->becomesFree());
    first->login().activate();
    keyboard->openCloneOnceGrabbed();
    machine().press("audiomute");
    EXPECT_TRUE(reports(*first, "0")) << first->reports();
}

TEST_F(MachineKeyServiceTest, aClientThatIsKilledGivesTheKeyboardBack)
{
    const auto client = loginWithKeys();
    keyboard->openCloneOnceGrabbed();
    client->login().signal(SIGKILL);
    EXPECT_TRUE(keyboard->becomesFree());
}

TEST_F(MachineKeyServiceTest, aServiceThatIsKilledLeavesTheKeyboardFreeAndItsClientKnows)
{
    const auto client = loginWithKeys();
    keyboard->openCloneOnceGrabbed();
    killService();
    EXPECT_TRUE(keyboard->becomesFree());
    EXPECT_TRUE(reports(*client, "-")) << client->reports();
}

TEST_F(MachineKeyServiceTest, aServiceThatIsStoppedLosesTheKeyboardToItsUser)
{
    const auto client = loginWithKeys();
    keyboard->openCloneOnceGrabbed();
    const std::string mainProcess = "kill -STOP $(systemctl show --property=MainPID --value quenstal-keyd.service)";
    EXPECT_EQ(std::system(mainProcess.c_str()), 0);
    EXPECT_TRUE(keyboard->becomesFree());
    killService();
}

TEST_F(MachineKeyServiceTest, aKeyboardPulledOutAndPluggedInAgainIsHeardAgain)
{
    const auto client = loginWithKeys();
    keyboard->openCloneOnceGrabbed();
    machine().pullOut("keyboard");
    EXPECT_TRUE(keyboardGoes(UsbKeyboard::name));
    EXPECT_TRUE(keyboardGoes(UsbKeyboard::cloneName));
    machine().plugInKeyboard("keyboard");
    keyboard = std::make_unique<UsbKeyboard>(machine());
    keyboard->openCloneOnceGrabbed();
    machine().press("volumedown");
    EXPECT_TRUE(reports(*client, "_")) << client->reports();
}

} // namespace
} // namespace quenstal
