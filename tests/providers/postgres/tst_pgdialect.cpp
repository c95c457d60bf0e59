// SPDX-License-Identifier: MIT
#include "providers/postgres/Dialect.h"
#include "support/Rows.h"

#include <QTest>

using Brennvox10::data::postgres::adaptForPostgres;

// The text PostgreSQL is given, without a server: the adapter works on the text alone.
class tst_PgDialect : public QObject {
    Q_OBJECT

private Q_SLOTS:
    // PostgreSQL refuses what SQLite takes in these texts; nothing else may change.
    void adaptsTheTextsPostgresRefuses_data()
    {
        columns<QString, QString>("sql", "adapted");
        // clang-format off
        QTest::newRow("list query") << "Select * from (select * from t)where  numero like '%' and  1 like 1"
            << "Select * from (select * from t) AS bv_derived1 where  CAST(numero AS text) like '%' and  CAST(1 AS text) like CAST(1 AS text)";
        QTest::newRow("row query") << "Select * from (select a.id from a order by 1) where id = '7'"
            << "Select * from (select a.id from a order by 1) AS bv_derived1 where id = '7'";
        QTest::newRow("named, join, nested") << "select * from (select 1) x join (select * from (values (1)) ) on true"
            << "select * from (select 1) x join (select * from (values (1)) AS bv_derived2 ) AS bv_derived1 on true";
        QTest::newRow("call and qualified name") << "select 1 where cast(substr(f.d, 6, 2) as integer) not like '3' and t.n ilike x.y"
            << "select 1 where CAST(cast(substr(f.d, 6, 2) as integer) AS text) not like '3' and CAST(t.n AS text) ilike CAST(x.y AS text)";
        QTest::newRow("literals and comments untouched") << "select 'from (select 1)' -- from (select 2)\n, \"a like\" from t"
            << "select 'from (select 1)' -- from (select 2)\n, \"a like\" from t";
        QTest::newRow("expressions left alone") << "select 1 where a || b like c::text and case when 1 then 2 end like '2'"
            << "select 1 where a || b like c::text and case when 1 then 2 end like '2'";
        QTest::newRow("dollar quotes, escape strings and nested comments untouched")
            << "select $q$ from (select 1) $q$, E'\\' from (select' /* (select /* 1 */ from (select 2) */ where a like 1"
            << "select $q$ from (select 1) $q$, E'\\' from (select' /* (select /* 1 */ from (select 2) */ where CAST(a AS text) like CAST(1 AS text)";
        QTest::newRow("nothing to adapt comes back as it is") << "select a, b from t where c = 'x'" << "select a, b from t where c = 'x'";
        // clang-format on
    }
    void adaptsTheTextsPostgresRefuses()
    {
        QFETCH(QString, sql);
        QTEST(adaptForPostgres(sql), "adapted");
    }
};

QTEST_APPLESS_MAIN(tst_PgDialect)
#include "tst_pgdialect.moc"
