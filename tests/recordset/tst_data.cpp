// SPDX-License-Identifier: MIT
#include "sql/cursor/Cursor.h"
#include "recordset/Recordset.h"
#include "providers/jet/JetSql.h"
#include "support/FailureOf.h"
#include "support/Fixtures.h"
#include "support/Rows.h"

#include <QDir>
#include <QElapsedTimer>
#include <QScopeGuard>
#include <QTemporaryDir>
#include <QTest>

using namespace Brennvox10;
using namespace Brennvox10::data;
using namespace Brennvox10::FailureNumber;
using Brennvox10::data::jet::adaptJetSql;

static QString connectionTo(const QString &path)
{
    return "Provider=SQLite;Data Source=" + path + ";Jet Oledb:database password=";
}

class tst_Data : public QObject {
    Q_OBJECT

    QTemporaryDir dir;
    int fileCount = 0;
    QString jetTable; // a connection to the table t the Jet SQL tests read

    QString newDatabase(const QString &statements)
    {
        const QString path = dir.filePath(QStringLiteral("d%1.db").arg(++fileCount));
        makeDatabase(path, { statements });
        return path;
    }

    QString newFolder()
    {
        const QString name = QStringLiteral("f%1").arg(++fileCount);
        QDir(dir.path()).mkdir(name);
        return dir.filePath(name);
    }

    QString people()
    {
        return newDatabase(
            QStringLiteral("create table t(id INTEGER PRIMARY KEY, name TEXT, price CURRENCY, born DATE);"
                           "insert into t values (1, 'Ana', 1234.5, '2008-03-05');"
                           "insert into t values (2, 'Luis', NULL, NULL);"
                           "insert into t values (3, 'Eva', '99.95', '2024-02-29');"
                           "create virtual table docs using fts5(body);"
                           "insert into docs values ('alpha beta'), ('gamma');"));
    }

private Q_SLOTS:
    void initTestCase()
    {
        jetTable = connectionTo(newDatabase("create table t(d DATE, s TEXT, n REAL, z TEXT);"
                                            "insert into t values ('2008-03-05 14:30:15', 'Añoñez', 2.5, NULL);"));
    }

    void cleanup()
    {
        setQueryObserver({});
        setStepTimeLimit(std::chrono::minutes(2));
    }

