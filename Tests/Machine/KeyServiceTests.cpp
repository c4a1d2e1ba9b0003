// Who gets the volume keys of a machine, and what happens to them when a session, a client or the service ends.

#include "Machine/KeyServiceTest.hpp"

#include <cerrno>
#include <csignal>
#include <cstdlib>

#include <gmock/gmock.h>
#include <linux/input-event-codes.h>

namespace quenstal {
namespace {

using testing::ElementsAre;
using Key = KeyboardReader::Key;

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
