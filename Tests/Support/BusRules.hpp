#pragma once

#include "QuenstalSimulation/SimulatedMonitor.hpp"

#include <algorithm>
#include <optional>
#include <vector>

#include <gtest/gtest.h>

namespace quenstal {

/// What must hold of everything that a monitor ever sees: nothing within 50 ms after a Set, and no Set before a Get
/// was answered.
inline void expectBusRules(const SimulatedMonitor& monitor)
{
    using Kind = MonitorTransaction::Kind;
    std::optional<RunLoop::SteadyTime> lastSet;
    bool hasAnswered = false;
    for (const MonitorTransaction& transaction : monitor.journal()) {
        EXPECT_TRUE(!lastSet || transaction.at - *lastSet >= std::chrono::milliseconds(50)) << "too soon after a Set";
        EXPECT_TRUE(transaction.kind != Kind::set || hasAnswered) << "a Set on a bus that has not answered";
        hasAnswered |= transaction.kind == Kind::reply && transaction.error == 0;
        lastSet.reset();
        if (transaction.kind == Kind::set && transaction.error == 0)
            lastSet = transaction.at;
    }
}

/// The values of the Sets that were carried out, in order.
inline std::vector<std::uint16_t> valuesSet(const SimulatedMonitor& monitor)
{
    std::vector<std::uint16_t> values;
    for (const MonitorTransaction& transaction : monitor.journal())
        if (transaction.kind == MonitorTransaction::Kind::set && transaction.error == 0)
            values.push_back(transaction.value);
    return values;
}

inline std::ptrdiff_t getsAsked(const SimulatedMonitor& monitor)
{
    const std::vector<MonitorTransaction> journal = monitor.journal();
    return std::ranges::count(journal, MonitorTransaction::Kind::get, &MonitorTransaction::kind);
}

} // namespace quenstal
