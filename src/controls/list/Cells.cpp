// SPDX-License-Identifier: MIT
#include "controls/list/Cells.h"

#include <Brennvox10/Failure.h>

#include "listview/PackedRows.h"

#include <algorithm>
#include <charconv>
#include <memory>

namespace Brennvox10 {

using data::Storage;
using data::AdoType::Binary;

namespace {

// Written member by member over a cell whose own text stays empty: a load fills millions of these,
// and a fresh value each time costs more than its conversion.
void fillCell(CellValue &cell, const data::FieldView &field, bool formatted)
{
    if (field.isNull())
        throw failureFor(FailureNumber::InvalidUseOfNull);
    namespace T = data::AdoType;
    using Kind = CellValue::Kind;
    using Style = CellValue::Style;
    const auto set = [&cell](Kind kind, Style style, qint64 integer = 0, double real = 0) {
        cell.kind = kind;
        cell.style = style;
        cell.hasTime = false;
        cell.msecs = 0;
        cell.integer = integer;
        cell.real = real;
        cell.text = {};
    };
    switch (field.Type()) {
    case T::Currency:
        set(Kind::Real, formatted ? Style::Money : Style::Default, 0, field.asDouble());
        return;
    case T::Date: {
        const data::DateTimeValue d = field.asDate();
        set(Kind::DateTime, formatted ? Style::Date : Style::Default, d.julianDay);
        cell.hasTime = d.hasTime;
        cell.msecs = d.hasTime ? d.msecs : 0;
        return;
    }
    case T::Boolean:
        set(Kind::Boolean, Style::Default, field.asBool() ? 1 : 0);
        return;
    case T::SmallInt:
    case T::Integer:
    case T::BigInt:
        set(Kind::Integer, Style::Default, field.asInt64());
        return;
    case T::Single:
    case T::Double:
    case T::Decimal:
        set(Kind::Real, Style::Default, 0, field.asDouble());
        return;
    default:
        set(Kind::Text, Style::Default);
        cell.text = field.utf8();
        return;
    }
}

} // namespace

CellValue cellFor(const data::FieldView &field, bool formatted)
{
    CellValue cell;
    fillCell(cell, field, formatted);
    return cell;
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

data::RowShaper rowPacker(const std::vector<data::ColumnInfo> &columns, int keyIndex, std::vector<int> fieldOf)
{
    if (keyIndex < 0 || fieldOf.empty()
        || std::any_of(fieldOf.begin(), fieldOf.end(), [](int index) { return index < 0; }))
        return {};
    std::vector<int> types;
    for (const data::ColumnInfo &column : columns)
        types.push_back(column.declaredType);
    // Kept between rows: the reader thread packs one row at a time.
    struct Scratch {
        std::vector<CellValue> cells;
        QByteArray key;
    };
    auto scratch = std::make_shared<Scratch>();
    scratch->cells.resize(fieldOf.size());
    // A key that is also a column (the usual case) is read once, as that column's cell.
    const auto keyColumn = std::find(fieldOf.begin(), fieldOf.end(), keyIndex);
    const int keyCell = keyColumn == fieldOf.end() ? -1 : int(keyColumn - fieldOf.begin());
    return [=](const data::Cursor &row, std::vector<char> &out) {
        const data::FieldView key(row, keyIndex, types[size_t(keyIndex)]);
        const int keyType = key.Type();
        const bool plainText = key.storage() == Storage::Text && keyType != data::AdoType::Date
            && keyType != data::AdoType::Currency && keyType != data::AdoType::Boolean && keyType != Binary;
        const bool wholeNumber = key.storage() == Storage::Integer
            && (keyType == data::AdoType::Integer || keyType == data::AdoType::BigInt
                || keyType == data::AdoType::SmallInt || keyType == data::AdoType::Text);
        if (!plainText && !wholeNumber)
            return;
        for (size_t i = 0; i < fieldOf.size(); ++i) {
            const data::FieldView field(row, fieldOf[i], types[size_t(fieldOf[i])]);
            // Bytes read differently as text and as a blob by some engines: the long way reads them.
            if (field.storage() == Storage::Null || field.storage() == Storage::Blob)
                return;
            fillCell(scratch->cells[i], field, i > 0);
        }
        const CellValue *asCell = keyCell >= 0 ? &scratch->cells[size_t(keyCell)] : nullptr;
        if (wholeNumber) {
            // 'T' and at most 20 digits and a sign: no buffer of the heap's.
            char digits[24] = { ItemKeyPrefix };
            const qint64 value = asCell && asCell->kind == CellValue::Kind::Integer ? asCell->integer : key.asInt64();
            const char *end = std::to_chars(digits + 1, digits + sizeof digits, value).ptr;
            packRow(QByteArrayView(digits, end - digits), scratch->cells.data(), int(scratch->cells.size()), out);
            return;
        }
        const QByteArrayView text = asCell && asCell->kind == CellValue::Kind::Text ? asCell->text : key.utf8();
        packRow(keyOfText(text, scratch->key), scratch->cells.data(), int(scratch->cells.size()), out);
    };
}

} // namespace Brennvox10