    void connectionText_data()
    {
        columns<QString, QString, QString, QString>("text", "provider", "dataSource", "password");
        // clang-format off
        QTest::newRow("case, blanks, empty pieces, junk, a later key wins, = in a value")
            << " data SOURCE = ; PROVIDER = PostgreSQL ;;junk; Data Source=/a=b;JET OLEDB:Database Password= p "
            << "postgresql" << "/a=b" << "p";
        QTest::newRow("quotes") << "Data Source='/a;b''c';Jet Oledb:database password=\"it\"\"s\""
            << "sqlite" << "/a;b'c" << "it\"s";
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

    // One value in a fresh table t(v <declared>): its field type, then what a reader gives for it, or the
    // failure that reader raises.
    void values_data()
    {
        columns<QString, int, QString, QVariant, int>("table", "type", "reader", "value", "number");
        const auto row = [](const char *name, const char *declared, const char *literal, int type,
                             const char *reader, const QVariant &value, int number = 0) {
            QTest::newRow(name) << QStringLiteral("create table t(v %1); insert into t values (%2);")
                                       .arg(QString::fromUtf8(declared), QString::fromUtf8(literal))
                                << type << QString::fromLatin1(reader) << value << number;
        };
        // Declared types decide even for Null, by the first word naming a known type, whole words only.
        const std::pair<const char *, int> declaredTypes[] = { { "Short", 2 }, { "UNSIGNED BIG INT", 3 },
            { "\"AUTOINCREMENT\"", 3 }, { "SINGLE", 4 }, { "DOUBLE PRECISION", 5 }, { "money", 6 },
            { "TIME", 7 }, { "NVARCHAR", 202 }, { "POINT", 202 }, { "LongBinary", 205 } };
        for (const auto &[declared, type] : declaredTypes)
            row(declared, declared, "NULL", type, "Value", QVariant());
        const auto at = [](int y, int mo, int d, int h, int mi, int s = 0, int ms = 0) {
            return QVariant(QDateTime(QDate(y, mo, d), QTime(h, mi, s, ms)));
        };
        // clang-format off
        row("integer", "INTEGER", "' 17 '", 3, "asInt64", qlonglong(17));
        row("currency", "CURRENCY", "'99.95'", 6, "asDouble", 99.95);
        row("decimal", "DECIMAL(10,2)", "7", 131, "asDouble", 7.0);
        row("with time", "DATE", "'2008-03-05 14:30:15'", 7, "asDate", at(2008, 3, 5, 14, 30, 15));
        row("T separator", "DATETIME", "'2024-02-29T08:05'", 7, "asDate", at(2024, 2, 29, 8, 5));
        row("fraction of seconds", "TIMESTAMP", "'2024-02-29 23:59:59.25'", 7, "asDate",
            at(2024, 2, 29, 23, 59, 59, 250));
        row("boolean -1", "YESNO", "-1", 11, "asBool", true);
        row("boolean 0", "BIT", "0", 11, "asBool", false);
        row("boolean text", "BOOLEAN", "'True'", 11, "asBool", true);
        row("text", "VARCHAR(20)", "'Peña'", 202, "utf8", QStringLiteral("Peña"));
        row("blob", "BLOB", "x'00ff41'", 205, "Value", QByteArray("\x00\xff\x41", 3));
        row("untyped integer", "", "7", 3, "asInt64", qlonglong(7));
        row("untyped big integer", "", "5000000000", 20, "asInt64", qlonglong(5000000000));
        row("untyped real", "", "1.5", 5, "asDouble", 1.5);
        row("untyped text", "", "'abc'", 202, "utf8", QStringLiteral("abc"));
        row("untyped null", "", "NULL", 202, "Value", QVariant());
        row("text in a date", "DATE", "'abc'", 7, "Value", {}, TypeMismatch);
        row("no such day", "DATE", "'2023-02-29'", 7, "Value", {}, TypeMismatch);
        row("date as a number", "DATE", "20230101", 7, "Value", {}, TypeMismatch);
        row("fraction in an integer", "INTEGER", "12.5", 3, "Value", {}, TypeMismatch);
        row("word in a boolean", "BOOLEAN", "'maybe'", 11, "Value", {}, TypeMismatch);
        row("trailing text after date", "", "'2023-02-28x'", 202, "asDate", {}, TypeMismatch);
        row("text as whole number", "", "'12a'", 202, "asInt64", {}, TypeMismatch);
        row("blob as number", "", "x'01'", 205, "asDouble", {}, TypeMismatch);
        row("null as number", "", "NULL", 202, "asInt64", {}, InvalidUseOfNull);
        // clang-format on
    }
    void values()
    {
        QFETCH(QString, table);
        QFETCH(QString, reader);
        QFETCH(QVariant, value);
        Recordset rs;
        rs.Open(QStringLiteral("select v from t"), connectionTo(newDatabase(table)));
        const Field &field = rs.Fields(0);
        QTEST(field.Type(), "type");
        // The allocation-free readers give what Value gives.
        QVariant read;
        const Failure failure = failureOf([&] {
            read = reader == u"asInt64" ? QVariant(qlonglong(field.asInt64()))
                : reader == u"asDouble" ? QVariant(field.asDouble())
                : reader == u"asBool"   ? QVariant(field.asBool())
                : reader == u"asDate"   ? QVariant(QDateTime(QDate::fromJulianDay(field.asDate().julianDay),
                        QTime::fromMSecsSinceStartOfDay(field.asDate().msecs)))
                : reader == u"utf8"     ? QVariant(QString::fromUtf8(field.utf8()))
                                        : field.Value();
        });
        QTEST(failure.number(), "number");
        if (failure.number())
            return;
        QCOMPARE(read, value);
        QCOMPARE(field.Value().metaType(), value.metaType());
        QCOMPARE(field.Value(), value);
        QCOMPARE(field.isNull(), !value.isValid());
    }

    void readsForwardByPositionOrName()
    {
        Recordset rs;
        // The hosts' own query form, which keeps the declared types; the added column overflows abs() on the
        // third row, so the statement fails only once it reaches that row.
        rs.Open(QStringLiteral("Select *, case when id = 3 then abs(-9223372036854775807 - 1) end "
                               "from (select * from t)where  name like '%' and  id like '%' order by id"),
            connectionTo(people()));
        QCOMPARE(rs.State(), 1);
        const Field &name = rs.Fields(QStringLiteral("NAME")), &computed = rs.Fields(4);
        QCOMPARE(rs.fieldIndex(QStringLiteral("Name")), 1);
        QCOMPARE(rs.Fields(3).Value(), QVariant(QDate(2008, 3, 5)));
        QCOMPARE(name.Value().toString(), QStringLiteral("Ana"));
        rs.MoveNext();
        QCOMPARE(name.Value().toString(), QStringLiteral("Luis"));
        const Failure failure = failureOf([&] { rs.MoveNext(); });
        QCOMPARE(failure.number(), CommandError);
        QCOMPARE(failure.description(), QStringLiteral("integer overflow"));
        QVERIFY(rs.Eof());
        QCOMPARE(failureOf([&] { name.Value(); }).number(), NoCurrentRecord);
        QCOMPARE(failureOf([&] { rs.MoveNext(); }).number(), NoCurrentRecord);
        QCOMPARE(rs.fieldIndex(QStringLiteral("nombre")), -1);
        QCOMPARE(failureOf([&] { rs.Fields(QStringLiteral("nombre")); }).number(), ItemNotFoundInCollection);
        QCOMPARE(failureOf([&] { rs.Fields(5); }).number(), ItemNotFoundInCollection);
        const auto reopen = [&] { rs.Open("select name from t where id > 99", connectionTo(people())); };
        QCOMPARE(failureOf(reopen).number(), ObjectOpen);
        rs.Close();
        QCOMPARE(rs.State(), 0);
        QCOMPARE(failureOf([&] { rs.Fields(0); }).number(), ObjectClosed);
        QCOMPARE(failureOf([&] { computed.Type(); }).number(), ObjectClosed);
        // No rows: the columns and their declared types are known all the same.
        reopen();
        QVERIFY(rs.Eof());
        QCOMPARE(rs.Fields(QStringLiteral("NAME")).Type(), int(AdoType::Text));
    }

    // Reads, also through virtual tables and pragmas, which the authorizer must tell from writes; and every
    // way a text or a connection can be refused. Nothing is written, attached or created meanwhile.
    void statements_data()
    {
        // An empty connection: a fresh copy of the people table. An empty message: any, when refused.
        columns<QString, QString, int, QString, int>("sql", "connection", "number", "message", "rows");
        const auto read = [](const char *name, const char *text, int rows) {
            QTest::newRow(name) << QString::fromUtf8(text) << QString() << 0 << QString() << rows;
        };
        read("full-text match", "select * from docs where docs match 'gamma'", 1);
        read("dbstat", "select * from dbstat where name = 't'", 1);
        read("pragma function", "select name from pragma_table_info('t')", 4);
        read("pragma", "PRAGMA table_info(t)", 4);
        read("setting asked", "select * from pragma_user_version", 1);
        const auto sql = [](const char *name, const QString &text, const QString &message = QString(),
                             const QString &connection = QString(), int number = CommandError) {
            QTest::newRow(name) << text << connection << number << message << 0;
        };
        const QString other = dir.filePath("other.db");
        const QString runaway = "with recursive c(x) as (select 1 union all select x + 1 from c) select count(*) from c";
        sql("insert", "INSERT INTO t(name) VALUES ('x')");
        sql("delete in a CTE", "WITH a AS (SELECT 1) DELETE FROM t");
        sql("drop", "DROP TABLE t");
        sql("attach", "ATTACH DATABASE '" + other + "' AS o");
        sql("pragma write", "PRAGMA user_version = 7");
        sql("pragma mode", "PRAGMA journal_mode = delete");
        sql("schema update", "UPDATE sqlite_master SET sql = ''");
        sql("full-text insert", "INSERT INTO docs VALUES ('x')");
        sql("full-text command", "INSERT INTO docs(docs) VALUES ('optimize')");
        sql("vacuum into", "VACUUM INTO '" + other + "'");
        sql("begin", "BEGIN IMMEDIATE");
        sql("load_extension", "select load_extension('libnothing')");
        sql("read then delete", "select 1; delete from t");
        sql("two reads", "select 1; select 2");
        sql("nothing", " -- only a comment");
        sql("huge value", "select zeroblob(200000000)");
        sql("syntax", "selec * from t", "near \"selec\": syntax error");
        // The default time limit is cut short for this test; the connection text's own limit wins.
        sql("runaway", runaway, "interrupted: the query ran past its time limit of 0.3 s (Command Timeout)");
        sql("runaway past its Command Timeout", runaway,
            "interrupted: the query ran past its time limit of 0.5 s (Command Timeout)",
            "Provider=SQLite;Command Timeout=0.5;Data Source=" + people());
        sql("a time limit that is no number", "select 1", "Command Timeout must be a number of seconds, 0 for none: soon",
            "Provider=SQLite;Command Timeout=soon;Data Source=" + people());
        sql("missing file", "select 1", "unable to open database file", connectionTo(dir.filePath("missing.db")),
            DatabaseError);
        sql("no source", "select 1", "unable to open database file: no data source", connectionTo(QString()),
            DatabaseError);
        sql("unknown provider", "select 1", failureFor(ProviderNotFound).description(),
            "Provider=SQLOLEDB;Data Source=" + people(), ProviderNotFound);
    }
    void statements()
    {
        QFETCH(QString, sql);
        QFETCH(QString, connection);
        QFETCH(QString, message);
        const QString path = people();
        const QByteArray before = readBytes(path);
        setStepTimeLimit(std::chrono::milliseconds(300));
        Recordset rs;
        int rows = 0;
        const Failure failure = failureOf([&] {
            for (rs.Open(sql, connection.isEmpty() ? connectionTo(path) : connection); !rs.Eof();
                 rs.MoveNext())
                ++rows;
        });
        QVERIFY2(failure.number() && message.isEmpty() ? !failure.description().isEmpty()
                                                       : failure.description() == message,
            qPrintable(failure.description()));
        QTEST(failure.number(), "number");
        QTEST(rows, "rows");
        QCOMPARE(rs.State(), failure.number() ? 0 : 1);
        QCOMPARE(readBytes(path), before);
        QVERIFY(!QFile::exists(dir.filePath("other.db")) && !QFile::exists(dir.filePath("missing.db")));
    }

    // Whatever the file's journal mode or name, a read creates nothing beside it and changes no byte; the
    // data source is a plain path even when it reads like a URI. Another program's write, the hot journal of
    // one that crashed or the lock of one still running, is told for what it is within the busy timeout.
    void folderStaysAsItWas_data()
    {
        // The journal mode the file was written in (empty: no file), the other program, the failure told.
        columns<QString, QString, bool, QString, QString>("journal", "name", "relative", "other", "message");
        const QString uriLike = QStringLiteral("file:evil.db?mode=rwc&vfs=unix-none");
        // clang-format off
        QTest::newRow("WAL") << "WAL" << "w.db" << false << "" << "";
        QTest::newRow("rollback journal") << "DELETE" << "r.db" << false << "" << "";
        QTest::newRow("like a URI") << "DELETE" << uriLike << false << "" << "";
        QTest::newRow("like a URI, relative") << "WAL" << uriLike << true << "" << "";
        QTest::newRow("missing, like a URI, relative") << "" << "file:evil.db?mode=rwc" << true << ""
            << "unable to open database file";
        QTest::newRow("hot journal") << "DELETE" << "w.db" << false << "crashed"
            << "the database has an unfinished write from another program (hot journal); open it once with a "
               "program that can write to it";
        QTest::newRow("locked") << "DELETE" << "w.db" << false << "running" << "database is locked";
        // clang-format on
    }
    void folderStaysAsItWas()
    {
        QFETCH(QString, journal);
        QFETCH(QString, name);
        QFETCH(bool, relative);
        QFETCH(QString, other);
        QFETCH(QString, message);
        QString folder = newFolder(), path = QDir(folder).filePath(name);
        if (!journal.isEmpty()) {
            makeDatabase(path, { "pragma journal_mode=" + journal + "; create table t(v); with recursive c(x) as "
                "(select 1 union all select x + 1 from c where x < 300) insert into t select randomblob(900) from c;" });
            QCOMPARE(readBytes(path).at(19) == 2, journal == u"WAL");
        }
        sqlite3 *writer = nullptr;
        const auto closeWriter = qScopeGuard([&] { sqlite3_close(writer); });
        if (!other.isEmpty()) {
            sqlite3_open(QFile::encodeName(path).constData(), &writer);
            // A cache this small spills the update into the file before the transaction ends.
            const char *write = other == u"crashed" ? "pragma cache_size = 10; begin; update t set v = randomblob(900);"
                                                    : "begin exclusive";
            QCOMPARE(sqlite3_exec(writer, write, nullptr, nullptr, nullptr), SQLITE_OK);
        }
        if (other == u"crashed") {
            // What a crash leaves: the half-written file and its journal, with no writer holding them.
            const QString copy = newFolder();
            for (const QString &suffix : { QString(), QStringLiteral("-journal") })
                QVERIFY(QFile::copy(path + suffix, QDir(copy).filePath(name + suffix)));
            folder = copy;
            path = QDir(copy).filePath(name);
        }
        const UnchangedFiles before(folder);
        const QString previous = QDir::currentPath();
        if (relative)
            QDir::setCurrent(folder);
        const auto restore = qScopeGuard([&] { QDir::setCurrent(previous); });
        QElapsedTimer timer;
        timer.start();
        qint64 count = 0;
        const Failure failure = failureOf([&] {
            Recordset rs;
            rs.Open(QStringLiteral("select count(*) from t"), connectionTo(relative ? name : path));
            count = rs.Fields(0).asInt64();
        });
        QCOMPARE_LT(timer.elapsed(), 10000);
        QCOMPARE(failure.description(), message);
        QCOMPARE(failure.number(), message.isEmpty() ? 0 : DatabaseError);
        QCOMPARE(count, message.isEmpty() ? 300 : 0);
        QVERIFY2(before.intact(), qPrintable(before.changes()));
    }

    // The observer hears each text as given, then what SQLite was given when that differs.
    void observerSeesTextsInOrderAndPasswordIsNeverLogged()
    {
        static QStringList messages;
        const QtMessageHandler previous = qInstallMessageHandler(
            [](QtMsgType, const QMessageLogContext &context, const QString &message) {
                if (qstrcmp(context.category, "brennvox.data") == 0)
                    messages << message;
            });
        QStringList seen;
        setQueryObserver([&](const QString &sql) { seen << sql; });
        const QString connection = connectionTo(people()) + QStringLiteral("Hunter2");
        // Trailing semicolons and comments still make one statement; the first is Jet SQL.
        const QStringList texts = { "select count(*) from t where born > #1/1/2000# ; ;  -- done",
            "select nosuch from t", "select count(*) from t; /* open" };
        QList<qint64> counts;
        for (const QString &text : texts)
            failureOf([&] {
                Recordset rs;
                rs.Open(text, connection);
                counts << rs.Fields(0).asInt64();
            });
        qInstallMessageHandler(previous);
        QCOMPARE(counts, QList<qint64>({ 2, 3 }));
        QCOMPARE(seen, (QStringList { texts[0], adaptJetSql(texts[0]) } + texts.mid(1)));
        QVERIFY(seen[1] != seen[0]);
        QCOMPARE(messages.size(), 1);
        QVERIFY(!messages.constFirst().contains(QStringLiteral("Hunter2")));
        setQueryObserver({});
        Recordset().Open(texts.first(), connection);
        QCOMPARE(seen.size(), texts.size() + 1);
    }

    // select <expression> from t, through the read-only SQLite path: the value's text, "Null", or the
    // failure's description ("error: ..." holds a part of it).
    void jetFunctions_data()
    {
        columns<QString, QString>("expression", "expected");
        const auto row = [](const char *expression, const char *expected) {
            QTest::newRow(expression) << QString::fromUtf8(expression) << QString::fromUtf8(expected);
        };
        // clang-format off
        row("Year(d) & '-' & Month(d) & '-' & Day(d)", "2008-3-5");
        row("Year('2024-02-29T08:05')", "2024");
        row("Year('2008-03-05') + Month(z)", "Null");
        row("Day('5/3/2008')", "error: Day: '5/3/2008' is not a date");
        row("Month(39512)", "error: Month: 39512 is not a date");
        // Today in local time; SQLite's date(x, ...) and trim(x, y) are still there.
        row("Date() = date('now', 'localtime') and Now() like Date() || ' __:__:__'", "1");
        row("date('2008-03-05', '+1 day') || trim('--x--', '-') || ltrim(' y')", "2008-03-06xy");
        // Jet's argument order for format with two arguments; SQLite's printf stays.
        row("printf('%d', 3)", "3");
        row("format('%d', 3)", "error: Format: unsupported pattern \"3\"");
        row("IIf(n > 2, 'big', 'small')", "big");
        row("IIf(z, 1, 2)", "2");
        row("Nz(z) = '' and Nz(z, 7) = 7 and Nz(s, 7) = s", "1");
        // & joins texts, Null as empty, after the arithmetic.
        row("s & z & '!' & n", "Añoñez!2.5");
        row("z & z", "Null");
        row("'n=' & n * 2 & ';' & CDbl(24) & ';' & 7", "n=5;24;7");
        row("Format(d, 'yyyy-mm-dd')", "2008-03-05");
        row("Format(d, 'DD/MM/YYYY')", "05/03/2008");
        row("Format(d, 'mm/dd/yyyy')", "03/05/2008");
        row("Format(d, 'yyyy') & Format(d, 'mm') & Format(d, 'dd')", "20080305");
        row("Format(d, 'hh:nn:ss')", "14:30:15");
        row("Format(d, 'd/m/yy h:mm')", "5/3/08 14:30");
        row("Format(d, 'mm:ss')", "30:15");
        row("Format('2008-03-05', 'yyyy-mm-dd hh:nn')", "2008-03-05 00:00");
        row("Format(n, '0')", "3");
        row("Format(0.125, '0.00')", "0.13");
        row("Format(1.005, 'Fixed')", "1.01");
        row("Format(-0.001, '0.0')", "0.0");
        row("Format(1234567.891, '#,##0.00')", "1,234,567.89");
        row("Format(-999.996, 'Standard')", "-1,000.00");
        row("Format('7', '000')", "007");
        row("Format(0.256, 'Percent') & ' ' & Format(0.5, '0%')", "25.60% 50%");
        row("Format(3, 'Yes/No') & Format(0, 'on/off') & Format(-1, 'True/False')", "YesOffTrue");
        row("Format(1e20, 'General Number')", "1E+20");
        row("Format(z, '0') & Format('', '0')", "");
        row("Format(z, '0')", "Null");
        row("Format(n, 'Currency')", "error: Format: unsupported pattern \"Currency\"");
        row("Format(d, 'mmm')", "error: Format: unsupported pattern \"mmm\"");
        row("Format(s, '0.00')", "error: Format: 'Añoñez' is not a number");
        row("UCase(s) & LCase('ÁB') & UCase(n)", "AÑOÑEZáb2.5");
        // Characters, not bytes.
        row("Left(s, 2) & '|' & Right(s, 3) & '|' & Left(s, 0) & '|' & Right(s, 9)", "Añ|ñez||Añoñez");
        row("Mid(s, 2, 3) & '|' & Mid(s, 4) & '|' & Mid(s, 5, 9) & '|' & Mid(s, 9)", "ñoñ|ñez|ez|");
        row("Len(s) & ' ' & Len('a😀b') & ' ' & Len(n)", "6 3 3");
        row("Len(z) & Left(z, 1) & Mid(s, z)", "Null");
        row("Mid(s, 0)", "error: Mid: the start must be 1 or more");
        row("Left(s, -1)", "error: Left: the length must be 0 or more");
        row("Val(' 12 34.5kg')", "1234.5");
        row("Val('-1.5d2x') & ' ' & Val('.5') & ' ' & Val('1e')", "-150 0.5 1");
        row("Val('abc') & Val('')", "00");
        row("CStr(n) & ' ' & CStr(0.1 + 0.2) & ' ' & CStr(1e20) & ' ' & CStr(12)", "2.5 0.3 1E+20 12");
        // Half to even.
        row("CLng(2.5) & CLng(3.5) & CLng(-2.5) & CLng('7.5') & CLng(2.51)", "24-283");
        row("CLng(-2147483648.5)", "-2147483648");
        row("CLng(2147483647.5)", "error: CLng: 2147483647.5 overflows a Long");
        row("CDbl(' 1.5 ') + 1", "2.5");
        row("CDbl('x')", "error: CDbl: 'x' is not a number");
        row("#3/5/2008 2:30:15 PM# = d and #3/5/2008# = date(d)", "1");
        row("DateSerial(2008, 3, 5)", "error: no such function: DateSerial");
        // clang-format on
    }
    void jetFunctions()
    {
        QFETCH(QString, expression);
        QFETCH(QString, expected);
        QString got;
        const Failure failure = failureOf([&] {
            Recordset rs;
            rs.Open(QStringLiteral("select ") + expression + QStringLiteral(" from t"), jetTable);
            got = rs.Fields(0).isNull() ? QStringLiteral("Null") : rs.Fields(0).Value().toString();
        });
        if (failure.number())
            got = "error: " + failure.description();
        QVERIFY2(expected.startsWith("error: ") ? got.startsWith(expected) : got == expected, qPrintable(got));
    }
};

QTEST_GUILESS_MAIN(tst_Data)
#include "tst_data.moc"
