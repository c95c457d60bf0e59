// SPDX-License-Identifier: MIT
#pragma once
/// \file
/// A failure as the controls see it: a number, a description and the component that raised it.
/// Every layer throws this; guarded procedures hand it to the ErrorReporter, unguarded ones let it
/// reach their caller.

#include <Brennvox10/brennvox10_export.h>

#include <QByteArray>
#include <QString>

#include <exception>

namespace Brennvox10 {

/// What every layer throws: a number (FailureNumber), a description and a source.
class BRENNVOX10_EXPORT Failure : public std::exception {
public:
    /// A failure of `number` with its description and the component that raised it.
    Failure(qint32 number, QString description, QString source = QStringLiteral("Brennvox10"));

    /// The failure's number (FailureNumber).
    qint32 number() const noexcept { return m_number; }
    /// What went wrong, as the user reads it.
    const QString &description() const noexcept { return m_description; }
    /// The component that raised it ("Brennvox10" unless told).
    const QString &source() const noexcept { return m_source; }
    /// The description as UTF-8.
    const char *what() const noexcept override;

private:
    qint32 m_number;
    QString m_description;
    QString m_source;
    QByteArray m_what;
};

/// The numbers hosts already know these failures by.
namespace FailureNumber {
/// A number too large for its type.
constexpr qint32 Overflow = 6;
/// Out of memory.
constexpr qint32 OutOfMemory = 7;
/// An index outside its range (a tab strip other than 0 or 1).
constexpr qint32 SubscriptOutOfRange = 9;
/// A value that does not convert to the type asked for.
constexpr qint32 TypeMismatch = 13;
/// A file that cannot be read or written.
constexpr qint32 PathFileAccessError = 75;
/// An object used while it is not set (a null node or item).
constexpr qint32 ObjectNotSet = 91;
/// A Null value where a value is needed.
constexpr qint32 InvalidUseOfNull = 94;
/// A command button index that is negative.
constexpr qint32 ControlArrayElementMissing = 340;
/// A property value outside its range.
constexpr qint32 InvalidPropertyValue = 380;
/// A property index outside its range.
constexpr qint32 InvalidPropertyArrayIndex = 381;
/// An object that cannot be created.
constexpr qint32 CannotCreateObject = 429;
constexpr qint32 MemberNotSupported = 438; ///< no member of that dispatch identifier
/// A required argument left out.
constexpr qint32 ArgumentNotOptional = 449;
constexpr qint32 WrongArguments = 450; ///< wrong number of arguments or invalid property assignment
constexpr qint32 NoCurrentRecord = 3021; ///< a recordset read past its end
/// A collection (a recordset's fields) has no item of that name or position.
constexpr qint32 ItemNotFoundInCollection = 3265;
constexpr qint32 ObjectClosed = 3704; ///< an object used while it is closed
constexpr qint32 ObjectOpen = 3705; ///< an object opened while it is open
/// A connection text naming a provider the library does not have.
constexpr qint32 ProviderNotFound = 3706;
/// A 1-based position outside a collection.
constexpr qint32 IndexOutOfBounds = 35600;
/// A key no element of a collection has.
constexpr qint32 ElementNotFound = 35601;
/// A key another element of the collection already has.
constexpr qint32 KeyNotUnique = 35602;
constexpr qint32 DatabaseError = -2147467259; ///< 0x80004005, the provider's generic failure
constexpr qint32 CommandError = -2147217900; ///< 0x80040E14, a SQL text the database rejects
} // namespace FailureNumber

/// The failure for one of the numbers above, with the description hosts expect for it; any other
/// number gets the generic application-defined description.
BRENNVOX10_EXPORT Failure failureFor(qint32 number, const QString &source = QStringLiteral("Brennvox10"));

} // namespace Brennvox10
