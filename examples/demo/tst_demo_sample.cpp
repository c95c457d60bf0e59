// SPDX-License-Identifier: MIT
// The demo's sample database and list definition, checked together through the real control: the
// data is consistent and reproducible, the definition loads without a failure, its tabs narrow the
// rows as their captions promise, the typed columns are formatted, and every filter entry names a
// field of the list and has a value list that runs.

#include <Brennvox10/Brennvox10.h>

#include <QFile>
#include <QProcess>
#include <QRegularExpression>
#include <QStringList>
#include <QTemporaryDir>
#include <QTest>
#include <QXmlStreamReader>

#include <sqlite3.h>

#include <memory>

using namespace Brennvox10;

namespace {

QStringList reported;

class RecordingReporter : public ErrorReporter {
public:
    qint16 ReportError(qint32 &number, QString &description, QString &source, QString &, qint16 &) override
    {
        reported << QStringLiteral("%1 %2: %3").arg(number).arg(source, description);
        return 2;
    }
};

class QuietServices : public Services {
public:
    void messageBox(const QString &text) override { reported << text; }
    std::optional<QString> inputBox(const QString &) override { return std::nullopt; }
    bool fileExists(const QString &path) override { return QFile::exists(path); }
    QDate today() override { return QDate(2025, 1, 15); }
    QString libraryFolder() override { return QString(); }
    void processPendingEvents() override { }
};

// Read-only access to the sample, independent of the library's own data layer.
class Sample {
public:
    explicit Sample(const QString &path)
    {
        sqlite3_open_v2(QFile::encodeName(path).constData(), &m_db, SQLITE_OPEN_READONLY, nullptr);
    }
    ~Sample() { sqlite3_close(m_db); }

    // The rows of a query, each column as text; a failed query gives the error text as its only row.
    QList<QStringList> rows(const QString &sql) const
    {
        QList<QStringList> result;
        sqlite3_stmt *stmt = nullptr;
        if (sqlite3_prepare_v2(m_db, sql.toUtf8().constData(), -1, &stmt, nullptr) != SQLITE_OK)
            return { { QStringLiteral("error: ") + QString::fromUtf8(sqlite3_errmsg(m_db)) } };
        while (sqlite3_step(stmt) == SQLITE_ROW) {
            QStringList row;
            for (int c = 0; c < sqlite3_column_count(stmt); ++c)
                row << QString::fromUtf8(reinterpret_cast<const char *>(sqlite3_column_text(stmt, c)));
            result << row;
        }
        sqlite3_finalize(stmt);
        return result;
    }
    QString value(const QString &sql) const
    {
        const auto r = rows(sql);
        return r.isEmpty() || r.first().isEmpty() ? QString() : r.first().first();
    }
    QStringList columnNames(const QString &sql) const
    {
        QStringList names;
        sqlite3_stmt *stmt = nullptr;
        if (sqlite3_prepare_v2(m_db, sql.toUtf8().constData(), -1, &stmt, nullptr) == SQLITE_OK)
            for (int c = 0; c < sqlite3_column_count(stmt); ++c)
                names << QString::fromUtf8(sqlite3_column_name(stmt, c));
        sqlite3_finalize(stmt);
        return names;
    }

private:
    sqlite3 *m_db = nullptr;
};

struct Definition {
    QString source;
    QList<QMap<QString, QString>> filters;
};

Definition readDefinition(const QString &path)
{
    Definition def;
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return def;
    QXmlStreamReader xml(&file);
    bool inFilters = false;
    while (!xml.atEnd()) {
        xml.readNext();
        if (xml.isStartElement()) {
            if (xml.name() == QLatin1String("lrfmt"))
                def.source = xml.attributes().value(QLatin1String("ListSQLSource")).toString();
            else if (xml.name() == QLatin1String("Filters"))
                inFilters = true;
            else if (inFilters) {
                QMap<QString, QString> entry;
                for (const auto &a : xml.attributes())
                    entry.insert(a.name().toString(), a.value().toString());
                def.filters << entry;
            }
        } else if (xml.isEndElement() && xml.name() == QLatin1String("Filters")) {
            inFilters = false;
        }
    }
    return def;
}

TabStrip *strip(ctlListRecord &list, int index)
{
    return list.findChild<TabStrip *>(QStringLiteral("ctlTabStrip(%1)").arg(index));
}

int tabPosition(TabStrip *tabs, const QString &caption)
{
    for (int i = 1; i <= tabs->Tabs().Count(); ++i)
        if (tabs->Tabs().Item(i)->Caption() == caption)
            return i;
    return 0;
}

} // namespace

