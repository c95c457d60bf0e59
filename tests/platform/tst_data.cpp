#include "platform/data/Cursor_p.h"
#include "platform/data/Recordset.h"

#include <QCryptographicHash>
#include <QElapsedTimer>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>

#include <sqlite3.h>

using namespace Brennvox10;
using namespace Brennvox10::data;

namespace {

// Writes a database file the way a host application would, outside the read-only data layer.
void execOn(const QString &path, const QString &sql)
{
    sqlite3 *db = nullptr;
    QCOMPARE(sqlite3_open_v2(QFile::encodeName(path).constData(), &db,
                 SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE, nullptr),
        SQLITE_OK);
    char *error = nullptr;
    const int rc = sqlite3_exec(db, sql.toUtf8().constData(), nullptr, nullptr, &error);
    const QString message = QString::fromUtf8(error ? error : "");
    sqlite3_free(error);
    sqlite3_close(db);
    QVERIFY2(rc == SQLITE_OK, qPrintable(message));
}

// The message SQLite itself gives when preparing sql on path.
QString sqliteMessageFor(const QString &path, const QString &sql)
{
    sqlite3 *db = nullptr;
    sqlite3_open_v2(QFile::encodeName(path).constData(), &db, SQLITE_OPEN_READONLY, nullptr);
    sqlite3_stmt *statement = nullptr;
    sqlite3_prepare_v2(db, sql.toUtf8().constData(), -1, &statement, nullptr);
    const QString message = QString::fromUtf8(sqlite3_errmsg(db));
    sqlite3_finalize(statement);
    sqlite3_close(db);
    return message;
}

QString connectionTo(const QString &path)
{
    return QStringLiteral("Provider=SQLite;Data Source=") + path
        + QStringLiteral(";Jet Oledb:database password=");
}

// Runs f and gives the Failure it throws; a Failure with number 0 when it throws none.
template <typename F> Failure failureOf(F &&f)
{
    try {
        f();
    } catch (const Failure &failure) {
        return failure;
    }
    return Failure(0, QString());
}

QByteArray fileDigest(const QString &path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return {};
    return QCryptographicHash::hash(file.readAll(), QCryptographicHash::Sha256);
}

} // namespace

class tst_Data : public QObject {
    Q_OBJECT

private:
    QTemporaryDir dir;
    int fileCount = 0;

    // A fresh database file with one table t(v <declared>) holding one row with the literal.
    QString singleValue(const QString &declared, const QString &literal)
    {
        const QString path = dir.filePath(QStringLiteral("v%1.db").arg(++fileCount));
        execOn(
            path, QStringLiteral("create table t(v %1); insert into t values (%2);").arg(declared, literal));
        return path;
    }

    QString people()
    {
        const QString path = dir.filePath(QStringLiteral("people%1.db").arg(++fileCount));
        execOn(path,
            QStringLiteral("create table t(id INTEGER PRIMARY KEY, name VARCHAR(40), price CURRENCY, "
                           "born DATE, seen DATETIME);"
                           "insert into t values (1, 'Ana', 1234.5, '2008-03-05', '2008-03-05 14:30:15');"
                           "insert into t values (2, 'Luis', NULL, NULL, '2024-02-29T08:05');"
                           "insert into t values (3, 'Eva', '99.95', '2024-02-29', NULL);"));
        return path;
    }

    int rowCount(const QString &path)
    {
        sqlite3 *db = nullptr;
        sqlite3_open_v2(QFile::encodeName(path).constData(), &db, SQLITE_OPEN_READONLY, nullptr);
        sqlite3_stmt *statement = nullptr;
        sqlite3_prepare_v2(db, "select count(*) from t", -1, &statement, nullptr);
        const int count = sqlite3_step(statement) == SQLITE_ROW ? sqlite3_column_int(statement, 0) : -1;
        sqlite3_finalize(statement);
        sqlite3_close(db);
        return count;
    }

private Q_SLOTS:
    void initTestCase() { QVERIFY(dir.isValid()); }
    void cleanup() { setQueryObserver({}); }

    void connectionText_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("provider");
        QTest::addColumn<QString>("dataSource");
        QTest::addColumn<QString>("password");

