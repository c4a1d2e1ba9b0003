#include "QuenstalQt/Panel/MonitorAdvice.hpp"

#include "QuenstalQt/Panel/CoreTexts.hpp"

#include <iterator>

#include <QStringList>

namespace quenstal {

namespace {

const char* statementOf(const DisplayBusProblem& problem)
{
    using Kind = DisplayBusProblem::Kind;
    switch (problem.kind) {
    case Kind::accessDenied:
        return "%1: no access to %2.";
    case Kind::notAnswering:
        return "%1 does not report its volume on %2.";
    case Kind::writesRefused:
        return "%1 does not accept volume changes on %2.";
    case Kind::stuck:
        return "%1: the driver for %2 is not responding.";
    case Kind::unknownBuses:
        return "%1 cannot be reached over DDC/CI. Left alone because not known to lead to a display: %2.";
    }
    return "";
}

QString described(const DisplayBusProblem& problem)
{
    const QString monitor = QString::fromStdString(problem.monitor);
    if (problem.device.empty())
        return shownText("%1 cannot be reached over DDC/CI.").arg(monitor);
    return shownText(statementOf(problem)).arg(monitor, QString::fromStdString(problem.device));
}

} // namespace

QString monitorAdvice(const std::vector<DisplayBusProblem>& problems)
{
    QStringList sentences;
    for (auto problem = problems.begin(); problem != problems.end(); ++problem) {
        sentences << described(*problem);
        const auto next = std::next(problem);
        const bool isSaidLater = next != problems.end() && next->remedy == problem->remedy;
        if (!problem->remedy.empty() && !isSaidLater)
            sentences << shownText(problem->remedy);
    }
    return sentences.join(' ');
}

} // namespace quenstal
