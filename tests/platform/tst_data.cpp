#include "platform/data/Cursor_p.h"
#include "platform/data/Recordset.h"
#include "support/FailureOf.h"
#include "support/Fixtures.h"

#include <QTemporaryDir>
#include <QTest>

using namespace Brennvox10;
using namespace Brennvox10::data;

static QString connectionTo(const QString &path)
{
    return QStringLiteral("Provider=SQLite;Data Source=") + path
        + QStringLiteral(";Jet Oledb:database password=");
}

class tst_Data : public QObject {
    Q_OBJECT

    QTemporaryDir dir;
    int fileCount = 0;

    QString newDatabase(const QString &statements)
    {
        const QString path = dir.filePath(QStringLiteral("d%1.db").arg(++fileCount));
        makeDatabase(path, { statements });
        return path;
    }

    QString people()
    {
        return newDatabase(
            QStringLiteral("create table t(id INTEGER PRIMARY KEY, name TEXT, price CURRENCY, born DATE);"
                           "insert into t values (1, 'Ana', 1234.5, '2008-03-05');"
                           "insert into t values (2, 'Luis', NULL, NULL);"
                           "insert into t values (3, 'Eva', '99.95', '2024-02-29');"));
    }

    // Opens a fresh table t(v <declared>) holding one row with the literal, on field v.
    Field &singleValue(Recordset &rs)
    {
        QFETCH(QString, declared);
        QFETCH(QString, literal);
        const QString sql = QStringLiteral("create table t(v %1); insert into t values (%2);");
        rs.Open(QStringLiteral("select v from t"), connectionTo(newDatabase(sql.arg(declared, literal))));
        return rs.Fields(0);
    }

private Q_SLOTS:
    void cleanup() { setQueryObserver({}); }

    void connectionText_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("provider");
        QTest::addColumn<QString>("dataSource");
        QTest::addColumn<QString>("password");

        // clang-format off
        QTest::newRow("composed") << connectionTo(QStringLiteral("/srv/a.db")) + QStringLiteral("s3cret")
            << "sqlite" << "/srv/a.db" << "s3cret";
        QTest::newRow("case") << "PROVIDER=SqLite;data SOURCE=/x;JET OLEDB:Database Password=p"
            << "sqlite" << "/x" << "p";
        QTest::newRow("blanks") << " Data Source = /x ; Provider = PostgreSQL " << "postgresql" << "/x" << "";
        QTest::newRow("repeated key, = in a value, empty pieces") << ";;Data Source=;Data Source=/a=b;;junk;"
            << "sqlite" << "/a=b" << "";
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

    void values_data()
    {
        QTest::addColumn<QString>("declared");
        QTest::addColumn<QString>("literal");
        QTest::addColumn<int>("type");
        QTest::addColumn<QVariant>("value");

        // Declared types decide even for Null, by the first word naming a known type, whole words only.
        const std::pair<const char *, int> declaredTypes[] = { { "Short", 2 }, { "UNSIGNED BIG INT", 3 },
            { "\"AUTOINCREMENT\"", 3 }, { "SINGLE", 4 }, { "DOUBLE PRECISION", 5 }, { "money", 6 },
            { "TIME", 7 }, { "NVARCHAR", 202 }, { "POINT", 202 }, { "LongBinary", 205 } };
        for (const auto &[declared, type] : declaredTypes)
            QTest::newRow(declared) << QString::fromLatin1(declared) << "NULL" << type << QVariant();

        const auto at = [](int y, int mo, int d, int h, int mi, int s = 0, int ms = 0) {
            return QVariant(QDateTime(QDate(y, mo, d), QTime(h, mi, s, ms)));
        };
        // clang-format off
        QTest::newRow("integer from text") << "INTEGER" << "' 17 '" << 3 << QVariant(qlonglong(17));
        QTest::newRow("integer from whole real") << "INTEGER" << "12.0" << 3 << QVariant(qlonglong(12));
        QTest::newRow("currency") << "CURRENCY" << "1234.5" << 6 << QVariant(1234.5);
        QTest::newRow("currency from text") << "CURRENCY" << "'99.95'" << 6 << QVariant(99.95);
        QTest::newRow("decimal") << "DECIMAL(10,2)" << "7" << 131 << QVariant(7.0);
        QTest::newRow("with time") << "DATE" << "'2008-03-05 14:30:15'" << 7 << at(2008, 3, 5, 14, 30, 15);
        QTest::newRow("T separator") << "DATETIME" << "'2024-02-29T08:05'" << 7 << at(2024, 2, 29, 8, 5);
        QTest::newRow("fraction of seconds") << "TIMESTAMP" << "'2024-02-29 23:59:59.25'" << 7
            << at(2024, 2, 29, 23, 59, 59, 250);
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
        QTest::newRow("untyped null") << "" << "NULL" << 202 << QVariant();
        // clang-format on
    }