        // clang-format off
        QTest::newRow("composed")
            << "Provider=SQLite;Data Source=/srv/a.db;Jet Oledb:database password=s3cret"
            << "sqlite" << "/srv/a.db" << "s3cret";
        QTest::newRow("composed, no password")
            << "Provider=SQLite;Data Source=/srv/a.db;Jet Oledb:database password="
            << "sqlite" << "/srv/a.db" << "";
        QTest::newRow("keys in any case") << "PROVIDER=SqLite;data SOURCE=/x.db;JET OLEDB:Database Password=p"
            << "sqlite" << "/x.db" << "p";
        QTest::newRow("blanks around keys and values") << "  Data Source =  /x.db  ; Provider = sqlite "
            << "sqlite" << "/x.db" << "";
        QTest::newRow("no provider means SQLite") << "Data Source=/x.db" << "sqlite" << "/x.db" << "";
        QTest::newRow("other provider") << "Provider=PostgreSQL;Data Source=db1"
            << "postgresql" << "db1" << "";
        QTest::newRow("later key wins") << "Data Source=;Provider=SQLite;Data Source=/b.db"
            << "sqlite" << "/b.db" << "";
        QTest::newRow("single quotes keep ;") << "Data Source='/a;b.db';Provider=SQLite"
            << "sqlite" << "/a;b.db" << "";
        QTest::newRow("doubled quotes") << "Data Source=\"/a\"\"b.db\";Jet Oledb:database password='it''s'"
            << "sqlite" << "/a\"b.db" << "it's";
        QTest::newRow("= inside a value") << "Data Source=/a=b.db" << "sqlite" << "/a=b.db" << "";
        QTest::newRow("empty pieces") << ";;Data Source=/x.db;;junk;" << "sqlite" << "/x.db" << "";
        // clang-format on
    }

    void connectionText()
    {
        QFETCH(QString, text);
        const ConnectionText parsed = ConnectionText::parse(text);
        QTEST(parsed.provider(), "provider");
        QTEST(parsed.dataSource(), "dataSource");
        QTEST(parsed.password(), "password");
    }

    void declaredType_data()
    {
        QTest::addColumn<QString>("declared");
        QTest::addColumn<int>("type");
        const std::pair<const char *, int> cases[] = {
            { "CURRENCY", 6 },
            { "money", 6 },
            { "Date", 7 },
            { "DATETIME", 7 },
            { "timestamp", 7 },
            { "TIME", 7 },
            { "INTEGER", 3 },
            { "int", 3 },
            { "LONG", 3 },
            { "COUNTER", 3 },
            { "\"AUTOINCREMENT\"", 3 },
            { "UNSIGNED BIG INT", 3 },
            { "SMALLINT", 2 },
            { "Short", 2 },
            { "BYTE", 2 },
            { "REAL", 5 },
            { "DOUBLE", 5 },
            { "DOUBLE PRECISION", 5 },
            { "FLOAT", 5 },
            { "SINGLE", 4 },
            { "DECIMAL(10,2)", 131 },
            { "NUMERIC", 131 },
            { "BIT", 11 },
            { "BOOLEAN", 11 },
            { "YesNo", 11 },
            { "LOGICAL", 11 },
            { "TEXT", 202 },
            { "VARCHAR(40)", 202 },
            { "char(3)", 202 },
            { "MEMO", 202 },
            { "NVARCHAR", 202 },
            { "BLOB", 205 },
            { "LongBinary", 205 },
        };
        for (const auto &[declared, type] : cases)
            QTest::newRow(declared) << QString::fromLatin1(declared) << type;
    }

    void declaredType()
    {
        QFETCH(QString, declared);
        // The value's own storage class must not matter where the column declares a type.
        const QString path = singleValue(declared, QStringLiteral("'x'"));
        QVERIFY(!QTest::currentTestFailed());
        Recordset rs;
        rs.Open(QStringLiteral("select v from t"), connectionTo(path));
        QTEST(rs.Fields(0).Type(), "type");
    }

    void values_data()
    {
        QTest::addColumn<QString>("declared");
        QTest::addColumn<QString>("literal");
        QTest::addColumn<int>("type");
        QTest::addColumn<QVariant>("value");

        // clang-format off
        QTest::newRow("integer") << "INTEGER" << "42" << 3 << QVariant(qlonglong(42));
        QTest::newRow("integer from text") << "INTEGER" << "' 17 '" << 3 << QVariant(qlonglong(17));
        QTest::newRow("integer from whole real") << "INTEGER" << "12.0" << 3 << QVariant(qlonglong(12));
        QTest::newRow("smallint") << "SMALLINT" << "-5" << 2 << QVariant(qlonglong(-5));
        QTest::newRow("currency") << "CURRENCY" << "1234.5" << 6 << QVariant(1234.5);
        QTest::newRow("currency from text") << "CURRENCY" << "'99.95'" << 6 << QVariant(99.95);
        QTest::newRow("double") << "DOUBLE" << "2.5" << 5 << QVariant(2.5);
        QTest::newRow("decimal") << "DECIMAL(10,2)" << "7" << 131 << QVariant(7.0);
        QTest::newRow("date") << "DATE" << "'2008-03-05'" << 7 << QVariant(QDate(2008, 3, 5));
        QTest::newRow("date with time") << "DATE"
            << "'2008-03-05 14:30:15'" << 7 << QVariant(QDateTime(QDate(2008, 3, 5), QTime(14, 30, 15)));
        QTest::newRow("T separator, minutes") << "DATETIME"
            << "'2024-02-29T08:05'" << 7 << QVariant(QDateTime(QDate(2024, 2, 29), QTime(8, 5)));
        QTest::newRow("fraction of seconds") << "TIMESTAMP" << "'2024-02-29 23:59:59.25'" << 7
            << QVariant(QDateTime(QDate(2024, 2, 29), QTime(23, 59, 59, 250)));
        QTest::newRow("boolean 1") << "BOOLEAN" << "1" << 11 << QVariant(true);
        QTest::newRow("boolean -1") << "YESNO" << "-1" << 11 << QVariant(true);
        QTest::newRow("boolean 0") << "BIT" << "0" << 11 << QVariant(false);
        QTest::newRow("boolean text") << "BOOLEAN" << "'True'" << 11 << QVariant(true);
        QTest::newRow("text") << "VARCHAR(20)" << "'Peña'" << 202 << QVariant(QStringLiteral("Peña"));
        QTest::newRow("number in a text column") << "TEXT" << "42" << 202 << QVariant(QStringLiteral("42"));
        QTest::newRow("blob") << "BLOB" << "x'00ff41'" << 205 << QVariant(QByteArray("\x00\xff\x41", 3));
        QTest::newRow("untyped integer") << "" << "7" << 3 << QVariant(qlonglong(7));
        QTest::newRow("untyped big integer") << "" << "5000000000" << 20 << QVariant(qlonglong(5000000000));
        QTest::newRow("untyped real") << "" << "1.5" << 5 << QVariant(1.5);
        QTest::newRow("untyped text") << "" << "'abc'" << 202 << QVariant(QStringLiteral("abc"));
        QTest::newRow("untyped blob") << "" << "x'01'" << 205 << QVariant(QByteArray("\x01", 1));
        QTest::newRow("untyped null") << "" << "NULL" << 202 << QVariant();
        QTest::newRow("currency null") << "CURRENCY" << "NULL" << 6 << QVariant();
        QTest::newRow("date null") << "DATE" << "NULL" << 7 << QVariant();
        QTest::newRow("text null") << "TEXT" << "NULL" << 202 << QVariant();
        // clang-format on
    }

    void values()
    {
        QFETCH(QString, declared);
        QFETCH(QString, literal);
        QFETCH(QVariant, value);
        Recordset rs;
        const QString path = singleValue(declared, literal);
        QVERIFY(!QTest::currentTestFailed());
        rs.Open(QStringLiteral("select v from t"), connectionTo(path));
        QTEST(rs.Fields(0).Type(), "type");
        const QVariant read = rs.Fields(0).Value();
        QCOMPARE(read.metaType(), value.metaType());
        QCOMPARE(read, value);
        QCOMPARE(rs.Fields(0).isNull(), !value.isValid());
    }

    void unreadableValues_data()
    {
        QTest::addColumn<QString>("declared");
        QTest::addColumn<QString>("literal");
        QTest::addColumn<QString>("reader");
        QTest::addColumn<int>("number");

        // clang-format off
        QTest::newRow("text in a date") << "DATE" << "'abc'" << "Value" << 13;
        QTest::newRow("text in a currency") << "CURRENCY" << "'abc'" << "Value" << 13;
        QTest::newRow("no such day") << "DATE" << "'2023-02-29'" << "Value" << 13;
        QTest::newRow("month 13") << "DATE" << "'2023-13-01'" << "Value" << 13;
        QTest::newRow("hour 24") << "DATETIME" << "'2023-01-01 24:00'" << "Value" << 13;
        QTest::newRow("date as a number") << "DATE" << "20230101" << "Value" << 13;
        QTest::newRow("text in an integer") << "INTEGER" << "'12a'" << "Value" << 13;
        QTest::newRow("fraction in an integer") << "INTEGER" << "12.5" << "Value" << 13;
        QTest::newRow("word in a boolean") << "BOOLEAN" << "'maybe'" << "Value" << 13;
        QTest::newRow("no such day, fast") << "" << "'2023-02-29'" << "asDate" << 13;
        QTest::newRow("trailing text after date") << "" << "'2023-02-28x'" << "asDate" << 13;
        QTest::newRow("text as whole number") << "" << "'abc'" << "asInt64" << 13;
        QTest::newRow("blob as number") << "" << "x'01'" << "asDouble" << 13;
        QTest::newRow("null as number") << "" << "NULL" << "asInt64" << 94;
        QTest::newRow("null as date") << "DATE" << "NULL" << "asDate" << 94;
        // clang-format on
    }

    void unreadableValues()
    {
        QFETCH(QString, declared);
        QFETCH(QString, literal);
        QFETCH(QString, reader);
        Recordset rs;
        const QString path = singleValue(declared, literal);
        QVERIFY(!QTest::currentTestFailed());
        rs.Open(QStringLiteral("select v from t"), connectionTo(path));
        Field &field = rs.Fields(QStringLiteral("v"));
        const Failure failure = failureOf([&] {
            if (reader == u"Value")
                field.Value();
            else if (reader == u"asDate")
                field.asDate();
            else if (reader == u"asInt64")
                field.asInt64();
            else
                field.asDouble();
        });
        QTEST(failure.number(), "number");
    }

    void fastAccessorsReadEachRow()
    {
        Recordset rs;
        rs.Open(
            QStringLiteral("select id, name, price, born, seen from t order by id"), connectionTo(people()));
        Field &id = rs.Fields(QStringLiteral("id"));
        Field &name = rs.Fields(QStringLiteral("name"));
        Field &price = rs.Fields(QStringLiteral("price"));
        Field &born = rs.Fields(QStringLiteral("born"));
        Field &seen = rs.Fields(QStringLiteral("seen"));
        QStringList rows;
        for (; !rs.Eof(); rs.MoveNext()) {
            QString row = QString::number(id.asInt64()) + u'|' + QString::fromUtf8(name.utf8()) + u'|';
            row += price.isNull() ? QStringLiteral("null") : QString::number(price.asDouble());
            row += u'|';
            row += born.isNull() ? QStringLiteral("null")
                                 : QDate::fromJulianDay(born.asDate().julianDay).toString(Qt::ISODate);
            row += u'|';
            if (seen.storage() == Storage::Text) {
                const DateTimeValue value = seen.asDate();
                row += QString::number(value.hasTime) + u'@' + QString::number(value.msecs);
            }
            rows << row;
        }
        QCOMPARE(rows,
            QStringList({ QStringLiteral("1|Ana|1234.5|2008-03-05|1@52215000"),
                QStringLiteral("2|Luis|null|null|1@29100000"), QStringLiteral("3|Eva|99.95|2024-02-29|") }));
    }

    void streamsForwardAndCloses()
    {
        Recordset rs;
        QCOMPARE(rs.State(), 0);
        rs.Open(QStringLiteral("select name from t where id > 1 order by id"), connectionTo(people()));
        QCOMPARE(rs.State(), 1);
        QCOMPARE(rs.Fields(0).Value().toString(), QStringLiteral("Luis"));
        rs.MoveNext();
        QCOMPARE(rs.Fields(0).Value().toString(), QStringLiteral("Eva"));
        rs.MoveNext();
        QVERIFY(rs.Eof());
        QCOMPARE(failureOf([&] { rs.Fields(0).Value(); }).number(), 3021);
        QCOMPARE(failureOf([&] { rs.MoveNext(); }).number(), 3021);
        rs.Close();
        QCOMPARE(rs.State(), 0);
        QCOMPARE(failureOf([&] { rs.Fields(0); }).number(), 3704);

        rs.Open(QStringLiteral("select name from t where id > 99"), connectionTo(people()));
        QVERIFY(rs.Eof());
        QCOMPARE(rs.fieldCount(), 1);
    }

    void stepFailureOnMoveNext()
    {
        // The second row overflows abs(): the statement fails only once it reaches that row.
        Recordset rs;
        rs.Open(
            QStringLiteral("select case when id = 2 then abs(-9223372036854775807 - 1) else id end from t "
                           "order by id"),
            connectionTo(people()));
        QCOMPARE(rs.Fields(0).asInt64(), 1);
        const Failure failure = failureOf([&] { rs.MoveNext(); });
        QCOMPARE(failure.number(), FailureNumber::CommandError);
        QCOMPARE(failure.description(), QStringLiteral("integer overflow"));
        QVERIFY(rs.Eof());
    }

    void fieldsByName()
    {
        Recordset rs;
        rs.Open(QStringLiteral("select id, name from t order by id"), connectionTo(people()));
        QCOMPARE(rs.Fields(QStringLiteral("NAME")).Value().toString(), QStringLiteral("Ana"));
        QCOMPARE(rs.fieldIndex(QStringLiteral("Id")), 0);
        QCOMPARE(rs.fieldIndex(QStringLiteral("nombre")), -1);
        QCOMPARE(failureOf([&] { rs.Fields(QStringLiteral("nombre")); }).number(), 3265);
        QCOMPARE(failureOf([&] { rs.Fields(2); }).number(), 3265);
    }

    void declaredTypeThroughListQuery()
    {
        Recordset rs;
        rs.Open(QStringLiteral("Select * from (select * from t)where  name like '%' and  id like '%'"),
            connectionTo(people()));
        QCOMPARE(rs.Fields(QStringLiteral("price")).Type(), int(AdoType::Currency));
        QCOMPARE(rs.Fields(QStringLiteral("born")).Type(), int(AdoType::Date));
        QCOMPARE(rs.Fields(QStringLiteral("id")).Type(), int(AdoType::Integer));
        QCOMPARE(rs.Fields(QStringLiteral("born")).Value(), QVariant(QDate(2008, 3, 5)));
    }

    void refusesAnythingButOneRead_data()
    {
        QTest::addColumn<QString>("sql");
        QTest::newRow("insert") << "INSERT INTO t(name) VALUES ('x')";
        QTest::newRow("update") << "UPDATE t SET name = 'x'";
        QTest::newRow("delete") << "DELETE FROM t";
        QTest::newRow("delete in a CTE") << "WITH a AS (SELECT 1) DELETE FROM t";
        QTest::newRow("drop") << "DROP TABLE t";
        QTest::newRow("create") << "CREATE TABLE u(x)";
        QTest::newRow("attach") << "ATTACH DATABASE '" + dir.filePath(QStringLiteral("other.db")) + "' AS o";
        QTest::newRow("pragma write") << "PRAGMA user_version = 7";
        QTest::newRow("pragma journal") << "PRAGMA journal_mode = WAL";
        QTest::newRow("pragma read") << "PRAGMA table_info(t)";
        QTest::newRow("vacuum into") << "VACUUM INTO '" + dir.filePath(QStringLiteral("copy.db")) + "'";
        QTest::newRow("begin") << "BEGIN IMMEDIATE";
        QTest::newRow("load_extension") << "select load_extension('libnothing')";
        QTest::newRow("read then delete") << "select 1; delete from t";
        QTest::newRow("read then drop, comment") << "select * from t; /* x */ drop table t";
        QTest::newRow("two reads") << "select 1; select 2";
        QTest::newRow("nothing") << " -- only a comment";
        QTest::newRow("huge value") << "select zeroblob(200000000)";
    }

    void refusesAnythingButOneRead()
    {
        QFETCH(QString, sql);
        const QString path = people();
        const QByteArray before = fileDigest(path);
        const Failure failure = failureOf([&] {
            Recordset rs;
            rs.Open(sql, connectionTo(path));
            while (!rs.Eof())
                rs.MoveNext();
        });
        QCOMPARE(failure.number(), FailureNumber::CommandError);
        QVERIFY(!failure.description().isEmpty());
        QCOMPARE(rowCount(path), 3);
        QCOMPARE(fileDigest(path), before);
        QVERIFY(!QFile::exists(dir.filePath(QStringLiteral("other.db"))));
        QVERIFY(!QFile::exists(dir.filePath(QStringLiteral("copy.db"))));
    }

    void acceptsTrailingSemicolonsAndComments_data()
    {
        QTest::addColumn<QString>("sql");
        QTest::newRow("semicolon") << "select count(*) from t;";
        QTest::newRow("semicolons and line comment") << "select count(*) from t ; ;  -- done";
        QTest::newRow("block comment") << "select count(*) from t /* c */ ;\n";
        QTest::newRow("unterminated comment") << "select count(*) from t; /* open";
    }

    void acceptsTrailingSemicolonsAndComments()
    {
        QFETCH(QString, sql);
        Recordset rs;
        rs.Open(sql, connectionTo(people()));
        QCOMPARE(rs.Fields(0).asInt64(), 3);
    }

    void missingFileIsRefusedAndNotCreated()
    {
        const QString path = dir.filePath(QStringLiteral("missing.db"));
        Recordset rs;
        const Failure failure = failureOf([&] { rs.Open(QStringLiteral("select 1"), connectionTo(path)); });
        QCOMPARE(failure.number(), FailureNumber::DatabaseError);
        QCOMPARE(failure.description(), QStringLiteral("unable to open database file"));
        QCOMPARE(rs.State(), 0);
        QVERIFY(!QFile::exists(path));

        const Failure noSource
            = failureOf([&] { rs.Open(QStringLiteral("select 1"), connectionTo(QString())); });
        QCOMPARE(noSource.number(), FailureNumber::DatabaseError);
    }

    void unknownProvider()
    {
        Recordset rs;
        const Failure failure = failureOf([&] {
            rs.Open(QStringLiteral("select 1"),
                QStringLiteral("Provider=Microsoft.Jet.OLEDB.4.0;Data Source=") + people());
        });
        QCOMPARE(failure.number(), FailureNumber::ProviderNotFound);
        QCOMPARE(rs.State(), 0);
    }

    void badSqlCarriesSqliteMessage_data()
    {
        QTest::addColumn<QString>("sql");
        QTest::newRow("no such column") << "select nosuch from t";
        QTest::newRow("no such table") << "Select * from (select * from nosuch)where  a like '%'";
        QTest::newRow("syntax") << "selec * from t";
        QTest::newRow("unbalanced quote") << "select * from t where name like 'x";
    }

    void badSqlCarriesSqliteMessage()
    {
        QFETCH(QString, sql);
        const QString path = people();
        Recordset rs;
        const Failure failure = failureOf([&] { rs.Open(sql, connectionTo(path)); });
        QCOMPARE(failure.number(), FailureNumber::CommandError);
        QCOMPARE(failure.description(), sqliteMessageFor(path, sql));
        QVERIFY(!failure.description().isEmpty());
        QCOMPARE(rs.State(), 0);
    }

    void runawayQueryIsInterrupted()
    {
        setStepTimeLimit(std::chrono::milliseconds(300));
        QElapsedTimer timer;
        timer.start();
        Recordset rs;
        const Failure failure = failureOf([&] {
            rs.Open(QStringLiteral("with recursive c(x) as (select 1 union all select x + 1 from c) "
                                   "select count(*) from c"),
                connectionTo(people()));
        });
        setStepTimeLimit(std::chrono::minutes(2));
        QCOMPARE(failure.number(), FailureNumber::CommandError);
        QCOMPARE(failure.description(), QStringLiteral("interrupted"));
        QVERIFY(timer.elapsed() < 10000);
    }

    void observerSeesTextsInOrder()
    {
        QStringList seen;
        setQueryObserver([&](const QString &sql) { seen << sql; });
        const QString connection = connectionTo(people());
        const QStringList texts = { QStringLiteral("select 1"), QStringLiteral("select nosuch from t"),
            QStringLiteral("select name from t") };
        for (const QString &text : texts) {
            Recordset rs;
            failureOf([&] { rs.Open(text, connection); });
        }
        QCOMPARE(seen, texts);
        setQueryObserver({});
        Recordset rs;
        rs.Open(QStringLiteral("select 2"), connection);
        QCOMPARE(seen.size(), texts.size());
    }

    void passwordIsIgnoredAndNeverLogged()
    {
        static QStringList messages;
        messages.clear();
        const QtMessageHandler previous = qInstallMessageHandler(
            [](QtMsgType, const QMessageLogContext &context, const QString &message) {
                if (qstrcmp(context.category, "brennvox.data") == 0)
                    messages << message;
            });
        const QString path = people();
        for (int i = 0; i < 2; ++i) {
            Recordset rs;
            rs.Open(QStringLiteral("select count(*) from t"), connectionTo(path) + QStringLiteral("Hunter2"));
            QCOMPARE(rs.Fields(0).asInt64(), 3);
        }
        qInstallMessageHandler(previous);
        QCOMPARE(messages.size(), 1);
        QVERIFY(!messages.constFirst().contains(QStringLiteral("Hunter2")));
    }
};

QTEST_GUILESS_MAIN(tst_Data)
#include "tst_data.moc"
