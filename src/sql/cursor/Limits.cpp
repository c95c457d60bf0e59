// SPDX-License-Identifier: MIT
#include "sql/cursor/ActionTime.h"
#include "sql/cursor/Cursor.h"
#include "core/BusyCursor.h"

#include <atomic>

namespace Brennvox10::data {

namespace {

const QString failureSource = QStringLiteral("Brennvox10.Recordset");

std::atomic<qint64> stepLimitMs { 30 * 1000 };

struct Action {
    int depth = 0;
    std::chrono::steady_clock::time_point start;
};
thread_local Action action;

} // namespace

bool Cursor::cancelAsked() const
{
    return stopRequested.load(std::memory_order_relaxed) || busy::cancelRequested();
}

void setStepTimeLimit(std::chrono::milliseconds limit)
{
    stepLimitMs.store(limit.count(), std::memory_order_relaxed);
}

std::chrono::milliseconds stepTimeLimit()
{
    return std::chrono::milliseconds(stepLimitMs.load(std::memory_order_relaxed));
}

std::chrono::milliseconds commandTimeLimit(const ConnectionText &connection)
{
    const QString given = connection.value(QStringLiteral("command timeout")).trimmed();
    if (given.isEmpty())
        return stepTimeLimit();
    bool ok = false;
    const double seconds = given.toDouble(&ok);
    if (!ok || !(seconds >= 0) || seconds > 1e9)
        throw Failure(FailureNumber::CommandError,
            QStringLiteral("Command Timeout must be a number of seconds, 0 for none: %1").arg(given),
            failureSource);
    return std::chrono::milliseconds(qint64(seconds * 1000));
}

void failInterrupted(bool cancelled, std::chrono::milliseconds limit, const QString &source)
{
    throw Failure(FailureNumber::CommandError,
        cancelled ? QStringLiteral("interrupted: the user cancelled the load")
                  : QStringLiteral("interrupted: the query ran past its time limit of %1 s (Command Timeout)")
                        .arg(double(limit.count()) / 1000.0),
        source);
}

ActionTime::ActionTime()
{
    if (action.depth++ == 0)
        action.start = std::chrono::steady_clock::now();
}

ActionTime::~ActionTime()
{
    --action.depth;
}

TimeBudget timeBudget(const ConnectionText &connection, const QString &source)
{
    TimeBudget budget;
    budget.limit = commandTimeLimit(connection);
    if (budget.limit.count() <= 0)
        return budget;
    const auto now = std::chrono::steady_clock::now();
    budget.deadline = (action.depth > 0 ? action.start : now) + budget.limit;
    if (budget.deadline <= now)
        failInterrupted(false, budget.limit, source);
    return budget;
}

} // namespace Brennvox10::data
