// What the system's bus, with the policy that is installed, lets through to the key service.

#include "QuenstalLinux/Keyboards/KeyServiceProtocol.hpp"
#include "Support/BusStranger.hpp"
#include "Support/PrivateBus.hpp"

#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <pwd.h>
#include <unistd.h>

namespace quenstal {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

/// A bus of the system's kind, on which whoever runs this has the service's account.
class BusWithPolicy {
public:
    BusWithPolicy()
    {
        std::filesystem::create_directories(folder_);
        std::ifstream shipped(QUENSTAL_BUS_POLICY);
        std::string policy{std::istreambuf_iterator<char>(shipped), {}};
        const std::string account = "user=\"quenstal-keyd\"";
        policy.replace(
            policy.find(account), account.size(), std::string("user=\"") + getpwuid(getuid())->pw_name + "\"");
        std::ofstream(folder_ + "/policy.conf") << policy;
        std::ofstream(folder_ + "/bus.conf")
            << "<busconfig><type>system</type><listen>unix:tmpdir=/tmp</listen><auth>EXTERNAL</auth>"
               "<policy context=\"default\"><allow user=\"*\"/><deny own=\"*\"/><deny send_type=\"method_call\"/>"
               "<allow send_type=\"signal\"/><allow receive_type=\"method_call\"/><allow receive_type=\"signal\"/>"
               "<allow send_requested_reply=\"true\" send_type=\"method_return\"/>"
               "<allow send_requested_reply=\"true\" send_type=\"error\"/>"
               "<allow receive_type=\"method_return\"/><allow receive_type=\"error\"/>"
               "<allow send_destination=\"org.freedesktop.DBus\"/></policy><include>"
            << folder_ << "/policy.conf</include></busconfig>";
        bus_ = std::make_unique<PrivateBus>("--config-file=" + folder_ + "/bus.conf");
    }
    BusWithPolicy(const BusWithPolicy&) = delete;
    BusWithPolicy& operator=(const BusWithPolicy&) = delete;
    ~BusWithPolicy() { std::filesystem::remove_all(folder_); }

    const std::string& address() const { return bus_->address(); }

private:
    std::string folder_ = testing::TempDir() + "quenstal-policy-" + std::to_string(getpid());
    std::unique_ptr<PrivateBus> bus_;
};

struct KeyServicePolicyTest : testing::Test {
    void SetUp() override
    {
        if (bus.address().empty())
            GTEST_SKIP() << "dbus-daemon is not installed";
        service = std::make_unique<BusStranger>(bus.address());
        other = std::make_unique<BusStranger>(bus.address());
        ASSERT_GE(sd_bus_request_name(service->get(), KeyServiceProtocol::busName, 0), 0);
        sd_bus_add_filter(service->get(), nullptr, note, this);
        sd_bus_match_signal(service->get(), nullptr, nullptr, nullptr, "app.quenstal.Test", nullptr, nullptr, nullptr);
    }

    static int note(sd_bus_message* message, void* self, sd_bus_error*)
    {
        if (const char* member = sd_bus_message_get_member(message); member && std::string(member) != "NameAcquired")
            static_cast<KeyServicePolicyTest*>(self)->arrived_.emplace_back(member);
        return 0;
    }
    /// Signals and calls that the bus delivered to the service.
    const std::vector<std::string>& arrived()
    {
        other->roundTrip();
        service->roundTrip();
        while (sd_bus_process(service->get(), nullptr) > 0) { }
        return arrived_;
    }
    void capture(const std::vector<int>& descriptors)
    {
        sd_bus_message* call = nullptr;
        ASSERT_GE(sd_bus_message_new_method_call(other->get(), &call, KeyServiceProtocol::busName,
                      KeyServiceProtocol::objectPath, KeyServiceProtocol::interface, KeyServiceProtocol::captureMember),
            0);
        for (const int descriptor : descriptors)
            sd_bus_message_append(call, "h", descriptor);
        sd_bus_send(other->get(), call, nullptr);
        sd_bus_message_unref(call);
    }

    BusWithPolicy bus;
    std::unique_ptr<BusStranger> service;
    std::unique_ptr<BusStranger> other;

private:
    std::vector<std::string> arrived_;
};

TEST_F(KeyServicePolicyTest, aSignalToTheServiceAloneIsNotDelivered)
{
    other->signal(KeyServiceProtocol::busName, "/", "app.quenstal.Test", "ByItsName", "");
    other->signal(service->name(), "/", "app.quenstal.Test", "ByItsNumber", "");
    EXPECT_THAT(arrived(), IsEmpty());
}

TEST_F(KeyServicePolicyTest, aSignalToEveryoneIs)
{
    sd_bus_emit_signal(other->get(), "/", "app.quenstal.Test", "ToEveryone", "");
    EXPECT_THAT(arrived(), ElementsAre("ToEveryone"));
}

TEST_F(KeyServicePolicyTest, aCallThatCarriesDescriptorsIsNotDeliveredAndOneWithoutIs)
{
    capture({STDIN_FILENO});
    EXPECT_THAT(arrived(), IsEmpty());
    capture({});
    EXPECT_THAT(arrived(), ElementsAre("Capture"));
}

} // namespace
} // namespace quenstal
