// SPDX-License-Identifier: MIT
#pragma once
// A failure as the controls see it: a number, a description and the component that raised it.
// Every layer throws this; guarded procedures hand it to the ErrorReporter, unguarded ones let it
// reach their caller.

#include <Brennvox10/brennvox10_export.h>

#include <QByteArray>
#include <QString>

#include <exception>

namespace Brennvox10 {

class BRENNVOX10_EXPORT Failure : public std::exception {
public:
    Failure(qint32 number, QString description, QString source = QStringLiteral("Brennvox10"));

    qint32 number() const noexcept { return m_number; }
    const QString &description() const noexcept { return m_description; }
    const QString &source() const noexcept { return m_source; }
    const char *what() const noexcept override;

private:
    qint32 m_number;
    QString m_description;
    QString m_source;
    QByteArray m_what;
};

// The numbers hosts already know these failures by.
namespace FailureNumber {
constexpr qint32 Overflow = 6;
constexpr qint32 OutOfMemory = 7;
constexpr qint32 SubscriptOutOfRange = 9;
constexpr qint32 TypeMismatch = 13;
constexpr qint32 PathFileAccessError = 75;
constexpr qint32 ObjectNotSet = 91;
constexpr qint32 InvalidUseOfNull = 94;
constexpr qint32 ControlArrayElementMissing = 340;
constexpr qint32 InvalidPropertyValue = 380;
constexpr qint32 InvalidPropertyArrayIndex = 381;
constexpr qint32 CannotCreateObject = 429;
constexpr qint32 MemberNotSupported = 438; // no member of that dispatch identifier
constexpr qint32 ArgumentNotOptional = 449;
constexpr qint32 WrongArguments = 450; // wrong number of arguments or invalid property assignment
constexpr qint32 NoCurrentRecord = 3021; // a recordset read past its end
constexpr qint32 ItemNotFoundInCollection = 3265;
constexpr qint32 ObjectClosed = 3704; // an object used while it is closed
constexpr qint32 ObjectOpen = 3705; // an object opened while it is open
constexpr qint32 ProviderNotFound = 3706;
constexpr qint32 IndexOutOfBounds = 35600;
constexpr qint32 ElementNotFound = 35601;
constexpr qint32 KeyNotUnique = 35602;
constexpr qint32 DatabaseError = -2147467259; // 0x80004005, the provider's generic failure
constexpr qint32 CommandError = -2147217900; // 0x80040E14, a SQL text the database rejects
} // namespace FailureNumber

// The failure for one of the numbers above, with the description hosts expect for it; any other
// number gets the generic application-defined description.
BRENNVOX10_EXPORT Failure failureFor(qint32 number, const QString &source = QStringLiteral("Brennvox10"));

} // namespace Brennvox10
