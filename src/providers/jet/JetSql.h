// SPDX-License-Identifier: MIT
#pragma once
// List definitions written for Jet (the SQL of Access databases) on our SQLite connections. The text
// is adapted where Jet and SQLite read the same characters differently, and Jet's common functions
// are registered on the connection; anything else reaches SQLite as written, so SQLite's own errors
// report what neither step knows.
//
// On these connections & therefore joins text, as in Jet, and is never SQLite's bitwise AND.

#include <QString>

struct sqlite3;

namespace Brennvox10::data::jet {

// The text to prepare on SQLite; equal to sql when nothing needed adapting. Outside strings, quoted
// and bracketed names and comments:
// - a & b & c becomes bv_join(a, b, c): Jet joins the text of its operands, Null as empty (Null only
//   when all are), and & binds looser than arithmetic, unlike SQLite's ||;
// - a date literal #3/5/2008#, #2008-03-05#, #3/5/2008 10:30:00#, #3/5/2008 10:30 PM# becomes the
//   ISO text our databases store, '2008-03-05' or '2008-03-05 22:30:00' (midnight as the date alone,
//   the same Jet value); a literal that is not a real date is left for SQLite to refuse;
// - Left( and Right( become bv_left( and bv_right(, words SQLite keeps for joins.
QString adaptJetSql(const QString &sql);

// Registers Jet's functions on db: Year, Month, Day, Date(), Now(), Nz, Format(v, pattern), UCase,
// LCase, bv_left, bv_right, Mid, Len, Val, CStr, CLng, CDbl and bv_join. IIf, Trim, LTrim and RTrim
// are SQLite's own, which behave as Jet's. Null in gives Null out, Nz and bv_join aside, even where
// Jet shows #Error in that one cell (Val, CStr, CLng, CDbl): an error here would fail the whole list.
void registerJetFunctions(sqlite3 *db);

} // namespace Brennvox10::data::jet