    void values()
    {
        QFETCH(QVariant, value);
        Recordset rs;
        const Field &field = singleValue(rs);
        QTEST(field.Type(), "type");
        const QVariant read = field.Value();
        QCOMPARE(read.metaType(), value.metaType());
        QCOMPARE(read, value);
        QCOMPARE(field.isNull(), !value.isValid());
        // The allocation-free readers agree with Value.
        if (value.typeId() == QMetaType::LongLong)
            QCOMPARE(field.asInt64(), value.toLongLong());
        if (value.typeId() == QMetaType::Double)
            QCOMPARE(field.asDouble(), value.toDouble());
        if (value.typeId() == QMetaType::QString)
            QCOMPARE(QString::fromUtf8(field.utf8()), value.toString());
        if (value.typeId() == QMetaType::QDate || value.typeId() == QMetaType::QDateTime) {
            const DateTimeValue date = field.asDate();
            QCOMPARE(date.hasTime, value.typeId() == QMetaType::QDateTime);
            QCOMPARE(
                QDateTime(QDate::fromJulianDay(date.julianDay), QTime::fromMSecsSinceStartOfDay(date.msecs)),
                value.toDateTime());
        }
    }

    void unreadableValues_data()
    {
        QTest::addColumn<QString>("declared");
        QTest::addColumn<QString>("literal");
        QTest::addColumn<QString>("reader");
        QTest::addColumn<int>("number");

        using namespace FailureNumber;
        // clang-format off
        QTest::newRow("text in a date") << "DATE" << "'abc'" << "Value" << TypeMismatch;
        QTest::newRow("no such day") << "DATE" << "'2023-02-29'" << "Value" << TypeMismatch;
        QTest::newRow("date as a number") << "DATE" << "20230101" << "Value" << TypeMismatch;
        QTest::newRow("fraction in an integer") << "INTEGER" << "12.5" << "Value" << TypeMismatch;
        QTest::newRow("word in a boolean") << "BOOLEAN" << "'maybe'" << "Value" << TypeMismatch;
        QTest::newRow("trailing text after date") << "" << "'2023-02-28x'" << "asDate" << TypeMismatch;
        QTest::newRow("text as whole number") << "" << "'12a'" << "asInt64" << TypeMismatch;
        QTest::newRow("blob as number") << "" << "x'01'" << "asDouble" << TypeMismatch;
        QTest::newRow("blob as boolean") << "" << "x'01'" << "asBool" << TypeMismatch;
        QTest::newRow("null as number") << "" << "NULL" << "asInt64" << InvalidUseOfNull;
        QTest::newRow("null as date") << "DATE" << "NULL" << "asDate" << InvalidUseOfNull;
        QTest::newRow("null as boolean") << "" << "NULL" << "asBool" << InvalidUseOfNull;
        // clang-format on
    }

    void unreadableValues()
    {
        QFETCH(QString, reader);
        Recordset rs;
        const Field &field = singleValue(rs);
        const Failure failure = failureOf([&] {
            reader == u"asDate"         ? void(field.asDate())
                : reader == u"asInt64"  ? void(field.asInt64())
                : reader == u"asDouble" ? void(field.asDouble())
                : reader == u"asBool"   ? void(field.asBool())
                                        : void(field.Value());
        });
        QTEST(failure.number(), "number");
    }

