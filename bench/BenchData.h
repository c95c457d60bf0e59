// SPDX-License-Identifier: MIT
#pragma once
// The invoices table every list benchmark reads, and a list definition over it.

#include "BenchRun.h"

#include <QDate>
#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <sqlite3.h>

#include <cstdint>
#include <cstdio>

namespace bench {

// The invoices table, made once per row count.
inline QString benchDatabase(const QString &folder, int rows)
{
    const QString path = QDir(folder).filePath(QStringLiteral("bench_loadlist_%1.db").arg(rows));
    return cachedDatabase(path, "inv", rows, [rows](Db &db) {
        db.exec("create table inv (id INTEGER PRIMARY KEY, numero TEXT, fecha DATE, cliente TEXT, zona TEXT,"
                " total CURRENCY, estado TEXT, peso REAL)");
        sqlite3_stmt *insert = db.prepare("insert into inv values (?, ?, ?, ?, ?, ?, ?, ?)");
        static const char *const first[] = { "Comercial", "Ferretería", "Bodegas", "Talleres", "Farmacia",
            "Panadería", "Hermanos", "Distribuciones" };
        static const char *const last[] = { "García", "López", "Martín", "Sánchez", "Gómez", "Ruiz", "Díaz",
            "Moreno", "Navarro", "Torres", "Ortega", "Castro" };
        static const char *const zones[] = { "Norte", "Sur", "Este", "Oeste", "Centro" };
        static const char *const states[] = { "Cobrada", "Pendiente", "Anulada" };
        std::uint64_t seed = 0x2545F4914F6CDD1DULL;
        auto next = [&seed] {
            seed ^= seed << 13;
            seed ^= seed >> 7;
            seed ^= seed << 17;
            return seed;
        };
        const QDate start(2015, 1, 1);
        char text[64];
        for (int id = 1; id <= rows; ++id) {
            sqlite3_bind_int64(insert, 1, id);
            std::snprintf(text, sizeof text, "F%08d", id);
            sqlite3_bind_text(insert, 2, text, -1, SQLITE_TRANSIENT);
            const QByteArray date = start.addDays(qint64(next() % 3650)).toString(Qt::ISODate).toLatin1();
            sqlite3_bind_text(insert, 3, date.constData(), int(date.size()), SQLITE_TRANSIENT);
            std::snprintf(
                text, sizeof text, "%s %s %s", first[next() % 8], last[next() % 12], last[next() % 12]);
            sqlite3_bind_text(insert, 4, text, -1, SQLITE_TRANSIENT);
            sqlite3_bind_text(insert, 5, zones[next() % 5], -1, SQLITE_STATIC);
            sqlite3_bind_double(insert, 6, double(next() % 1000000) / 100.0);
            sqlite3_bind_text(insert, 7, states[next() % 3], -1, SQLITE_STATIC);
            sqlite3_bind_double(insert, 8, double(next() % 500000) / 1000.0);
            if (sqlite3_step(insert) != SQLITE_DONE)
                fail(sqlite3_errmsg(db));
            sqlite3_reset(insert);
        }
        sqlite3_finalize(insert);
    });
}

inline QString writeDefinition(const QString &folder, int rows, int maxLines)
{
    const QString path = QDir(folder).filePath(QStringLiteral("bench_%1_%2.conf").arg(rows).arg(maxLines));
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate))
        fail("cannot write " + path.toStdString());
    const QByteArray tab = R"(tabSQLSource="select 1, 'x' where 1 = 0" tabFieldname="1" tabDefFunc="1" )"
                           R"(tabDefValue="1" tabDefCaption="Todos")";
    file.write(R"(<?xml version="1.0" encoding="UTF-8"?>
<lrfmt Caption="Bench" Key="id" ListSQLSource="select * from inv" ListMaxLineas=")"
        + QByteArray::number(maxLines) + R"(">
  <Columns>
    <Column ColWidth="8" ColCaption="Id" ColAligment="0" ColFieldname="id"/>
    <Column ColWidth="12" ColCaption="Numero" ColAligment="0" ColFieldname="numero"/>
    <Column ColWidth="12" ColCaption="Fecha" ColAligment="0" ColFieldname="fecha"/>
    <Column ColWidth="24" ColCaption="Cliente" ColAligment="0" ColFieldname="cliente"/>
    <Column ColWidth="10" ColCaption="Zona" ColAligment="0" ColFieldname="zona"/>
    <Column ColWidth="12" ColCaption="Total" ColAligment="1" ColFieldname="total"/>
    <Column ColWidth="12" ColCaption="Estado" ColAligment="0" ColFieldname="estado"/>
    <Column ColWidth="10" ColCaption="Peso" ColAligment="1" ColFieldname="peso"/>
  </Columns>
  <Tabs>
    <Tab tabID="0" tabName="a" )"
        + tab + R"(/>
    <Tab tabID="1" tabName="b" )"
        + tab + R"(/>
  </Tabs>
  <Filters/>
</lrfmt>
)");
    return path;
}

} // namespace bench