class tst_DemoSample : public QObject {
    Q_OBJECT

private:
    Sample sample { QStringLiteral(SAMPLE_DB) };
    std::unique_ptr<ctlListRecord> list;

    void showSample()
    {
        list = std::make_unique<ctlListRecord>();
        setTwipsSize(list.get(), 8190, 5925);
        list->lrConnectionString(QStringLiteral("Provider=SQLite;Data Source="));
        list->lrDataSource(QStringLiteral(SAMPLE_DB));
        list->lrConfigFileName(QStringLiteral(SAMPLE_CONF));
        list->Showme();
    }

private Q_SLOTS:
    void initTestCase()
    {
        installErrorReporter(std::make_unique<RecordingReporter>());
        installServices(std::make_unique<QuietServices>());
    }
    void init() { reported.clear(); }
    void cleanup() { list.reset(); }

    void dataIsConsistent_data()
    {
        QTest::addColumn<QString>("sql");
        QTest::addColumn<QString>("expected");
        QTest::newRow("invoices carry their client's zone and route")
            << "select count(*) from facturas f join clientes c on c.id = f.cliente"
               " where f.zona <> c.zona or f.ruta <> c.ruta"
            << "0";
        QTest::newRow("every route lies in its zone")
            << "select count(*) from clientes c join rutas r on r.id = c.ruta where r.zona <> c.zona"
            << "0";
        QTest::newRow("paid exactly when collected")
            << "select count(*) from facturas where pagada <> (estado = 'Cobrada')"
            << "0";
        QTest::newRow("states come from the state table")
            << "select count(*) from facturas where estado not in (select nombre from estados)"
            << "0";
        QTest::newRow("amounts in whole cents")
            << "select count(*) from facturas where abs(total * 100 - round(total * 100)) > 1e-6"
            << "0";
        QTest::newRow("some amounts need grouping")
            << "select count(*) > 100 from facturas where total >= 1000"
            << "1";
        QTest::newRow("three years of ISO dates")
            << "select group_concat(y) from (select distinct strftime('%Y', fecha) y from facturas"
               " where fecha glob '[0-9][0-9][0-9][0-9]-[0-9][0-9]-[0-9][0-9]' order by y)"
            << "2022,2023,2024";
        QTest::newRow("a few thousand invoices") << "select count(*) between 2000 and 9999 from facturas"
                                                 << "1";
        QTest::newRow("numbers carry their year")
            << "select count(*) from facturas where substr(numero, 2, 4) <> strftime('%Y', fecha)"
            << "0";
        QTest::newRow("numbers run from 1 each year without gaps")
            << "select count(*) from (select count(*) n, min(cast(substr(numero, 7) as integer)) lo,"
               " max(cast(substr(numero, 7) as integer)) hi from facturas group by substr(numero, 2, 4))"
               " where lo <> 1 or hi <> n"
            << "0";
        QTest::newRow("twelve Spanish months")
            << "select group_concat(nombre, ' ') from (select nombre from meses order by mes)"
            << "Enero Febrero Marzo Abril Mayo Junio Julio Agosto Septiembre Octubre Noviembre Diciembre";
    }
    void dataIsConsistent()
    {
        QFETCH(QString, sql);
        QFETCH(QString, expected);
        QCOMPARE(sample.value(sql), expected);
    }

