// SPDX-License-Identifier: MIT
// Rows read ahead on the engine's own thread against the same rows stepped in place: every cell, the
// end and the failure, in the same order, while the caller stores them in a row store as a list does,
// and the same rows packed on the reader thread.
// ./setup.sh test runs this suite again under ThreadSanitizer.

#include "listview/rows/RowStore_p.h"
#include "recordset/Recordset.h"
#include "support/Fixtures.h"
#include "support/Rows.h"

#include "LocalServer.h"

#include <QElapsedTimer>
#include <QTemporaryDir>
#include <QTest>

using namespace Brennvox10;

namespace {

const QString Endless = "with recursive n(i) as (select 1 union all select i + 1 from n) select i, 'r' || i from n";

struct Walk {
    QStringList cells; // a line a row: each cell's type, value and text
    QStringList typed; // a line a row: each cell's type and text
    QString outcome; // "end", or the failure's number, text and source
    int stored = 0; // rows the row store took
    int packed = 0; // rows that came packed
};

// Each field's type and text, as a list packs a row, on whichever thread has it.
template <typename F> QByteArray typedLine(int fieldCount, F &&field)
{
    QByteArray line;
    for (int i = 0; i < fieldCount; ++i) {
        const data::FieldView f = field(i);
        line += QByteArray::number(f.Type()) + ':' + f.utf8().toByteArray() + '|';
    }
    return line;
}

enum class Mode { InPlace, Ahead, Shaped };

// What a list sees of a recordset: each field's type, value and text, row after row, kept in a row
// store under the first field as key. Shaped, the reader thread packs each row's typed line, and a
// row it packed is stored and seen from that alone.
Walk walk(const QString &connection, const QString &sql, int fieldCount, qint64 maxRecords, Mode mode)
{
    Walk w;
    RowStore store;
    data::Recordset rs;
    rs.setMaxRecords(maxRecords);
    rs.setReadAhead(mode != Mode::InPlace);
    if (mode == Mode::Shaped) {
        rs.setRowShaper([fieldCount](const std::vector<data::ColumnInfo> &columns) {
            return [fieldCount, columns](const data::Cursor &row, std::vector<char> &out) {
                const QByteArray line = typedLine(fieldCount,
                    [&](int i) { return data::FieldView(row, i, columns[size_t(i)].declaredType); });
                const CellValue cell = CellValue::fromText(line);
                RowStore::pack(line.left(line.indexOf('|')), &cell, 1, out);
            };
        });
    }
    std::vector<CellValue> cells;
    try {
        rs.Open(sql, connection);
        for (; !rs.Eof(); rs.MoveNext()) {
            if (const QByteArrayView packed = rs.shaped(); !packed.isEmpty()) {
                QByteArrayView key;
                RowStore::unpack(packed, key, cells);
                if (store.appendPacked(packed) != RowStore::None)
                    ++w.stored;
                w.typed << QString::fromUtf8(cells.at(0).text);
                ++w.packed;
                continue;
            }
            QStringList line;
            for (int i = 0; i < fieldCount; ++i) {
                const data::Field &field = rs.Fields(i);
                const QByteArrayView text = field.utf8();
                line << QString::number(field.Type()) + ':' + field.Value().toString() + ':'
                        + QString::fromUtf8(text.data(), text.size());
            }
            const QByteArray typed = typedLine(fieldCount, [&](int i) { return rs.Fields(i).view(); });
            const QByteArray key = typed.left(typed.indexOf('|'));
            if (store.append(key, CellValue::fromText(key)) != RowStore::None)
                ++w.stored;
            w.cells << line.join('|');
            w.typed << QString::fromUtf8(typed);
        }
        w.outcome = "end";
    } catch (const Failure &f) {
        w.outcome = QString::number(f.number()) + ' ' + f.description() + ' ' + f.source();
    }
    return w;
}

} // namespace

class tst_readAhead : public QObject {
    Q_OBJECT

    QTemporaryDir dir;
    QString db;
    // The same table on a PostgreSQL server, whose cursor reads ahead on a thread of its own.
    LocalServer server;
    QString pg;

private Q_SLOTS:
    void initTestCase()
    {
        db = dir.filePath("t.db");
        // "STRING" keeps numbers as numbers in a column read as text.
        makeDatabase(db,
            { "create table t (id INTEGER, name TEXT, amount REAL, born DATE, code STRING, pic BLOB, cash CURRENCY)",
                "with recursive n(i) as (select 1 union all select i + 1 from n where i < 9000) "
                "insert into t select i, case when i % 7 = 0 then null else 'name ' || i end, i * 1.25, "
                "date('2000-01-01', '+' || i || ' days'), case i % 3 when 0 then i when 1 then i * 1.0e17 / 8 else 'c' || i end, "
                "case when i % 5 = 0 then x'00ff10' end, i / 100.0 from n" });
        if (LocalServer::available()) {
            QVERIFY2(server.start() && server.copySqlite(db, "ahead"), qPrintable(server.error()));
            pg = "Provider=PostgreSQL;Data Source=" + server.writeConnectionFile("ahead")
                + ";Jet Oledb:database password=" + LocalServer::password;
        }
    }

