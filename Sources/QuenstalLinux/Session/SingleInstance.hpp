#pragma once

#include "QuenstalLinux/Bus/BusHandles.hpp"
#include "QuenstalLinux/Bus/DBusConnection.hpp"
#include "QuenstalPlatform/RunLoop.hpp"

#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace quenstal {

/// One instance for each session: the one that owns the program's name on the session bus. Main thread.
class SingleInstance {
public:
    static constexpr const char* busName = "app.quenstal.Quenstal";

    /// Tries to become the one. The bus outlives this. Without a bus every instance is the first; with one that does
    /// not answer at once, every instance is until it does.
    explicit SingleInstance(DBusConnection& sessionBus);
    SingleInstance(const SingleInstance&) = delete;
    SingleInstance& operator=(const SingleInstance&) = delete;

    bool isFirst() const { return isFirst_; }
    /// Runs the task if the bus reports later that another instance is the first.
    void onNotFirst(RunLoop::Task task) { notFirst_ = std::move(task); }
    /// Asks the first instance to show itself. False if it does not answer.
    bool activateFirst();
    /// Runs the task whenever another start, or the desktop, asks this instance to show itself. Requests from before
    /// this call are handled on the next turn of the run loop: a bus that starts the program delivers the request at
    /// once.
    void onActivated(RunLoop::Task task);
    /// Answers all requests, earlier ones too, for what this instance found.
    void onReportAsked(std::function<std::string()> report);

private:
    static int nameAnswered(sd_bus_message* message, void* userData, sd_bus_error* error);
    static int activate(sd_bus_message* message, void* userData, sd_bus_error* error);
    static int report(sd_bus_message* message, void* userData, sd_bus_error* error);
    static int ignore(sd_bus_message* message, void* userData, sd_bus_error* error);
    int keepUntilHeard(sd_bus_message* message);
    void hearWhatWasKept();

    DBusConnection& sessionBus_;
    BusSlot object_;
    BusSlot reports_;
    BusSlot nameQuestion_;
    bool isAnswered_ = false;
    bool isFirst_ = true;
    RunLoop::Task notFirst_;
    RunLoop::Task activated_;
    std::function<std::string()> report_;
    std::vector<BusMessage> kept_;
};

/// What the instance of this session found, asked over a connection of its own: there is no run loop yet. None when
/// there is no instance, or when it does not answer; none is started.
std::optional<std::string> reportOfRunningInstance();

} // namespace quenstal
