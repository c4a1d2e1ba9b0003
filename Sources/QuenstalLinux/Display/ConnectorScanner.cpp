#include "QuenstalLinux/Display/ConnectorScanner.hpp"

#include "QuenstalLinux/Display/Edid.hpp"

#include <algorithm>
#include <array>
#include <set>
#include <utility>

namespace quenstal {
namespace {

constexpr I2CDevices::Address edidAddress = 0x50;
constexpr WorkerTime::Duration longestStop = std::chrono::milliseconds(100);

using Bytes = std::vector<std::uint8_t>;

Bytes firstBlock(const Bytes& edid)
{
    return {edid.begin(), edid.begin() + static_cast<std::ptrdiff_t>(std::min(edid.size(), edidBlockLength))};
}

/// Empty when nothing answers.
Bytes edidOn(const CardBus& bus, const DisplayMachine& machine, CardGates& gates)
{
    constexpr std::array<std::uint8_t, 1> fromTheBeginning{0};
    BusLink link(machine.devRoot / bus.device, machine.devices, machine.time, gates.of(bus.card));
    Bytes edid(edidBlockLength);
    const int error = link.exchange(edidAddress, fromTheBeginning, WorkerTime::Duration::zero(), edid);
    return error == 0 && monitorIdentityOf(edid) ? edid : Bytes();
}

bool lacksBus(const Connector& connector)
{
    return !connector.isInternal && connector.bus.empty() && connector.leftAlone.empty() && !connector.edid.empty();
}

/// The rule of the search: a monitor is behind one of its own card's buses.
using Place = std::pair<std::string, Bytes>;

void matchByEdid(std::vector<Connector>& connectors, const std::vector<CardBus>& unclaimed,
    const DisplayMachine& machine, CardGates& gates)
{
    std::multimap<Place, Connector*> lacking;
    std::set<std::string> cards;
    for (Connector& connector : connectors) {
        if (!lacksBus(connector))
            continue;
        lacking.emplace(Place(connector.card(), firstBlock(connector.edid)), &connector);
        cards.insert(connector.card());
    }
    std::multimap<Place, std::string> buses;
    for (const CardBus& bus : unclaimed)
        if (bus.isKnown && cards.contains(bus.card))
            buses.emplace(Place(bus.card, edidOn(bus, machine, gates)), bus.device);
    for (const auto& [place, connector] : lacking)
        if (lacking.count(place) == 1 && buses.count(place) == 1)
            connector->bus = buses.find(place)->second;
}

/// For monitors that were not found, lists the buses that were not searched.
void nameWhatIsLeftAlone(std::vector<Connector>& connectors, const std::vector<CardBus>& unclaimed)
{
    for (Connector& connector : connectors) {
        if (!lacksBus(connector))
            continue;
        for (const CardBus& bus : unclaimed)
            if (!bus.isKnown && bus.card == connector.card())
                connector.leftAlone.push_back(bus.title());
    }
}

} // namespace

std::shared_ptr<CardGate> CardGates::of(const std::string& card)
{
    const std::lock_guard lock(mutex_);
    std::shared_ptr<CardGate>& gate = gates_[card];
    if (!gate)
        gate = std::make_shared<CardGate>(time_);
    return gate;
}

ConnectorScan scanConnectors(const DisplayMachine& machine, CardGates& gates)
{
    ConnectorScan scan{readConnectors(machine.sysRoot), hasI2CDevices(machine.sysRoot)};
    if (std::ranges::none_of(scan.connectors, lacksBus))
        return scan;
    const std::vector<CardBus> unclaimed = unclaimedBuses(machine.sysRoot);
    matchByEdid(scan.connectors, unclaimed, machine, gates);
    nameWhatIsLeftAlone(scan.connectors, unclaimed);
    return scan;
}

struct ConnectorScanner::Shared {
    Shared(DisplayMachine machine, std::shared_ptr<CardGates> gates, std::function<void()> finished)
        : machine(std::move(machine))
        , gates(std::move(gates))
        , finished(std::move(finished))
    {
    }

    const DisplayMachine machine;
    const std::shared_ptr<CardGates> gates;
    const std::function<void()> finished;

    std::mutex mutex;
    std::condition_variable changed;
    bool isWanted = false;
    bool isStopping = false;
    bool hasEnded = false;
    std::optional<ConnectorScan> result;
};

ConnectorScanner::ConnectorScanner(
    DisplayMachine machine, std::shared_ptr<CardGates> gates, std::function<void()> finished)
    : shared_(std::make_shared<Shared>(std::move(machine), std::move(gates), std::move(finished)))
    , thread_(shared_->machine.time->startThread([shared = shared_] { work(*shared); }))
{
}

ConnectorScanner::~ConnectorScanner()
{
    WorkerTime& time = *shared_->machine.time;
    WorkerTime::Lock lock(shared_->mutex);
    shared_->isStopping = true;
    time.wakeAll(shared_->changed);
    const bool hasEnded
        = time.waitUntil(lock, shared_->changed, time.now() + longestStop, [this] { return shared_->hasEnded; });
    lock.unlock();
    hasEnded ? thread_.join() : thread_.detach();
}

void ConnectorScanner::start()
{
    const std::lock_guard lock(shared_->mutex);
    shared_->isWanted = true;
    shared_->machine.time->wakeAll(shared_->changed);
}

std::optional<ConnectorScan> ConnectorScanner::take()
{
    const std::lock_guard lock(shared_->mutex);
    return std::exchange(shared_->result, std::nullopt);
}

bool ConnectorScanner::await(WorkerTime::Time deadline)
{
    WorkerTime::Lock lock(shared_->mutex);
    return shared_->machine.time->waitUntil(
        lock, shared_->changed, deadline, [this] { return shared_->result.has_value(); });
}

void ConnectorScanner::work(Shared& shared)
{
    WorkerTime& time = *shared.machine.time;
    WorkerTime::Lock lock(shared.mutex);
    while (!shared.isStopping) {
        if (!std::exchange(shared.isWanted, false)) {
            time.waitUntil(
                lock, shared.changed, WorkerTime::never, [&] { return shared.isWanted || shared.isStopping; });
            continue;
        }
        lock.unlock();
        ConnectorScan scan = scanConnectors(shared.machine, *shared.gates);
        lock.lock();
        shared.result = std::move(scan);
        time.wakeAll(shared.changed);
        lock.unlock();
        shared.finished();
        lock.lock();
    }
    shared.hasEnded = true;
    time.wakeAll(shared.changed);
}

} // namespace quenstal
