// SPDX-License-Identifier: MIT
#pragma once
// What Jet's functions on SQLite share: reading their arguments as Jet does, and reporting.

#include "sql/cursor/Cursor.h"

#include <QByteArray>

#include <sqlite3.h>

namespace Brennvox10::data::jet {

// Fails the call with why, named by the function's Jet name.
void fail(sqlite3_context *context, const QString &why);
void resultText(sqlite3_context *context, const QByteArray &text);
bool anyNull(int argc, sqlite3_value **argv);
// A Double as CStr shows it: 15 significant digits, an exponent beyond them.
QByteArray textOfDouble(double value);
// A value's text as Jet's string functions take it; whole Doubles without ".0".
QByteArray textOf(sqlite3_value *value);
// The number a value holds or its text reads as; false, after reporting it, for anything else.
bool numberOf(sqlite3_context *context, sqlite3_value *value, double &number);
// The date an ISO-8601 text holds; false, after reporting it, for anything else.
bool dateOf(sqlite3_context *context, sqlite3_value *value, DateTimeValue &date);

// Format(v, pattern).
void jetFormat(sqlite3_context *context, int argc, sqlite3_value **argv);

} // namespace Brennvox10::data::jet
