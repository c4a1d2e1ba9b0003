#pragma once

// A message bus of the test's own that starts a program for a name.

#include "Support/PrivateBus.hpp"

#include <filesystem>
#include <fstream>
#include <memory>
#include <string>

#include <gtest/gtest.h>
#include <unistd.h>

namespace quenstal {

class BusThatStarts {
public:
    BusThatStarts(const std::string& name, const std::string& command)
    {
        std::filesystem::create_directories(folder_);
        write("service", "[D-BUS Service]\nName=" + name + "\nExec=" + command + "\n");
        write("conf",
            "<busconfig><type>session</type><listen>unix:tmpdir=/tmp</listen><servicedir>" + folder_
                + "</servicedir><policy context=\"default\"><allow send_destination=\"*\"/><allow own=\"*\"/><allow "
                  "receive_sender=\"*\"/></policy>"
                  "</busconfig>");
        bus_ = std::make_unique<PrivateBus>("--config-file=" + folder_ + "/bus.conf");
    }
    BusThatStarts(const BusThatStarts&) = delete;
    BusThatStarts& operator=(const BusThatStarts&) = delete;
    ~BusThatStarts() { std::filesystem::remove_all(folder_); }

    const PrivateBus& operator*() const { return *bus_; }
    const PrivateBus* operator->() const { return bus_.get(); }

private:
    void write(const char* kind, const std::string& text) const { std::ofstream(folder_ + "/bus." + kind) << text; }

    std::string folder_ = testing::TempDir() + "quenstal-bus-" + std::to_string(getpid());
    std::unique_ptr<PrivateBus> bus_;
};

} // namespace quenstal
