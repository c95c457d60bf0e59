// SPDX-License-Identifier: MIT
#pragma once
// One user action, one time limit. A control opens an ActionTime for each Showme, tab choice,
// filter reload and refresh; every recordset opened on that thread while it lasts must end within
// its connection's limit counted from the action's start rather than from its own, so that several
// slow texts in one definition still hold the window no longer than the limit. A nested scope keeps
// the outer start.

#include "sql/cursor/ConnectionText.h"

#include <chrono>

namespace Brennvox10::data {

class ActionTime {
public:
    ActionTime();
    ~ActionTime();
    ActionTime(const ActionTime &) = delete;
    ActionTime &operator=(const ActionTime &) = delete;
};

struct TimeBudget {
    std::chrono::milliseconds limit { 0 }; // the connection's, for the report; 0 for none
    std::chrono::steady_clock::time_point deadline = std::chrono::steady_clock::time_point::max();
};

// The budget of a recordset opening now over connection. When the action around it has already
// used up the limit, the interrupted Failure comes at once, before anything is opened.
TimeBudget timeBudget(const ConnectionText &connection, const QString &source);

} // namespace Brennvox10::data
