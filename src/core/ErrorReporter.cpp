// SPDX-License-Identifier: MIT
#include "core/Guard.h"
#include "core/Services_p.h"

#include <QHash>
#include <QLoggingCategory>
#include <QMessageBox>
#include <QPushButton>

#include <mutex>

Q_LOGGING_CATEGORY(lcFailure, "brennvox.failure")

namespace Brennvox10 {

ErrorReporter::~ErrorReporter() = default;

namespace {

// Asks the user where someone can answer; elsewhere (no GUI, headless platforms) it logs and
// leaves, the safe answer.
class DefaultErrorReporter final : public ErrorReporter {
public:
    qint16 ReportError(
        qint32 &number, QString &description, QString &source, QString &controlText, qint16 &) override
    {
        if (!interactive()) {
            qCWarning(lcFailure).noquote()
                << controlText << ": error" << number << description << "(" << source << ")";
            return 2;
        }
        QMessageBox box(QMessageBox::Critical, QString(),
            QStringLiteral("Error %1: %2\n\nOrigen: %3\nControl: %4")
                .arg(number)
                .arg(description, source, controlText));
        QPushButton *retry = box.addButton(QStringLiteral("Reintentar"), QMessageBox::AcceptRole);
        QPushButton *skip = box.addButton(QStringLiteral("Omitir"), QMessageBox::ActionRole);
        QPushButton *cancel = box.addButton(QStringLiteral("Cancelar"), QMessageBox::RejectRole);
        box.setDefaultButton(cancel);
        box.setEscapeButton(cancel);
        box.exec();
        if (box.clickedButton() == retry)
            return 0;
        if (box.clickedButton() == skip)
            return 1;
        return 2;
    }
};

const QUuid DefaultClassId(QStringLiteral("{6f0c3b1e-52a4-4c1d-9e0b-b7a1c2d3e4f5}"));

struct Registry {
    std::mutex mutex;
    QHash<QUuid, ErrorReporterFactory> factories { { DefaultClassId,
        [] { return std::make_unique<DefaultErrorReporter>(); } } };
};

Registry &registry()
{
    static Registry r;
    return r;
}

thread_local std::unique_ptr<ErrorReporter> tlsReporter;

} // namespace

QUuid errorReporterClassId()
{
    return DefaultClassId;
}

void registerErrorReporterClass(const QUuid &classId, ErrorReporterFactory factory)
{
    Registry &r = registry();
    std::lock_guard lock(r.mutex);
    if (factory)
        r.factories.insert(classId, std::move(factory));
    else
        r.factories.remove(classId);
}

void installErrorReporter(std::unique_ptr<ErrorReporter> reporter)
{
    tlsReporter = std::move(reporter);
}

ErrorReporter &threadErrorReporter()
{
    if (!tlsReporter) {
        ErrorReporterFactory factory;
        {
            Registry &r = registry();
            std::lock_guard lock(r.mutex);
            factory = r.factories.value(DefaultClassId);
        }
        if (!factory)
            throw failureFor(FailureNumber::CannotCreateObject);
        auto created = factory();
        if (!created)
            throw failureFor(FailureNumber::CannotCreateObject);
        tlsReporter = std::move(created);
    }
    return *tlsReporter;
}

namespace detail {
Failure toFailure(const std::exception &e)
{
    if (dynamic_cast<const std::bad_alloc *>(&e))
        return failureFor(FailureNumber::OutOfMemory);
    return Failure(
        FailureNumber::DatabaseError, QString::fromLocal8Bit(e.what()), QStringLiteral("Brennvox10"));
}
} // namespace detail

bool Guard::retry(const Failure &failure)
{
    qint32 number = failure.number();
    QString description = failure.description();
    QString source = failure.source();
    QString controlText = m_control ? m_control->objectName() : m_name;
    qint16 flag = 0;
    const qint16 answer = threadErrorReporter().ReportError(number, description, source, controlText, flag);
    if (answer == 0)
        return true;
    if (answer == 1)
        return false;
    throw detail::LeaveProcedure {};
}

} // namespace Brennvox10
