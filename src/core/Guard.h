// SPDX-License-Identifier: MIT
#pragma once
// The failure convention of every guarded procedure: its body runs as a sequence of steps; a step
// that fails is reported to this thread's ErrorReporter, whose answer retries the step (0), goes on
// after it (1) or leaves the procedure (anything else), which then returns normally.

#include <Brennvox10/ErrorReporter.h>
#include <Brennvox10/Failure.h>

#include <QObject>
#include <QPointer>

#include <exception>
#include <utility>

namespace Brennvox10 {

// This thread's reporter, created from the registered factory on first use. A factory that fails
// throws its Failure to the caller.
ErrorReporter &threadErrorReporter();

namespace detail {
// Unwinds a guarded procedure after a "leave" answer; never escapes guarded().
struct LeaveProcedure { };
Failure toFailure(const std::exception &e);
} // namespace detail

class Guard {
public:
    explicit Guard(const QObject &control)
        : m_control(const_cast<QObject *>(&control))
        , m_name(control.objectName())
    {
    }

    // Runs one statement under the convention. Returns true when it completed, false when the
    // reporter said to skip it.
    template <class F> bool step(F &&statement)
    {
        for (;;) {
            try {
                statement();
                return true;
            } catch (const detail::LeaveProcedure &) {
                throw;
            } catch (const Failure &f) {
                if (!retry(f))
                    return false;
            } catch (const std::exception &e) {
                if (!retry(detail::toFailure(e)))
                    return false;
            }
        }
    }

private:
    // True to run the statement again, false to skip it; throws LeaveProcedure to leave.
    bool retry(const Failure &failure);

    // A procedure may outlive its control (a handler that destroys it): reports then name it as it
    // was named when the procedure began.
    QPointer<QObject> m_control;
    QString m_name;
};

// Runs a guarded procedure. Failures of its steps never reach the caller; a failure of the
// reporter itself (or of creating it) does.
template <class F> void guarded(const QObject &control, F &&body)
{
    Guard guard(control);
    try {
        body(guard);
    } catch (const detail::LeaveProcedure &) {
    }
}

} // namespace Brennvox10
