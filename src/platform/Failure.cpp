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
    QString text;
    switch (number) {
    case SubscriptOutOfRange:
        text = QStringLiteral("Subscript out of range");
        break;
    case TypeMismatch:
        text = QStringLiteral("Type mismatch");
        break;
    case ObjectNotSet:
        text = QStringLiteral("Object variable or With block variable not set");
        break;
    case InvalidUseOfNull:
        text = QStringLiteral("Invalid use of Null");
        break;
    case ControlArrayElementMissing:
        text = QStringLiteral("Control array element doesn't exist");
        break;
    case InvalidPropertyValue:
        text = QStringLiteral("Invalid property value");
        break;
    case InvalidPropertyArrayIndex:
        text = QStringLiteral("Invalid property array index");
        break;
    case CannotCreateObject:
        text = QStringLiteral("ActiveX component can't create object");
        break;
    case ItemNotFoundInCollection:
        text = QStringLiteral(
            "Item cannot be found in the collection corresponding to the requested name or ordinal.");
        break;
    case ProviderNotFound:
        text = QStringLiteral("Provider cannot be found. It may not be properly installed.");
        break;
    case IndexOutOfBounds:
        text = QStringLiteral("Index out of bounds");
        break;
    case ElementNotFound:
        text = QStringLiteral("Element not found");
        break;
    case KeyNotUnique:
        text = QStringLiteral("Key is not unique in collection");
        break;
    default:
        text = QStringLiteral("Application-defined or object-defined error");
        break;
    }
    return Failure(number, text, source);
}

} // namespace Brennvox10
