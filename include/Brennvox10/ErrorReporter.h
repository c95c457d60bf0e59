// SPDX-License-Identifier: MIT
#pragma once
/// \file
/// The outside service that decides what happens after a failure in a guarded procedure.
/// Answers: 0 retry the failed statement, 1 go on after it, anything else leave the procedure.

#include <Brennvox10/brennvox10_export.h>

#include <QString>
#include <QUuid>

#include <functional>
#include <memory>

namespace Brennvox10 {

/// The service a host implements (installErrorReporter()) to decide what follows a failure.
class BRENNVOX10_EXPORT ErrorReporter {
public:
    /// Destroys the ErrorReporter.
    virtual ~ErrorReporter();
    /// Told a failure (its number, description, source and the control's text), answers 0 retry,
    /// 1 go on after the statement, anything else leave the procedure. flag is always 0. Whatever
    /// the reporter throws reaches the guarded procedure's caller.
    virtual qint16 ReportError(
        qint32 &number, QString &description, QString &source, QString &controlText, qint16 &flag)
        = 0;
};

/// Makes a reporter: registered for a class id with registerErrorReporterClass().
using ErrorReporterFactory = std::function<std::unique_ptr<ErrorReporter>()>;

/// The class id under which the library creates its reporter on a thread's first failure.
BRENNVOX10_EXPORT QUuid errorReporterClassId();
/// Registers (or, with an empty factory, removes) the factory for a class id. A factory may throw a
/// Failure: that failure then reaches the caller of the guarded procedure.
BRENNVOX10_EXPORT void registerErrorReporterClass(const QUuid &classId, ErrorReporterFactory factory);
/// Replaces this thread's reporter; nullptr empties the slot, so the next failure creates one anew
/// from the registered factory.
BRENNVOX10_EXPORT void installErrorReporter(std::unique_ptr<ErrorReporter> reporter);

} // namespace Brennvox10