    void generatorIsReproducible()
    {
        QTemporaryDir dir;
        QVERIFY(dir.isValid());
        const QString again = dir.filePath(QStringLiteral("again.db"));
        QCOMPARE(QProcess::execute(QStringLiteral(SAMPLE_GENERATOR), { again }), 0);
        QFile a(QStringLiteral(SAMPLE_DB)), b(again);
        QVERIFY(a.open(QIODevice::ReadOnly));
        QVERIFY(b.open(QIODevice::ReadOnly));
        QVERIFY(a.readAll() == b.readAll());
    }

    void showmeLoadsWithoutFailure()
    {
        showSample();
        QCOMPARE(reported, QStringList());
        ListView *view = list->ActiveListView();
        QCOMPARE(view->ColumnHeaders().Count(), 9);
        const int invoices = sample.value(QStringLiteral("select count(*) from facturas")).toInt();
        QCOMPARE(view->ListItems().Count(), qMin(invoices, 1000));
        // The newest invoice comes first, keyed by its id.
        const QString newest
            = sample.value(QStringLiteral("select id from facturas order by fecha desc, id desc"));
        QCOMPARE(view->ListItems().Item(1).Key(), QStringLiteral("T") + newest);

        QStringList years, months;
        for (int i = 1; i <= strip(*list, 0)->Tabs().Count(); ++i)
            years << strip(*list, 0)->Tabs().Item(i)->Caption();
        for (int i = 1; i <= strip(*list, 1)->Tabs().Count(); ++i)
            months << strip(*list, 1)->Tabs().Item(i)->Caption();
        QCOMPARE(years,
            (QStringList { QStringLiteral("Todos"), QStringLiteral("2022"), QStringLiteral("2023"),
                QStringLiteral("2024") }));
        QCOMPARE(months.size(), 13);
        QCOMPARE(months.first(), QStringLiteral("Todos"));
        QCOMPARE(months.at(3), QStringLiteral("Marzo"));
    }

    void typedColumnsAreFormatted()
    {
        showSample();
        ListView *view = list->ActiveListView();
        QVERIFY(view->ListItems().Count() > 0);
        const QRegularExpression date(QStringLiteral("^\\d\\d\\D\\d\\d\\D\\d{4}$"));
        const QRegularExpression money(QStringLiteral("^\\d{1,3}(\\D\\d{3})*\\D\\d\\d$"));
        bool grouped = false;
        for (int i = 1; i <= view->ListItems().Count(); ++i) {
            const ListItem item = view->ListItems().Item(i);
            QVERIFY2(date.match(item.SubItems(2)).hasMatch(), qPrintable(item.SubItems(2)));
            QVERIFY2(money.match(item.SubItems(5)).hasMatch(), qPrintable(item.SubItems(5)));
            grouped = grouped || item.SubItems(5).size() > 7;
        }
        QVERIFY(grouped);
        QCOMPARE(reported, QStringList());
    }

