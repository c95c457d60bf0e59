// SPDX-License-Identifier: MIT
// Hostile texts on the PostgreSQL provider, run against a server this suite starts: the server's state
// afterwards (rows, a sequence, large objects, tables, a file COPY would write) is what it was
// before, and every text that would change it is refused. The role the recordset logs in as owns the
// server, so only the read-only transaction, never committed, stands between these texts and the
// data. PostgreSQL lets large objects be made in a read-only transaction; they go with it.

#include "recordset/Recordset.h"
#include "support/FailureOf.h"

#include "LocalServer.h"

#include <QFileInfo>
#include <QTemporaryDir>
#include <QTest>

using namespace Brennvox10;
using data::Recordset;

class tst_pgreadonly : public QObject {
    Q_OBJECT

    LocalServer server;
    QTemporaryDir scratch;
    QString connection;

    // The first value of a read, as text.
    QString read(const QString &sql)
    {
        Recordset rs;
        rs.Open(sql, connection);
        return rs.Eof() ? QString() : QString::fromUtf8(rs.Fields(0).utf8());
    }

    QString state()
    {
        return read(QStringLiteral("select count(*) || '/' || coalesce(sum(id), 0) from t")) + QLatin1Char('|')
            + read(QStringLiteral("select last_value || '/' || is_called from s")) + QLatin1Char('|')
            + read(QStringLiteral("select count(*) from pg_largeobject_metadata")) + QLatin1Char('|')
            + read(QStringLiteral("select count(*) from pg_tables where schemaname = 'public'")) + QLatin1Char('|')
            + read(QStringLiteral("select count(*) from pg_proc where proname = 'bv_hostile'"));
    }

private slots:
    void initTestCase()
    {
        if (!LocalServer::available())
            QSKIP("PostgreSQL's server programs are not installed");
        QVERIFY2(server.start(), qPrintable(server.error()));
        QVERIFY2(server.execute(QStringLiteral("postgres"), QStringLiteral("create database hostile")),
            qPrintable(server.error()));
        for (const char *sql : { "create table t (id integer primary key, name text)",
                 "insert into t select n, 'row ' || n from generate_series(1, 50) n", "create sequence s" })
            QVERIFY2(server.execute(QStringLiteral("hostile"), QString::fromUtf8(sql)), qPrintable(server.error()));
        connection = QStringLiteral("Provider=PostgreSQL;Data Source=") + server.writeConnectionFile(QStringLiteral("hostile"))
            + QStringLiteral(";Jet Oledb:database password=") + QLatin1String(LocalServer::password);
        QCOMPARE(state(), QStringLiteral("50/1275|1/false|0|1|0"));
    }

    void refusedAndNothingChanges_data()
    {
        QTest::addColumn<QString>("sql");
        QTest::addColumn<bool>("refused");
        const QString file = scratch.filePath(QStringLiteral("copied.txt"));
        const QString source = QFileInfo(QStringLiteral(__FILE__)).exists() ? QStringLiteral(__FILE__)
                                                                            : QStringLiteral("/etc/hostname");
        // clang-format off
        const std::pair<const char *, QString> texts[] = {
            { "nextval", "select nextval('s')" },
            { "nextval in a condition", "select * from t where nextval('s') > 0" },
            { "setval", "select setval('s', 1000)" },
            { "delete in WITH", "with d as (delete from t returning *) select * from d" },
            { "insert in WITH", "with i as (insert into t values (99, 'x') returning *) select * from i" },
            { "update in a subquery's WITH", "select * from (with u as (update t set id = id + 1000 returning id) select id from u) x" },
            { "for update", "select * from t for update" },
            { "for share", "select id from t for share" },
            { "copy to a file", "copy t to '" + file + "'" },
            { "copy to stdout", "copy t to stdout" },
            { "read-only off, then nextval", "select set_config('transaction_read_only', 'off', true), nextval('s')" },
            { "set transaction read write", "set transaction read write" },
            { "lo_import", "select lo_import('" + source + "')" },
            { "lo_create", "select lo_create(0)" },
            { "two statements", "select 1; delete from t" },
            { "commit, then a write", "commit; delete from t" },
            { "delete", "delete from t" },
            { "delete returning", "delete from t returning *" },
            { "create table as", "create table u as select * from t" },
            { "select into", "select * into u from t" },
            { "a function", "create function bv_hostile() returns int language sql as 'select 1'" },
            { "do block", "do $$begin delete from t; end$$" },
        };
        // clang-format on
        for (const auto &[name, sql] : texts)
            QTest::newRow(name) << sql << !QByteArray(name).startsWith("lo_");
    }

    void refusedAndNothingChanges()
    {
        QFETCH(QString, sql);
        QFETCH(bool, refused);
        const QString before = state();
        const Failure failure = failureOf([&] {
            Recordset rs;
            rs.Open(sql, connection);
            while (!rs.Eof())
                rs.MoveNext();
        });
        QCOMPARE(state(), before);
        QCOMPARE(failure.number() != 0, refused);
        QVERIFY(!QFileInfo::exists(scratch.filePath(QStringLiteral("copied.txt"))));
    }
};

QTEST_GUILESS_MAIN(tst_pgreadonly)
#include "tst_pgreadonly.moc"