    void readsForwardByPositionOrName()
    {
        Recordset rs;
        // The third row overflows abs(): the statement fails only once it reaches that row.
        rs.Open(QStringLiteral("select case when id = 3 then abs(-9223372036854775807 - 1) else name end "
                               "from t order by id"),
            connectionTo(people()));
        QCOMPARE(rs.State(), 1);
        const Field &name = rs.Fields(0);
        QCOMPARE(name.Value().toString(), QStringLiteral("Ana"));
        rs.MoveNext();
        QCOMPARE(name.Value().toString(), QStringLiteral("Luis"));
        const Failure failure = failureOf([&] { rs.MoveNext(); });
        QCOMPARE(failure.number(), FailureNumber::CommandError);
        QCOMPARE(failure.description(), QStringLiteral("integer overflow"));
        QVERIFY(rs.Eof());
        QCOMPARE(failureOf([&] { name.Value(); }).number(), FailureNumber::NoCurrentRecord);
        QCOMPARE(failureOf([&] { rs.MoveNext(); }).number(), FailureNumber::NoCurrentRecord);
        const auto reopen
            = [&] { rs.Open(QStringLiteral("select name from t where id > 99"), connectionTo(people())); };
        QCOMPARE(failureOf(reopen).number(), FailureNumber::ObjectOpen);
        rs.Close();
        QCOMPARE(rs.State(), 0);
        QCOMPARE(failureOf([&] { rs.Fields(0); }).number(), FailureNumber::ObjectClosed);
        QCOMPARE(failureOf([&] { name.Type(); }).number(), FailureNumber::ObjectClosed);
        // No rows: the columns and their declared types are known all the same.
        reopen();
        QVERIFY(rs.Eof());
        QCOMPARE(rs.Fields(QStringLiteral("NAME")).Type(), int(AdoType::Text));
        QCOMPARE(failureOf([&] { rs.Fields(1); }).number(), FailureNumber::ItemNotFoundInCollection);
        rs.Close();

        rs.Open(QStringLiteral("Select * from (select * from t)where  name like '%' and  id like '%'"),
            connectionTo(people()));
        QCOMPARE(rs.Fields(QStringLiteral("PRICE")).Type(), int(AdoType::Currency));
        QCOMPARE(rs.Fields(QStringLiteral("born")).Type(), int(AdoType::Date));
        QCOMPARE(rs.Fields(QStringLiteral("born")).Value(), QVariant(QDate(2008, 3, 5)));
        QCOMPARE(rs.fieldIndex(QStringLiteral("Name")), 1);
        QCOMPARE(rs.fieldIndex(QStringLiteral("nombre")), -1);
        QCOMPARE(failureOf([&] { rs.Fields(QStringLiteral("nombre")); }).number(),
            FailureNumber::ItemNotFoundInCollection);
        QCOMPARE(failureOf([&] { rs.Fields(4); }).number(), FailureNumber::ItemNotFoundInCollection);
    }

