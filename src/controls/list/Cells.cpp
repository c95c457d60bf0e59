// SPDX-License-Identifier: MIT
#include "controls/list/Cells.h"

#include <Brennvox10/Failure.h>

#include "listview/PackedRows.h"

#include <algorithm>
#include <charconv>

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

// How a key field's value becomes an item key: its text as the database gives it, a whole number's
// digits, or (Other) its cell's text in the default form.
enum class KeyForm { Text, Integer, Other };
KeyForm keyFormOf(const data::FieldView &field)
{
    const int type = field.Type();
    if (field.storage() == Storage::Text && type != data::AdoType::Date && type != data::AdoType::Currency
        && type != data::AdoType::Boolean && type != Binary)
        return KeyForm::Text;
    if (field.storage() == Storage::Integer
        && (type == data::AdoType::Integer || type == data::AdoType::BigInt || type == data::AdoType::SmallInt
            || type == data::AdoType::Text))
        return KeyForm::Integer;
    return KeyForm::Other;
}

} // namespace

QByteArrayView itemKeyFor(const data::Field &field, QByteArray &buffer)
{
    if (field.isNull())
        return keyOfText({}, buffer);
    switch (keyFormOf(field.view())) {
    case KeyForm::Text:
        return keyOfText(field.utf8(), buffer);
    case KeyForm::Integer:
        return keyOfInteger(field.asInt64(), buffer);
    case KeyForm::Other:
        break;
    }
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
    // A key that is also a column (the usual case) is read once, as that column's cell.
    const auto keyColumn = std::find(fieldOf.begin(), fieldOf.end(), keyIndex);
    const int keyCell = keyColumn == fieldOf.end() ? -1 : int(keyColumn - fieldOf.begin());
    // The cells and key are kept between rows; each copy of the shaper (one per thread) has its own.
    return [=, cells = std::vector<CellValue>(fieldOf.size()), keyBuffer = QByteArray()](
               const data::Cursor &row, std::vector<char> &out) mutable {
        const data::FieldView key(row, keyIndex, types[size_t(keyIndex)]);
        const KeyForm form = keyFormOf(key);
        if (form == KeyForm::Other)
            return;
        for (size_t i = 0; i < fieldOf.size(); ++i) {
            const data::FieldView field(row, fieldOf[i], types[size_t(fieldOf[i])]);
            // Bytes read differently as text and as a blob by some engines: the long way reads them.
            if (field.storage() == Storage::Null || field.storage() == Storage::Blob)
                return;
            fillCell(cells[i], field, i > 0);
        }
        const CellValue *asCell = keyCell >= 0 ? &cells[size_t(keyCell)] : nullptr;
        QByteArrayView keyBytes;
        if (form == KeyForm::Integer)
            keyBytes = keyOfInteger(
                asCell && asCell->kind == CellValue::Kind::Integer ? asCell->integer : key.asInt64(), keyBuffer);
        else
            keyBytes = keyOfText(asCell && asCell->kind == CellValue::Kind::Text ? asCell->text : key.utf8(), keyBuffer);
        packRow(keyBytes, cells.data(), int(cells.size()), out);
    };
}

} // namespace Brennvox10
