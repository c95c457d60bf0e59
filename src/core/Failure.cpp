// SPDX-License-Identifier: MIT
#include <Brennvox10/Failure.h>

namespace Brennvox10 {

Failure::Failure(qint32 number, QString description, QString source)
    : m_number(number)
    , m_description(std::move(description))
    , m_source(std::move(source))
    , m_what(QByteArray::number(number) + ": " + m_description.toUtf8())
{
}

const char *Failure::what() const noexcept
{
    return m_what.constData();
}

Failure failureFor(qint32 number, const QString &source)
{
    using namespace FailureNumber;
    static constexpr struct {
        qint32 number;
        const char *text;
    } known[] = {
        { Overflow, "Overflow" },
        { OutOfMemory, "Out of memory" },
        { SubscriptOutOfRange, "Subscript out of range" },
        { TypeMismatch, "Type mismatch" },
        { PathFileAccessError, "Path/File access error" },
        { ObjectNotSet, "Object variable or With block variable not set" },
        { InvalidUseOfNull, "Invalid use of Null" },
        { ControlArrayElementMissing, "Control array element doesn't exist" },
        { InvalidPropertyValue, "Invalid property value" },
        { InvalidPropertyArrayIndex, "Invalid property array index" },
        { CannotCreateObject, "ActiveX component can't create object" },
        { MemberNotSupported, "Object doesn't support this property or method" },
        { ArgumentNotOptional, "Argument not optional" },
        { WrongArguments, "Wrong number of arguments or invalid property assignment" },
        { NoCurrentRecord,
            "Either BOF or EOF is True, or the current record has been deleted. Requested operation "
            "requires a current record." },
        { ItemNotFoundInCollection,
            "Item cannot be found in the collection corresponding to the requested name or ordinal." },
        { ObjectClosed, "Operation is not allowed when the object is closed." },
        { ObjectOpen, "Operation is not allowed when the object is open." },
        { ProviderNotFound, "Provider cannot be found. It may not be properly installed." },
        { IndexOutOfBounds, "Index out of bounds" },
        { ElementNotFound, "Element not found" },
        { KeyNotUnique, "Key is not unique in collection" },
    };
    const char *text = "Application-defined or object-defined error";
    for (const auto &k : known) {
        if (k.number == number)
            text = k.text;
    }
    return Failure(number, QString::fromLatin1(text), source);
}

} // namespace Brennvox10
