// SPDX-License-Identifier: MIT
#pragma once
// Turning a database field into what a list cell keeps: the typed value and, for columns after the
// first, the pattern its ADO type asks for (currency "#,##0.00", date "dd/mm/yyyy"). A Null has no
// text form and is Failure 94.

#include "recordset/Recordset.h"

#include <Brennvox10/ListView.h>

namespace Brennvox10 {

// formatted: false for the first column, which shows every value in its default form.
CellValue cellFor(const data::Field &field, bool formatted);

// The text of a field's value in its default form; Failure 94 for Null.
QString fieldText(const data::Field &field);

// A row's item key is this prefix followed by the row key, the key field's text (the prefix alone
// when it is Null). Hosts name rows by row key; the list names them by item key.
inline constexpr char ItemKeyPrefix = 'T';

// The bytes live in buffer until the next call.
QByteArrayView itemKeyFor(const data::Field &field, QByteArray &buffer);
// The same for the row `rows` rows further on, when the rows read ahead hold it and its key is plain
// text or a whole number; empty otherwise. For hints only.
QByteArrayView itemKeyAhead(const data::Recordset &rs, int rows, int keyIndex, QByteArray &buffer);

inline QString itemKeyOf(const QString &rowKey)
{
    return QLatin1Char(ItemKeyPrefix) + rowKey;
}

inline QString rowKeyOf(const QString &itemKey)
{
    return itemKey.mid(1);
}

} // namespace Brennvox10
