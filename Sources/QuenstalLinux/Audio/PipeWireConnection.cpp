#include "QuenstalLinux/Audio/PipeWireConnection.hpp"

#include "QuenstalPlatform/RunLoop.hpp"

#include <algorithm>
#include <cerrno>
#include <stdexcept>
#include <string_view>
#include <utility>

namespace quenstal {

namespace {

using namespace std::chrono_literals;

/// A restarted server is back within a second or two; one that stays away is not worth five wake-ups a second.
constexpr auto quickRetry = 200ms;
constexpr auto slowRetry = 2s;
constexpr int quickAttempts = 50;

/// The settings with which the data thread gets real-time priority: in the plain ones only since version 1.
const char* configurationName(PipeWireConnection::Purpose purpose)
{
    const bool needsPriority = purpose == PipeWireConnection::Purpose::streams;
    return needsPriority && std::string_view(pw_get_library_version()).starts_with("0.") ? "client-rt.conf"
                                                                                         : "client.conf";
}

} // namespace

struct PipeWireConnection::Events {
    static PipeWireConnection& self(void* data) { return *static_cast<PipeWireConnection*>(data); }

    static void error(void* data, std::uint32_t id, int, int status, const char*)
    {
        PipeWireConnection& connection = self(data);
        if (id == PW_ID_CORE && status == -EPIPE) {
            // The core must not go while it tells of its own end.
            connection.pendingLoss_ = connection.runLoop_.after({}, [&connection] { connection.lose(); });
            return;
        }
        for (Listener* const listener : std::vector(connection.listeners_))
            listener->refused(id, status);
    }

    static void done(void* data, std::uint32_t id, int sequence)
    {
        PipeWireConnection& connection = self(data);
        if (id == PW_ID_CORE && sequence == connection.servedSequence_ && connection.served_)
            connection.pendingService_ = connection.runLoop_.after({}, std::exchange(connection.served_, {}));
    }

    static constexpr pw_core_events table = [] {
        pw_core_events events{};
        events.version = PW_VERSION_CORE_EVENTS;
        events.error = error;
        events.done = done;
        return events;
    }();
};

PipeWireConnection::PipeWireConnection(RunLoop& runLoop, Purpose purpose)
    : runLoop_(runLoop)
    , loop_(pw_loop_new(nullptr))
{
    if (!loop_)
        throw std::runtime_error("PipeWire's loop could not be created.");
    pw_properties* const properties
        = pw_properties_new(PW_KEY_APP_NAME, "Quenstal", PW_KEY_CONFIG_NAME, configurationName(purpose), nullptr);
    // Newer plain settings ask for the priority, unless told not to.
    if (purpose == Purpose::questions)
        pw_properties_set(properties, "module.rt", "false");
    context_.reset(pw_context_new(loop_.get(), properties, 0));
    if (!context_)
        throw std::runtime_error("PipeWire's context could not be created.");
    pw_loop_enter(loop_.get());
    loopWatch_ = runLoop_.watchReadable(pw_loop_get_fd(loop_.get()), [this] { pw_loop_iterate(loop_.get(), 0); });
    tryToConnect();
}

PipeWireConnection::~PipeWireConnection()
{
    core_.reset();
    loopWatch_.reset();
    pw_loop_leave(loop_.get());
}

PipeWireCore PipeWireConnection::connectAgain() const
{
    return PipeWireCore(pw_context_connect(context_.get(), nullptr, 0));
}

void PipeWireConnection::addListener(Listener& listener)
{
    listeners_.push_back(&listener);
    if (core_)
        listener.connected(*core_);
}

void PipeWireConnection::removeListener(Listener& listener)
{
    std::erase(listeners_, &listener);
}

std::optional<std::uint32_t> PipeWireConnection::clientNumber() const
{
    if (!core_)
        return std::nullopt;
    auto* const client = reinterpret_cast<pw_proxy*>(pw_core_get_client(core_.get()));
    const std::uint32_t number = client ? pw_proxy_get_bound_id(client) : SPA_ID_INVALID;
    return number == SPA_ID_INVALID ? std::nullopt : std::optional(number);
}

void PipeWireConnection::whenServed(RunLoop::Task task)
{
    served_ = std::move(task);
    if (core_)
        servedSequence_ = pw_core_sync(core_.get(), PW_ID_CORE, 0);
}

bool PipeWireConnection::runUntil(const std::function<bool()>& holds, RunLoop::Duration limit)
{
    const auto end = std::chrono::steady_clock::now() + limit;
    // What waits to be sent is sent, however soon it holds.
    if (core_)
        pw_loop_iterate(loop_.get(), 0);
    for (auto left = limit; !holds(); left = end - std::chrono::steady_clock::now()) {
        if (!core_ || left.count() <= 0)
            return false;
        pw_loop_iterate(loop_.get(), static_cast<int>(std::chrono::ceil<std::chrono::milliseconds>(left).count()));
    }
    return true;
}

void PipeWireConnection::tryToConnect()
{
    core_ = connectAgain();
    if (!core_) {
        retryLater();
        return;
    }
    attempts_ = 0;
    retry_.reset();
    pw_core_add_listener(core_.get(), &coreHook_, &Events::table, this);
    for (Listener* const listener : std::vector(listeners_))
        listener->connected(*core_);
}

void PipeWireConnection::lose()
{
    pendingLoss_.reset();
    served_ = {};
    const std::vector listeners(listeners_);
    std::for_each(listeners.rbegin(), listeners.rend(), [](Listener* listener) { listener->disconnected(); });
    core_.reset();
    retryLater();
}

void PipeWireConnection::retryLater()
{
    const RunLoop::Duration delay = ++attempts_ <= quickAttempts ? quickRetry : slowRetry;
    retry_ = runLoop_.after(delay, [this] { tryToConnect(); });
}

} // namespace quenstal