    void tabsNarrowTheRows_data()
    {
        QTest::addColumn<QString>("year");
        QTest::addColumn<QString>("month");
        QTest::addColumn<QString>("shownDate"); // what every shown date must look like
        QTest::addColumn<QString>("where"); // the same rows, asked of the table directly
        QTest::newRow("a year") << "2023"
                                << "Todos"
                                << "^\\d\\d\\D\\d\\d\\D2023$"
                                << "fecha like '2023-%'";
        QTest::newRow("a month of all years") << "Todos"
                                              << "Marzo"
                                              << "^\\d\\d\\D03\\D\\d{4}$"
                                              << "fecha like '____-03-%'";
        QTest::newRow("a month of a year") << "2022"
                                           << "Diciembre"
                                           << "^\\d\\d\\D12\\D2022$"
                                           << "fecha like '2022-12-%'";
        QTest::newRow("a two-digit month") << "2024"
                                           << "Octubre"
                                           << "^\\d\\d\\D10\\D2024$"
                                           << "fecha like '2024-10-%'";
    }
    void tabsNarrowTheRows()
    {
        QFETCH(QString, year);
        QFETCH(QString, month);
        QFETCH(QString, shownDate);
        QFETCH(QString, where);
        showSample();
        const int yearTab = tabPosition(strip(*list, 0), year),
                  monthTab = tabPosition(strip(*list, 1), month);
        QVERIFY(yearTab > 0 && monthTab > 0);
        strip(*list, 0)->selectTab(yearTab);
        strip(*list, 1)->selectTab(monthTab);
        QCOMPARE(reported, QStringList());

        ListView *view = list->ActiveListView();
        const int expected = qMin(
            1000, sample.value(QStringLiteral("select count(*) from facturas where ") + where).toInt());
        QVERIFY(expected > 0);
        QCOMPARE(view->ListItems().Count(), expected);
        const QRegularExpression pattern(shownDate);
        for (int i = 1; i <= view->ListItems().Count(); ++i) {
            const QString shown = view->ListItems().Item(i).SubItems(2);
            QVERIFY2(pattern.match(shown).hasMatch(), qPrintable(shown));
        }
    }

    void clientListLoadsWithoutFailure()
    {
        ctlListSingle clients;
        clients.lrConnectionString(QStringLiteral("Provider=SQLite;Data Source="));
        clients.lrDataSource(QStringLiteral(SAMPLE_DB));
        clients.lrConfigFileName(QStringLiteral(CLIENTS_CONF));
        clients.Showme();
        QCOMPARE(reported, QStringList());
        auto *view = clients.findChild<ListView *>(QStringLiteral("ListView1"));
        QCOMPARE(view->ListItems().Count(), sample.value(QStringLiteral("select count(*) from clientes")).toInt());
    }

    void filtersNameListFieldsAndListsRun_data()
    {
        QTest::addColumn<QString>("path");
        QTest::addColumn<bool>("hasDateField");
        QTest::newRow("invoices") << QStringLiteral(SAMPLE_CONF) << true;
        QTest::newRow("clients") << QStringLiteral(CLIENTS_CONF) << false;
    }

    void filtersNameListFieldsAndListsRun()
    {
        QFETCH(QString, path);
        QFETCH(bool, hasDateField);
        const Definition def = readDefinition(path);
        QVERIFY(!def.source.isEmpty());
        QVERIFY(def.filters.size() >= 3);
        const QStringList fields
            = sample.columnNames(QStringLiteral("Select * from (") + def.source + QStringLiteral(")"));
        bool dateField = false, freeField = false;
        for (const auto &entry : def.filters) {
            const QString name = entry.value(QStringLiteral("fltName"));
            QVERIFY2(fields.contains(name), qPrintable(name));
            if (entry.value(QStringLiteral("fltType")) == QLatin1String("1")) {
                const auto values = sample.rows(entry.value(QStringLiteral("fltSQL")));
                QVERIFY2(!values.isEmpty() && values.first().size() == 2, qPrintable(name));
                // The value part must select rows when used as the filter does: quoted, compared with =.
                const QString condition
                    = name + QStringLiteral("='") + values.first().first() + QStringLiteral("' ");
                QVERIFY2(
                    sample.value(QStringLiteral("select count(*) from (") + def.source
                              + QStringLiteral(") where ") + condition)
                            .toInt()
                        > 0,
                    qPrintable(condition));
            } else {
                dateField = dateField || entry.value(QStringLiteral("fltFieldtype")) == QLatin1String("1");
                freeField = freeField || entry.value(QStringLiteral("fltFieldtype")) == QLatin1String("0");
            }
        }
        QCOMPARE(dateField, hasDateField);
        QVERIFY(freeField);
    }
};

QTEST_MAIN(tst_DemoSample)
#include "tst_demo_sample.moc"
