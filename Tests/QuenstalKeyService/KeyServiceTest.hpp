#pragma once

#include "QuenstalKeyService/FakeMachine.hpp"
#include "QuenstalKeyService/KeyService.hpp"
#include "QuenstalKeyService/TestClient.hpp"
#include "QuenstalLinux/Keys/EmulatedKeyboard.hpp"
#include "QuenstalSimulation/SimulatedRunLoop.hpp"
#include "Support/Eventually.hpp"
#include "Support/PrivateBus.hpp"

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <unistd.h>

namespace quenstal {

/// The real service over emulated keyboards and a real bus, with time moved by hand.
struct KeyServiceTest : testing::Test {
    void SetUp() override
    {
        if (!EmulatedKeyboard::isPossible())
            GTEST_SKIP() << "umockdev is not preloaded";
        if (bus.address().empty())
            GTEST_SKIP() << "dbus-daemon is not installed";
        keyboard = std::make_unique<EmulatedKeyboard>();
        machine = std::make_unique<FakeMachine>(loop, bus.address());
        machine->addSession("mine", {getuid()});
        machine->addSession("other", {getuid() + 1});
        machine->switchTo("mine");
    }

    void startService()
    {
        serviceBus = std::make_unique<DBusConnection>(loop, bus.address());
        keyboards = std::make_unique<EvdevKeyCapture>(loop, firstSeat, EmulatedKeyboard::shortPatience());
        const auto note = [this](const std::string& line) { notes.push_back(line); };
        service = std::make_unique<KeyService>(
            loop, *serviceBus, *keyboards, KeyService::Handlers{[this] { ++idles; }, note});
        sd_bus_request_name(serviceBus->get(), KeyServiceProtocol::busName, 0);
    }

    std::unique_ptr<TestClient> newClient() { return std::make_unique<TestClient>(loop, bus.address()); }
    /// One that was given the keys, and whose keyboards are grabbed.
    std::unique_ptr<TestClient> capturingClient()
    {
        auto client = newClient();
        client->capture();
        EXPECT_TRUE(eventually([&] { return client->hasSocket(); })) << client->error();
        EXPECT_TRUE(eventually([&] { return keyboard->isGrabbed(); }));
        return client;
    }
    /// The name of the error that a new client's call ends with; empty when it gets the keys.
    std::string errorOfNewClient()
    {
        const auto client = newClient();
        client->capture();
        EXPECT_TRUE(eventually([&] { return client->isAnswered(); }));
        return client->error();
    }
    bool eventually(const std::function<bool()>& holds) { return quenstal::eventually(loop, holds); }
    /// Whoever had the keyboard before has read its last: the emulation has one stream for all.
    bool isCapturedAgain()
    {
        return eventually(
            [&] { return keyboard->isGrabbed() && keyboard->clones() == 1 && keyboard->hasAnsweredAll(); });
    }
    /// A key that the desktop must get, and does.
    bool desktopGetsKeys()
    {
        const std::size_t before = keyboard->passed().size();
        keyboard->type({{KEY_A, 1}});
        return eventually([&] { return keyboard->passed().size() == before + 1; });
    }

    PrivateBus bus;
    SimulatedRunLoop loop;
    std::unique_ptr<EmulatedKeyboard> keyboard;
    std::unique_ptr<FakeMachine> machine;
    std::unique_ptr<DBusConnection> serviceBus;
    std::unique_ptr<EvdevKeyCapture> keyboards;
    std::unique_ptr<KeyService> service;
    int idles = 0;
    std::vector<std::string> notes;
};

} // namespace quenstal
