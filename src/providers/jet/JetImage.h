// SPDX-License-Identifier: MIT
#pragma once
// Jet files (.mdb, Jet 3 and Jet 4) read through mdbtools, strictly read-only. The tables a query
// names are copied into an SQLite database held in memory, and the query runs there, so that every
// list feature works as on an SQLite file. The copy is kept per file path, size and modification
// time: a second query on the same unchanged file costs only the query.

#include <QByteArray>
#include <QString>

#include <chrono>
#include <functional>
#include <memory>

struct sqlite3;

namespace Brennvox10::data::jet {

// The time a copy may take: the recordset's limit (0 for none) from the moment it opened. The user's
// Esc stops a copy too.
struct CopyBudget {
    std::chrono::milliseconds limit { 0 };
    std::chrono::steady_clock::time_point opened = std::chrono::steady_clock::now();
};

// The serialized SQLite database holding at least the tables of file that sql names (those the file
// has). Failure when the file cannot be read, is no Jet 3 or Jet 4 database, or carries a password
// other than password; the interrupted report when the copy runs past budget or the user presses
// Esc, and then nothing of it is kept.
std::shared_ptr<const QByteArray> imageFor(
    const QString &file, const QString &password, const QString &sql, const CopyBudget &budget = {});

// Copies every table of file into target (a writable SQLite database), telling progress the name
// and row count of each table once it is copied. Failure as imageFor.
void copyTables(const QString &file, const QString &password, sqlite3 *target,
    const std::function<void(const QString &table, qint64 rows)> &progress);

// Forgets every cached file (for tests and benchmarks that measure a cold load).
void clearImageCache();

} // namespace Brennvox10::data::jet
