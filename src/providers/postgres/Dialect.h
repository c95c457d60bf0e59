// SPDX-License-Identifier: MIT
#pragma once
// What PostgreSQL refuses in texts that SQLite runs, and that list definitions and the controls'
// own composition rely on: a subquery in FROM without a name ("Select * from (...)where ..."), and
// LIKE with a number or a date on either side (a tab condition on a year or a month number). The
// text is adapted, never reinterpreted: a name is given to each unnamed subquery, and each LIKE
// operand that is not a string literal is cast to text. Anything else reaches the server as it is.

#include <QString>

namespace Brennvox10::data::postgres {

// The text to run on PostgreSQL; equal to sql when nothing needed adapting.
QString adaptForPostgres(const QString &sql);

} // namespace Brennvox10::data::postgres
