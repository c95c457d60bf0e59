// SPDX-License-Identifier: MIT
#pragma once
// Turning a database field into what a list cell keeps: the typed value and, for columns after the
// first, the pattern its ADO type asks for (currency "#,##0.00", date "dd/mm/yyyy"). A Null has no
// text form and is Failure 94.

#include "recordset/Recordset.h"
#include "sql/cursor/Cursor.h"

#include <Brennvox10/ListView.h>

namespace Brennvox10 {

// formatted: false for the first column, which shows every value in its default form.
CellValue cellFor(const data::FieldView &field, bool formatted);
inline CellValue cellFor(const data::Field &field, bool formatted)
{
    return cellFor(field.view(), formatted);
}

// The text of a field's value in its default form; Failure 94 for Null.
QString fieldText(const data::Field &field);

// A row's item key is this prefix followed by the row key, the key field's text (the prefix alone
// when it is Null). Hosts name rows by row key; the list names them by item key.
inline constexpr char ItemKeyPrefix = 'T';

// The bytes live in buffer until the next call.
QByteArrayView itemKeyFor(const data::Field &field, QByteArray &buffer);

// For a bulk load over rows read ahead: a shaper that packs each row on the reader thread exactly
// as the list would add it, keyed by the field keyIndex, its cells from the fields in fieldOf (the
// first in its default form). A row it cannot pack plainly (a Null, a value not of its field's
// type, a key that is neither text nor a whole number) gets nothing, and the list adds it the long
// way, meeting its failure there in order.
data::RowShaper rowPacker(const std::vector<data::ColumnInfo> &columns, int keyIndex, std::vector<int> fieldOf);

inline QString itemKeyOf(const QString &rowKey)
{
    return QLatin1Char(ItemKeyPrefix) + rowKey;
}

inline QString rowKeyOf(const QString &itemKey)
{
    return itemKey.mid(1);
}

} // namespace Brennvox10
