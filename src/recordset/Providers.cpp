// SPDX-License-Identifier: MIT
#include "recordset/Providers.h"

#include "providers/jet/JetImage.h"
#include "providers/jet/JetSql.h"
#include "providers/postgres/PostgresCursor_p.h"
#include "providers/sqlite/SqliteCursor_p.h"
#include "sql/cursor/ActionTime.h"

namespace Brennvox10::data {

namespace {

// List definitions are written for Jet, on SQLite files as on Jet's own: its functions and
// literals become SQLite's on every SQLite connection.
constexpr sqlite::SqlDialect jetOnSqlite { &jet::adaptJetSql, &jet::registerJetFunctions };

} // namespace

std::unique_ptr<Cursor> openCursor(const ConnectionText &connection, const QString &sql)
{
    const QString provider = connection.provider();
    if (provider == u"sqlite")
        return sqlite::SqliteCursor::open(connection, sql, jetOnSqlite, &notifyObserver);
    if (provider == u"postgresql")
        return postgres::PostgresCursor::open(connection, sql, &notifyObserver);
    // Jet files: the tables the text names, copied once into an SQLite image that the text runs on.
    // The copy and the query share the recordset's one time limit.
    if (provider == u"microsoft.jet.oledb.4.0" || provider == u"microsoft.jet.oledb.3.51") {
        // Counted from the start of the user's action, when there is one.
        const TimeBudget time = timeBudget(connection, QStringLiteral("Brennvox10.Recordset"));
        jet::CopyBudget budget { time.limit };
        if (time.limit.count() > 0)
            budget.opened = time.deadline - time.limit;
        return sqlite::SqliteCursor::openImage(
            jet::imageFor(connection.dataSource(), connection.password(), sql, budget), connection, sql,
            jetOnSqlite, &notifyObserver, budget.opened);
    }
    throw failureFor(FailureNumber::ProviderNotFound, QStringLiteral("Brennvox10.Recordset"));
}

} // namespace Brennvox10::data
