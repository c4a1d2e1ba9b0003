#include "QuenstalQt/Panel/MonitorAdvice.hpp"

#include "QuenstalApp/MonitorStatements.hpp"
#include "QuenstalQt/Panel/CoreTexts.hpp"

#include <iterator>

#include <QStringList>

namespace quenstal {

namespace {

QString described(const DisplayBusProblem& problem)
{
    const QString monitor = QString::fromStdString(problem.monitor);
    const QString statement = shownText(MonitorStatements::about(problem));
    // Qt complains at the terminal about an argument that has no place.
    return problem.device.empty() ? statement.arg(monitor)
                                  : statement.arg(monitor, QString::fromStdString(problem.device));
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