    // Every way a text or a connection can be refused; nothing is written, attached or created meanwhile.
    void refused_data()
    {
        QTest::addColumn<QString>("sql");
        QTest::addColumn<QString>("connection"); // empty: a fresh copy of the people table
        QTest::addColumn<int>("number");
        QTest::addColumn<QString>("message"); // empty: any
        const auto sql = [](const char *name, const QString &text, const QString &message = QString()) {
            QTest::newRow(name) << text << QString() << FailureNumber::CommandError << message;
        };
        const QString other = dir.filePath(QStringLiteral("other.db"));
        sql("insert", "INSERT INTO t(name) VALUES ('x')");
        sql("delete in a CTE", "WITH a AS (SELECT 1) DELETE FROM t");
        sql("drop", "DROP TABLE t");
        sql("attach", "ATTACH DATABASE '" + other + "' AS o");
        sql("pragma write", "PRAGMA user_version = 7");
        sql("vacuum into", "VACUUM INTO '" + other + "'");
        sql("begin", "BEGIN IMMEDIATE");
        sql("load_extension", "select load_extension('libnothing')");
        sql("read then delete", "select 1; delete from t");
        sql("two reads", "select 1; select 2");
        sql("nothing", " -- only a comment");
        sql("huge value", "select zeroblob(200000000)");
        sql("no such column", "select nosuch from t", "no such column: nosuch");
        sql("no such table", "Select * from (select * from nosuch)where  a like '%'",
            "no such table: nosuch");
        sql("syntax", "selec * from t", "near \"selec\": syntax error");
        QTest::newRow("missing file")
            << "select 1" << connectionTo(dir.filePath(QStringLiteral("missing.db")))
            << FailureNumber::DatabaseError << "unable to open database file";
        QTest::newRow("no source") << "select 1" << connectionTo(QString()) << FailureNumber::DatabaseError
                                   << "unable to open database file: no data source";
        QTest::newRow("unknown provider")
            << "select 1" << QStringLiteral("Provider=Microsoft.Jet.OLEDB.4.0;Data Source=") + people()
            << FailureNumber::ProviderNotFound << failureFor(FailureNumber::ProviderNotFound).description();
    }

    void refused()
    {
        QFETCH(QString, sql);
        QFETCH(QString, connection);
        QFETCH(QString, message);
        const QString path = people();
        const QByteArray before = readBytes(path);
        Recordset rs;
        const Failure failure = failureOf([&] {
            rs.Open(sql, connection.isEmpty() ? connectionTo(path) : connection);
            while (!rs.Eof())
                rs.MoveNext();
        });
        QTEST(failure.number(), "number");
        QVERIFY(!failure.description().isEmpty());
        if (!message.isEmpty())
            QCOMPARE(failure.description(), message);
        QCOMPARE(rs.State(), 0);
        QCOMPARE(readBytes(path), before);
        QVERIFY(!QFile::exists(dir.filePath(QStringLiteral("other.db"))));
        QVERIFY(!QFile::exists(dir.filePath(QStringLiteral("missing.db"))));
    }

    void runawayQueryIsInterrupted()
    {
        setStepTimeLimit(std::chrono::milliseconds(300));
        const Failure failure = failureOf([&] {
            Recordset().Open(QStringLiteral("with recursive c(x) as (select 1 union all select x + 1 from c) "
                                            "select count(*) from c"),
                connectionTo(people()));
        });
        setStepTimeLimit(std::chrono::minutes(2));
        QCOMPARE(failure.number(), FailureNumber::CommandError);
        QCOMPARE(failure.description(), QStringLiteral("interrupted"));
    }

    void observerSeesTextsInOrderAndPasswordIsNeverLogged()
    {
        static QStringList messages;
        messages.clear();
        const QtMessageHandler previous = qInstallMessageHandler(
            [](QtMsgType, const QMessageLogContext &context, const QString &message) {
                if (qstrcmp(context.category, "brennvox.data") == 0)
                    messages << message;
            });
        QStringList seen;
        setQueryObserver([&](const QString &sql) { seen << sql; });
        const QString connection = connectionTo(people()) + QStringLiteral("Hunter2");
        // Trailing semicolons and comments still make one statement.
        const QStringList texts = { QStringLiteral("select count(*) from t ; ;  -- done"),
            QStringLiteral("select nosuch from t"), QStringLiteral("select count(*) from t; /* open") };
        QList<qint64> counts;
        for (const QString &text : texts)
            failureOf([&] {
                Recordset rs;
                rs.Open(text, connection);
                counts << rs.Fields(0).asInt64();
            });
        qInstallMessageHandler(previous);
        QCOMPARE(counts, QList<qint64>({ 3, 3 }));
        QCOMPARE(seen, texts);
        QCOMPARE(messages.size(), 1);
        QVERIFY(!messages.constFirst().contains(QStringLiteral("Hunter2")));
        setQueryObserver({});
        Recordset().Open(texts.first(), connection);
        QCOMPARE(seen.size(), texts.size());
    }
};

QTEST_GUILESS_MAIN(tst_Data)
#include "tst_data.moc"
