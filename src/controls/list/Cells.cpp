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

QByteArrayView itemKeyFor(const data::Field &field, QByteArray &buffer)
{
    buffer.resize(1);
    buffer[0] = ItemKeyPrefix;
    if (field.isNull())
        return buffer;
    const int type = field.Type();
    if (field.storage() == Storage::Text && type != data::AdoType::Date && type != data::AdoType::Currency
        && type != data::AdoType::Boolean && type != Binary) {
        const QByteArrayView text = field.utf8();
        buffer.append(text.data(), text.size());
    } else if (field.storage() == Storage::Integer
        && (type == data::AdoType::Integer || type == data::AdoType::BigInt || type == data::AdoType::SmallInt
            || type == data::AdoType::Text)) {
        char digits[24];
        const auto end = std::to_chars(digits, digits + sizeof digits, field.asInt64()).ptr;
        buffer.append(digits, end - digits);
    } else {
        buffer.append(cellText(cellFor(field, false)).toUtf8());
    }
    return buffer;
}

QByteArrayView itemKeyAhead(const data::Recordset &rs, int rows, int keyIndex, QByteArray &buffer)
{
    Storage storage = Storage::Null;
    qint64 integer = 0;
    QByteArrayView text;
    if (keyIndex < 0 || !rs.peek(rows, keyIndex, storage, integer, text))
        return {};
    buffer.resize(1);
    buffer[0] = ItemKeyPrefix;
    if (storage == Storage::Text) {
        buffer.append(text.data(), text.size());
    } else if (storage == Storage::Integer) {
        char digits[24];
        const auto end = std::to_chars(digits, digits + sizeof digits, integer).ptr;
        buffer.append(digits, end - digits);
    } else {
        return {};
    }
    return buffer;
}

} // namespace Brennvox10
