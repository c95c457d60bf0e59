// SPDX-License-Identifier: MIT
// brennvox10-import FILE.mdb OUT.db [--password TEXT]
//
// Copies every table of a Jet file (Jet 3 or Jet 4, read-only) into a new SQLite file, with the
// types the Jet provider gives them (Currency as CURRENCY, DateTime as DATETIME, Boolean as BOOLEAN,
// ...), so that a shop that moves keeps its list definitions. One line per table as it is copied.
// OUT.db must not exist; it appears only once complete.

#include "providers/jet/JetImage.h"

#include <Brennvox10/Failure.h>

#include <QCoreApplication>
#include <QFile>

#include <sqlite3.h>

#include <cstdio>
#include <memory>

int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    QStringList args = app.arguments().mid(1);
    QString password;
    if (const qsizetype at = args.indexOf(QStringLiteral("--password")); at >= 0 && at + 1 < args.size()) {
        password = args.at(at + 1);
        args.remove(at, 2);
    }
    if (args.size() != 2) {
        std::fprintf(stderr, "usage: brennvox10-import FILE.mdb OUT.db [--password TEXT]\n");
        return 2;
    }
    const QString source = args[0], target = args[1], partial = target + QStringLiteral(".partial");
    if (QFile::exists(target)) {
        std::fprintf(stderr, "brennvox10-import: %s exists; nothing was written\n", qPrintable(target));
        return 1;
    }
    QFile::remove(partial);
    sqlite3 *raw = nullptr;
    if (sqlite3_open_v2(QFile::encodeName(partial).constData(), &raw, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE, nullptr)
        != SQLITE_OK) {
        std::fprintf(stderr, "brennvox10-import: cannot create %s: %s\n", qPrintable(partial), sqlite3_errmsg(raw));
        sqlite3_close(raw);
        return 1;
    }
    std::unique_ptr<sqlite3, int (*)(sqlite3 *)> db(raw, sqlite3_close);
    qint64 total = 0;
    int tables = 0;
    try {
        sqlite3_exec(raw, "PRAGMA journal_mode = OFF; BEGIN", nullptr, nullptr, nullptr);
        Brennvox10::data::jet::copyTables(source, password, raw, [&](const QString &table, qint64 rows) {
            std::printf("%s: %lld rows\n", qPrintable(table), static_cast<long long>(rows));
            std::fflush(stdout);
            total += rows;
            ++tables;
        });
        if (sqlite3_exec(raw, "COMMIT", nullptr, nullptr, nullptr) != SQLITE_OK)
            throw Brennvox10::Failure(0, QString::fromUtf8(sqlite3_errmsg(raw)), QString());
    } catch (const Brennvox10::Failure &failure) {
        db.reset();
        QFile::remove(partial);
        std::fprintf(stderr, "brennvox10-import: %s\n", qPrintable(failure.description()));
        return 1;
    }
    db.reset();
    if (!QFile::rename(partial, target)) {
        QFile::remove(partial);
        std::fprintf(stderr, "brennvox10-import: cannot move the new file to %s\n", qPrintable(target));
        return 1;
    }
    std::printf("%s: %d tables, %lld rows\n", qPrintable(target), tables, static_cast<long long>(total));
    return 0;
}
