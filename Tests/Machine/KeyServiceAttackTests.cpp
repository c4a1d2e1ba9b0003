// A program of another account, without a session, against the installed service and the client that has the keys.

#include "Machine/KeyServiceTest.hpp"
#include "QuenstalLinux/Keyboards/KeyServiceProtocol.hpp"
#include "Support/BusStranger.hpp"

#include <array>
#include <fstream>
#include <functional>

#include <gmock/gmock.h>
#include <linux/input-event-codes.h>
#include <sys/eventfd.h>

namespace quenstal {
namespace {

using testing::ElementsAre;
using Key = KeyboardReader::Key;

constexpr const char* systemBus = "unix:path=/run/dbus/system_bus_socket";

/// The same again and again, until the end of this.
class Attack {
public:
    using Round = std::function<void(BusStranger& attacker)>;

    explicit Attack(const Round& round)
        : rounds_(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK))
        , attacker_(bob, [&] { run(round); })
    {
    }

    /// Since the last call.
    bool hasGoneOn()
    {
        eventfd_t rounds = 0;
        return eventfd_read(rounds_.get(), &rounds) == 0;
    }

private:
    [[noreturn]] void run(const Round& round) const
    {
        BusStranger attacker(systemBus);
        for (;;) {
            round(attacker);
            eventfd_write(rounds_.get(), 1);
        }
    }

    FileDescriptor rounds_;
    Outsider attacker_;
};

std::vector<std::string> uniqueNames(BusStranger& asking)
{
    char** names = nullptr;
    sd_bus_list_names(asking.get(), &names, nullptr);
    std::vector<std::string> unique;
    for (char** name = names; name && *name; ++name) {
        if (**name == ':')
            unique.emplace_back(*name);
        std::free(*name);
    }
    std::free(names);
    return unique;
}

/// What logind and the bus would tell the service alone, if they ever told it anything alone.
void forgeNews(BusStranger& attacker)
{
    attacker.signal(KeyServiceProtocol::busName, "/org/freedesktop/login1/seat/seat0",
        "org.freedesktop.DBus.Properties", "PropertiesChanged", "sa{sv}as", "org.freedesktop.login1.Seat", 0, 1,
        "ActiveSession");
    for (const std::string& name : uniqueNames(attacker))
        attacker.signal(KeyServiceProtocol::busName, "/org/freedesktop/DBus", "org.freedesktop.DBus",
            "NameOwnerChanged", "sss", name.c_str(), name.c_str(), "");
}

void floodWithCalls(BusStranger& attacker)
{
    for (int call = 0; call < 64; ++call)
        attacker.call(KeyServiceProtocol::busName, KeyServiceProtocol::objectPath, KeyServiceProtocol::interface,
            KeyServiceProtocol::captureMember);
    attacker.flush();
}

struct MachineKeyServiceAttackTest : MachineKeyServiceTest {
    void SetUp() override
    {
        MachineKeyServiceTest::SetUp();
        if (IsSkipped() || HasFatalFailure())
            return;
        client = loginWithKeys();
        clone = keyboard->openCloneOnceGrabbed();
        service = mainProcess();
    }
    static std::string mainProcess() { return outputOf("systemctl show --property=MainPID --value quenstal-keyd"); }
    /// The most that the service ever had, in bytes.
    static long mostMemory()
    {
        long bytes = 0;
        std::ifstream("/sys/fs/cgroup/system.slice/quenstal-keyd.service/memory.peak") >> bytes;
        return bytes;
    }
    static std::string outputOf(const char* command)
    {
        const std::unique_ptr<FILE, int (*)(FILE*)> pipe(popen(command, "r"), pclose);
        std::array<char, 64> line{};
        return pipe && fgets(line.data(), line.size(), pipe.get()) ? line.data() : "";
    }
    testing::AssertionResult goesOn(Attack& attack)
    {
        return loop.runUntil([&] { return attack.hasGoneOn(); }, std::chrono::seconds(30));
    }
    void expectEveryLetter(int letters)
    {
        for (int letter = 0; letter < letters; ++letter) {
            machine().press("a");
            EXPECT_THAT(clone->keys(2), ElementsAre(Key(KEY_A, 1), Key(KEY_A, 0)));
        }
    }
    void expectTheKeys()
    {
        machine().press("volumeup");
        EXPECT_TRUE(reports(*client, "+")) << client->reports();
        EXPECT_EQ(mainProcess(), service);
    }

    std::unique_ptr<ClientLogin> client;
    std::unique_ptr<KeyboardReader> clone;
    std::string service;
};

TEST_F(MachineKeyServiceAttackTest, forgedNewsOfLogindAndTheBusLosesNoLetterAndNoKey)
{
    Attack attack(forgeNews);
    ASSERT_TRUE(goesOn(attack));
    expectEveryLetter(20);
    EXPECT_TRUE(goesOn(attack));
    expectTheKeys();
}

TEST_F(MachineKeyServiceAttackTest, aFloodOfCallsLeavesTheServiceItsMemoryAndTheClientItsKeys)
{
    Attack attack(floodWithCalls);
    for (int rounds = 0; rounds < 50; ++rounds)
        ASSERT_TRUE(goesOn(attack));
    expectTheKeys();
    expectEveryLetter(5);
    EXPECT_TRUE(goesOn(attack));
    EXPECT_GT(mostMemory(), 0);
    EXPECT_LT(mostMemory(), 16'000'000);
}

} // namespace
} // namespace quenstal