    void sameAsSteppingInPlace_data()
    {
        columns<bool, QString, int, qint64, int>("pg", "sql", "fields", "maxRecords", "rows");
        const QString all = "select * from t";
        const QString failsAt = "select id, case when id = %1 then abs(-9223372036854775808) else name end, code from t";
        // clang-format off
        QTest::newRow("every row") << false << all << 7 << qint64(-1) << 9000;
        QTest::newRow("fails in the middle") << false << failsAt.arg(4500) << 3 << qint64(-1) << 4499;
        QTest::newRow("fails on the first row") << false << failsAt.arg(1) << 3 << qint64(-1) << 0;
        QTest::newRow("failure past the limit is never read") << false << failsAt.arg(4500) << 3 << qint64(100) << 100;
        QTest::newRow("limit 0") << false << all << 7 << qint64(0) << 0;
        QTest::newRow("limit past the end") << false << all << 7 << qint64(20000) << 9000;
        QTest::newRow("no rows") << false << "select * from t where id < 0" << 7 << qint64(-1) << 0;
        QTest::newRow("wide rows") << false << "select id, printf('%.*c', 70000 + id, 'x') from t where id < 50" << 2 << qint64(-1) << 49;
        QTest::newRow("numbers read as text") << false << "select code, id, amount || '' from t" << 3 << qint64(-1) << 9000;
        QTest::newRow("bad text fails at open") << false << "select nothing from t" << 1 << qint64(-1) << 0;
        // The provider's own reading thread, its batches and its failures.
        const QString pgFailsAt = "select id, case when id = %1 then (1 / (id - %1))::text else name end, code from t";
        QTest::newRow("pg every row") << true << "select * from t order by id" << 7 << qint64(-1) << 9000;
        // A failing batch fails whole: the rows before it in that batch never come (-1: as many as in place).
        QTest::newRow("pg fails in the middle") << true << pgFailsAt.arg(4500) << 3 << qint64(-1) << -1;
        QTest::newRow("pg failure past the limit is never read") << true << pgFailsAt.arg(8000) << 3 << qint64(3000) << 3000;
        QTest::newRow("pg limit inside the first batch") << true << "select * from t order by id" << 7 << qint64(10) << 10;
        // clang-format on
    }
    void sameAsSteppingInPlace()
    {
        const auto [onPg, sql, fields, maxRecords, rows]
            = fetch<bool, QString, int, qint64, int>("pg", "sql", "fields", "maxRecords", "rows");
        if (onPg && pg.isEmpty())
            QSKIP("PostgreSQL's server programs are not installed");
        const QString connection = onPg ? pg : "Provider=SQLite;Data Source=" + db;
        const Walk inPlace = walk(connection, sql, fields, maxRecords, Mode::InPlace);
        const Walk ahead = walk(connection, sql, fields, maxRecords, Mode::Ahead);
        const Walk shaped = walk(connection, sql, fields, maxRecords, Mode::Shaped);
        if (rows >= 0)
            QCOMPARE(inPlace.cells.size(), rows);
        QCOMPARE(ahead.outcome, inPlace.outcome);
        QCOMPARE(ahead.cells, inPlace.cells);
        QCOMPARE(ahead.stored, inPlace.cells.size());
        QCOMPARE(shaped.outcome, inPlace.outcome);
        QCOMPARE(shaped.typed, inPlace.typed);
        QCOMPARE(shaped.stored, inPlace.cells.size());
        // The reader packs while it has time to spare, and always past its first rows.
        QVERIFY(inPlace.cells.size() <= 64 || shaped.packed > 0);
    }

    // Read ahead, the server's cursor is asked for no row past the line limit, so a failure just past
    // it never comes, where a cursor that fetches whole batches would meet it.
    void pgFetchesNothingPastTheLimit()
    {
        if (pg.isEmpty())
            QSKIP("PostgreSQL's server programs are not installed");
        const QString sql = "select id, case when id = 3001 then (1 / (id - 3001))::text else name end from t";
        for (const Mode mode : { Mode::Ahead, Mode::Shaped }) {
            const Walk w = walk(pg, sql, 2, 3000, mode);
            QCOMPARE(w.outcome, "end");
            QCOMPARE(w.stored, 3000);
        }
        QVERIFY(walk(pg, sql, 2, 3000, Mode::InPlace).outcome != "end");
    }

    // Closed after a few rows of a text that never ends: the reader stops with it and never waits.
    void closingStopsTheReader()
    {
        QElapsedTimer clock;
        clock.start();
        for (int round = 0; round < 20; ++round) {
            data::Recordset rs;
            rs.setReadAhead(true);
            rs.Open(Endless, "Provider=SQLite;Data Source=" + db);
            for (int i = 0; i < round * 50; ++i)
                rs.MoveNext();
            QCOMPARE(rs.Fields(0).asInt64(), round * 50 + 1);
        }
        QVERIFY2(clock.elapsed() < 3000, qPrintable(QString::number(clock.elapsed())));
    }

    // The time limit stops the reader; the rows read before it come first, then the one report.
    void timeLimitStopsTheReader()
    {
        data::Recordset rs;
        rs.setReadAhead(true);
        QElapsedTimer clock;
        clock.start();
        rs.Open(Endless, "Provider=SQLite;Command Timeout=0.5;Data Source=" + db);
        qint64 expected = 1;
        try {
            for (; !rs.Eof(); rs.MoveNext())
                QCOMPARE(rs.Fields(0).asInt64(), expected++);
            QFAIL("an endless text ended");
        } catch (const Failure &f) {
            QCOMPARE(f.description(), "interrupted: the query ran past its time limit of 0.5 s (Command Timeout)");
        }
        QVERIFY(expected > 1000);
        QVERIFY2(clock.elapsed() < 1500, qPrintable(QString::number(clock.elapsed())));
    }
};

QTEST_GUILESS_MAIN(tst_readAhead)
#include "tst_readAhead.moc"
