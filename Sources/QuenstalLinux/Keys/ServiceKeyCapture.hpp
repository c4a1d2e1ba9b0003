#pragma once

#include "QuenstalLinux/Bus/BusHandles.hpp"
#include "QuenstalLinux/Bus/DBusConnection.hpp"
#include "QuenstalLinux/Bus/NameOwner.hpp"
#include "QuenstalLinux/Bus/ServiceSignal.hpp"
#include "QuenstalLinux/FileDescriptor.hpp"
#include "QuenstalLinux/Keyboards/EvdevKeyCapture.hpp"
#include "QuenstalLinux/Keyboards/KeyCapture.hpp"
#include "QuenstalLinux/Keyboards/KeyServiceProtocol.hpp"
#include "QuenstalPlatform/Notifier.hpp"

#include <optional>
#include <string>
#include <string_view>
#include <utility>

namespace quenstal {

/// Volume keys from the key service, which alone opens keyboards and passes on only these keys. Works in the active
/// session, without any further privileges.
class ServiceKeyCapture final : public KeyCapture {
public:
    /// After a refusal the service is left alone for this long.
    static constexpr auto refusalPause = std::chrono::seconds(30);
    /// The bus itself answers whether the service is installed, in less than a millisecond. Until one that takes longer
    /// has answered it counts as one without the service.
    static constexpr auto longestQuestion = std::chrono::milliseconds(25);
    /// For the answer to `Capture`, which may have to start the service. That waits five seconds for polkit, and then
    /// reports it.
    static constexpr auto longestCall = std::chrono::seconds(10);

    /// Asks the bus once whether there is a service; from then on the bus reports changes. Listing the keyboards takes
    /// no right to read them. All three outlive this.
    ServiceKeyCapture(RunLoop& runLoop, DBusConnection& systemBus, const EvdevKeyCapture& keyboards);
    ~ServiceKeyCapture() override;

    std::string_view name() const override { return "by the key service"; }
    /// From memory: neither asks nor starts the service. A keyboard that is unplugged meanwhile changes nothing, since
    /// the service waits for the next one.
    bool isPossible() override;
    std::string obstacle() override;
    /// True while the service is being asked; a refusal is reported as a loss.
    bool start(KeyCaptureListener& listener) override;
    void stop() override;
    [[nodiscard]] Cancellation onMayHaveChanged(RunLoop::Task task) override { return changes_.add(std::move(task)); }

private:
    static int captureAnswered(sd_bus_message* message, void* userData, sd_bus_error* error);
    static int servicesListed(sd_bus_message* message, void* userData, sd_bus_error* error);

    void ownerChanged();
    bool hasKeyboard() const;
    void askWhetherInstalled();
    void askAgain();
    void setInstalled(bool isInstalled);
    void take(FileDescriptor socket);
    void refuse(std::string_view errorName);
    void readPresses();
    void lose();

    RunLoop& runLoop_;
    DBusConnection& systemBus_;
    const EvdevKeyCapture& keyboards_;
    Notifier<> changes_;
    bool isInstalled_ = false;
    std::optional<KeyServiceRefusal> refusal_;
    /// While this runs the last refusal counts.
    Cancellation refusalEnd_;
    KeyCaptureListener* listener_ = nullptr;
    FileDescriptor socket_;
    Cancellation socketWatch_;
    BusSlot call_;
    Cancellation callLimit_;
    BusSlot question_;
    ServiceSignal serviceChanges_;
    NameOwner service_;
};

} // namespace quenstal
