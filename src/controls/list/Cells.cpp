// SPDX-License-Identifier: MIT
#include "controls/list/Cells.h"

#include <Brennvox10/Failure.h>

#include <charconv>

namespace Brennvox10 {

using data::Storage;
using data::AdoType::Binary;

CellValue cellFor(const data::Field &field, bool formatted)
{
    if (field.isNull())
        throw failureFor(FailureNumber::InvalidUseOfNull);
    namespace T = data::AdoType;
    const int type = field.Type();
    switch (type) {
    case T::Currency:
        return CellValue::fromReal(
            field.asDouble(), formatted ? CellValue::Style::Money : CellValue::Style::Default);
    case T::Date: {
        const data::DateTimeValue d = field.asDate();
        return CellValue::fromDate(
            d.julianDay, d.msecs, d.hasTime, formatted ? CellValue::Style::Date : CellValue::Style::Default);
    }
    case T::Boolean:
        return CellValue::fromBoolean(field.asBool());
    case T::SmallInt:
    case T::Integer:
    case T::BigInt:
        return CellValue::fromInteger(field.asInt64());
    case T::Single:
    case T::Double:
    case T::Decimal:
        return CellValue::fromReal(field.asDouble());
    default:
        return CellValue::fromText(field.utf8());
    }
}

QString fieldText(const data::Field &field)
{
    return cellText(cellFor(field, false));
}

namespace {

// The prefix, then the key's own bytes: its text, or a whole number's digits.
QByteArrayView keyOfText(QByteArrayView text, QByteArray &buffer)
{
    buffer.resize(1);
    buffer[0] = ItemKeyPrefix;
    buffer.append(text.data(), text.size());
    return buffer;
}

QByteArrayView keyOfInteger(qint64 value, QByteArray &buffer)
{
    char digits[24];
    const auto end = std::to_chars(digits, digits + sizeof digits, value).ptr;
    return keyOfText(QByteArrayView(digits, end - digits), buffer);
}

} // namespace

QByteArrayView itemKeyFor(const data::Field &field, QByteArray &buffer)
{
    if (field.isNull())
        return keyOfText({}, buffer);
    const int type = field.Type();
    if (field.storage() == Storage::Text && type != data::AdoType::Date && type != data::AdoType::Currency
        && type != data::AdoType::Boolean && type != Binary)
        return keyOfText(field.utf8(), buffer);
    if (field.storage() == Storage::Integer
        && (type == data::AdoType::Integer || type == data::AdoType::BigInt || type == data::AdoType::SmallInt
            || type == data::AdoType::Text))
        return keyOfInteger(field.asInt64(), buffer);
    return keyOfText(cellText(cellFor(field, false)).toUtf8(), buffer);
}

QByteArrayView itemKeyAhead(const data::Recordset &rs, int rows, int keyIndex, QByteArray &buffer)
{
    Storage storage = Storage::Null;
    qint64 integer = 0;
    QByteArrayView text;
    if (keyIndex < 0 || !rs.peek(rows, keyIndex, storage, integer, text))
        return {};
    if (storage == Storage::Text)
        return keyOfText(text, buffer);
    if (storage == Storage::Integer)
        return keyOfInteger(integer, buffer);
    return {};
}

} // namespace Brennvox10
