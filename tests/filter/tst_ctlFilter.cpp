// The filter editor as a user drives it: entries from a real XML node, value lists from a real
// SQLite file, choices made through the widgets, and the text that "Aceptar" hands over.

#include "support/Fixtures.h"
#include "support/Scripted.h"

#include <Brennvox10/Brennvox10.h>

#include <QCheckBox>
#include <QComboBox>
#include <QDateEdit>
#include <QFrame>
#include <QLineEdit>
#include <QTemporaryDir>
#include <QToolButton>
#include <QtTest>

using namespace Brennvox10;

namespace {

// Entry positions in Entries below.
enum Field { Zona, Ruta, Fecha, Cliente, Otro, SinLista, Vacia, Corta, Mala };

const QString Entries = QStringLiteral(
    "<Filters>"
    "<Filter fltName=\"Zona\" fltType=\"1\" fltFieldtype=\"0\" fltSQL=\"select id, nombre from zonas order "
    "by id\"/>"
    "<Filter fltName=\"Ruta\" fltType=\"1\" fltFieldtype=\"0\" fltSQL=\"select id, nombre from rutas\"/>"
    "<Filter fltName=\"Fecha\" fltType=\"0\" fltFieldtype=\"1\" fltSQL=\"\"/>"
    "<Filter fltName=\"Cliente\" fltType=\"0\" fltFieldtype=\"0\"/>"
    "<x fltName=\"Otro\" fltType=\"2\" fltFieldtype=\"1\" fltSQL=\"select 1, 2\"/>"
    "<Filter fltName=\"SinLista\" fltType=\"1\" fltFieldtype=\"0\" fltSQL=\"\"/>"
    "<Filter fltName=\"Vacia\" fltType=\"1\" fltFieldtype=\"0\" fltSQL=\"select id, nombre from rutas where "
    "0\"/>"
    "<Filter fltName=\"Corta\" fltType=\"1\" fltFieldtype=\"0\" fltSQL=\"select nombre from rutas\"/>"
    "<Filter fltName=\"Mala\" fltType=\"1\" fltFieldtype=\"0\" fltSQL=\"select * from nada\"/>"
    "</Filters>");

template <class T> T *part(QWidget *w, const QString &name)
{
    T *found = w->findChild<T *>(name);
    if (!found)
        qFatal("no part %s", qPrintable(name));
    return found;
}

QStringList items(const QComboBox *box)
{
    QStringList out;
    for (int i = 0; i < box->count(); ++i)
        out << box->itemText(i);
    return out;
}

// What a user sees of one page's inputs: shown, enabled, text and items of each.
QString pageState(QWidget *filter, int page)
{
    QStringList out;
    for (int c = 2 * page - 1; c <= 2 * page; ++c) {
        auto *box = part<QComboBox>(filter, QStringLiteral("cmb%1").arg(c));
        auto *date = part<QDateEdit>(filter, QStringLiteral("DTPicker%1").arg(c));
        auto *op = part<QComboBox>(filter, QStringLiteral("Condicion%1").arg(c));
        out << QStringLiteral("cmb%1 %2%3 '%4' [%5]")
                   .arg(c)
                   .arg(box->isHidden() ? 'h' : 'V')
                   .arg(box->isEnabled() ? 'E' : 'd')
                   .arg(box->currentText(), items(box).join(QLatin1Char(',')));
        out << QStringLiteral("dt%1 %2%3 %4 %5")
                   .arg(c)
                   .arg(date->isHidden() ? 'h' : 'V')
                   .arg(date->isEnabled() ? 'E' : 'd')
                   .arg(date->date().toString(Qt::ISODate))
                   .arg(qint64(twipsGeometry(date).left()) * 10000 + qint64(twipsGeometry(date).top()));
        out << QStringLiteral("op%1 %2 %3").arg(c).arg(op->isEnabled() ? 'E' : 'd').arg(op->currentIndex());
    }
    return out.join(QLatin1String("; "));
}

} // namespace

class tst_ctlFilter : public QObject {
    Q_OBJECT

    QTemporaryDir dir;
    QString dbPath;
    std::shared_ptr<ReporterLog> reports;

    std::unique_ptr<ctlFilter> makeFilter(const QString &entries = Entries)
    {
        auto f = std::make_unique<ctlFilter>();
        f->fltConnectionString(QStringLiteral("Provider=SQLite;Data Source="));
        f->fltDataSource(dbPath);
        xml::Document doc;
        doc.loadXml(entries);
        xml::Node node = doc.firstChild();
        f->Showme(node);
        return f;
    }

    // The user picks entry `field` in the page's field list.
    static void chooseField(ctlFilter &f, int page, int field)
    {
        auto *list = part<QComboBox>(&f, QStringLiteral("Filtro%1").arg(page));
        list->setCurrentIndex(field);
        Q_EMIT list->activated(field);
    }

    static QString accept(ctlFilter &f)
    {
        QString got;
        QObject::connect(&f, &ctlFilter::fltFilter, &f, [&got](QString &t) { got = t; });
        QTest::mouseClick(part<QToolButton>(&f, QStringLiteral("OKButton")), Qt::LeftButton);
        return got;
    }

private Q_SLOTS:
    void initTestCase()
    {
        QVERIFY(dir.isValid());
        dbPath = dir.filePath(QStringLiteral("filtros.db"));
        makeDatabase(dbPath,
            { QStringLiteral("create table zonas (id INTEGER, nombre TEXT)"),
                QStringLiteral(
                    "insert into zonas values (7, 'North'), (9, 'South'), (12, 'Central'), (13, null)"),
                QStringLiteral("create table rutas (id INTEGER, nombre TEXT)"),
                QStringLiteral("insert into rutas values (2, 'West'), (9, 'East')") });
    }

    void init()
    {
        reports = scriptReporter(2);
        scriptServices();
    }

    void showmeListsEntriesAndPreparesPages()
    {
        auto f = makeFilter();
        QCOMPARE(reports->numbers(), QList<qint32>());
        for (const char *name : { "Filtro1", "Filtro2" }) {
            auto *list = part<QComboBox>(f.get(), QLatin1String(name));
            QCOMPARE(items(list),
                (QStringList {
                    "Zona", "Ruta", "Fecha", "Cliente", "Otro", "SinLista", "Vacia", "Corta", "Mala" }));
            QCOMPARE(list->itemData(Fecha).toInt(), 1);
            QCOMPARE(list->itemData(Otro).toInt(), 1);
            QCOMPARE(list->itemData(Zona).toInt(), 0);
            QCOMPARE(list->currentIndex(), 0);
        }
        // The first field's value list is read on both pages; second conditions start disabled.
        QCOMPARE(pageState(f.get(), 1),
            QStringLiteral("cmb1 VE '7||North' [7||North,9||South,12||Central,13||]; dt1 hd 2000-01-01 "
                           "32550585; op1 E 0; "
                           "cmb2 Vd '7||North' [7||North,9||South,12||Central,13||]; dt2 hd 2000-01-01 "
                           "32700915; op2 d 0"));
        auto *strip = part<TabStrip>(f.get(), QStringLiteral("TabStrip1"));
        auto *page1 = part<QFrame>(f.get(), QStringLiteral("Frame1"));
        auto *page2 = part<QFrame>(f.get(), QStringLiteral("Frame2"));
        QVERIFY(page1->isVisibleTo(f.get()) && !page2->isVisibleTo(f.get()));
        const QRectF client(
            strip->ClientLeft(), strip->ClientTop(), strip->ClientWidth(), strip->ClientHeight());
        QCOMPARE(twipsGeometry(page1), client);

        // Page 2 takes the same place, page 1 keeps its inputs while hidden.
        QTest::mouseClick(strip->tabBar(), Qt::LeftButton, {}, strip->tabBar()->tabRect(1).center());
        QVERIFY(!page1->isVisibleTo(f.get()) && page2->isVisibleTo(f.get()));
        QCOMPARE(twipsGeometry(page2), client);
        QCOMPARE(part<QComboBox>(f.get(), QStringLiteral("cmb1"))->currentText(), QStringLiteral("7||North"));

        // A second Showme lists the entries once, not twice.
        xml::Document doc;
        doc.loadXml(Entries);
        xml::Node node = doc.firstChild();
        f->Showme(node);
        QCOMPARE(part<QComboBox>(f.get(), QStringLiteral("Filtro2"))->count(), 9);
        QVERIFY(page1->isVisibleTo(f.get()));
    }

    void fieldChoice_data()
    {
        QTest::addColumn<int>("page");
        QTest::addColumn<int>("field");
        QTest::addColumn<bool>("secondChecked");
        QTest::addColumn<QString>("expected"); // the page's state after the choice; empty: unchanged
        QTest::newRow("value list replaces both lists")
            << 1 << int(Ruta) << false
            << "cmb1 VE '2||West' [2||West,9||East]; dt1 hd 2000-01-01 32550585; op1 E 0; "
               "cmb2 Vd '2||West' [2||West,9||East]; dt2 hd 2000-01-01 32700915; op2 d 0";
        QTest::newRow("date field shows pickers with today")
            << 1 << int(Fecha) << false
            << "cmb1 hd '7||North' [7||North,9||South,12||Central,13||]; dt1 VE 2024-02-29 32400600; op1 E "
               "0; "
               "cmb2 hd '7||North' [7||North,9||South,12||Central,13||]; dt2 Vd 2024-02-29 32400900; op2 d 0";
        QTest::newRow("date field, second condition on")
            << 2 << int(Fecha) << true
            << "cmb3 hd '7||North' [7||North,9||South,12||Central,13||]; dt3 VE 2024-02-29 32400600; op3 E "
               "0; "
               "cmb4 hd '7||North' [7||North,9||South,12||Central,13||]; dt4 VE 2024-02-29 32400900; op4 E 0";
        QTest::newRow("query without rows empties both")
            << 2 << int(Vacia) << false
            << "cmb3 VE '' []; dt3 hd 2000-01-01 32250615; op3 E 0; cmb4 Vd '' []; dt4 hd 2000-01-01 "
               "32400945; op4 d 0";
        QTest::newRow("free value keeps the lists") << 1 << int(Cliente) << false << QString();
        QTest::newRow("type 2 changes nothing") << 1 << int(Otro) << false << QString();
        QTest::newRow("value list without a query changes nothing")
            << 2 << int(SinLista) << false << QString();
    }

    void fieldChoice()
    {
        QFETCH(int, page);
        QFETCH(int, field);
        QFETCH(bool, secondChecked);
        QFETCH(QString, expected);
        auto f = makeFilter();
        if (secondChecked)
            QTest::mouseClick(
                part<QCheckBox>(f.get(), QStringLiteral("Check%1").arg(2 * page)), Qt::LeftButton);
        const QString before = pageState(f.get(), page);
        const QString other = pageState(f.get(), 3 - page);
        chooseField(*f, page, field);
        QCOMPARE(reports->numbers(), QList<qint32>());
        QCOMPARE(pageState(f.get(), page), expected.isEmpty() ? before : expected);
        QCOMPARE(pageState(f.get(), 3 - page), other);
    }

    void secondConditionFollowsItsCheckBox_data()
    {
        QTest::addColumn<int>("field");
        QTest::addColumn<QString>("checked");
        QTest::newRow("text field") << int(Zona) << "cmb2 VE, dt2 hd, op2 E";
        QTest::newRow("date field") << int(Fecha) << "cmb2 hd, dt2 VE, op2 E";
        // The check box decides by field type alone: a dated value list shows the picker.
        QTest::newRow("date field with value list") << int(Otro) << "cmb2 hd, dt2 VE, op2 E";
    }

    void secondConditionFollowsItsCheckBox()
    {
        QFETCH(int, field);
        QFETCH(QString, checked);
        auto f = makeFilter();
        chooseField(*f, 1, field);
        auto *check = part<QCheckBox>(f.get(), QStringLiteral("Check2"));
        const auto state = [&] {
            QStringList parts = pageState(f.get(), 1).split(QStringLiteral("; ")).mid(3);
            for (QString &s : parts)
                s = s.section(QLatin1Char(' '), 0, 1);
            return parts.join(QStringLiteral(", "));
        };
        QTest::mouseClick(check, Qt::LeftButton);
        QCOMPARE(state(), checked);
        // Unchecking disables all three and moves nothing.
        QString unchecked = checked;
        unchecked.replace(QLatin1String("VE"), QLatin1String("Vd"))
            .replace(QLatin1String(" E"), QLatin1String(" d"));
        QTest::mouseClick(check, Qt::LeftButton);
        QCOMPARE(state(), unchecked);
        QCOMPARE(reports->numbers(), QList<qint32>());
    }

    void filterText_data()
    {
        QTest::addColumn<int>("field1");
        QTest::addColumn<int>("field2");
        QTest::addColumn<QList<int>>("operators"); // conditions 1 to 4
        QTest::addColumn<QList<int>>("items"); // item chosen in each value box; -1 types the text below
        QTest::addColumn<QStringList>("typed");
        QTest::addColumn<QList<bool>>("second"); // Check2, Check4
        QTest::addColumn<QString>("expected");
        const QStringList none { "", "", "", "" };
        QTest::newRow("worked example one")
            << int(Zona) << int(Ruta) << QList<int> { 3, 0, 5, 1 } << QList<int> { 0, 0, 0, 1 } << none
            << QList<bool> { false, true } << "Zona>'7'  and Ruta<>'2'  and Ruta<'9'";
        QTest::newRow("worked example two")
            << int(Zona) << int(Ruta) << QList<int> { 3, 2, 0, 0 } << QList<int> { 0, 1, 0, 0 } << none
            << QList<bool> { true, false } << "Zona>'7'  and Zona<='9' and Ruta='2' ";
        QTest::newRow("defaults: both first conditions")
            << int(Zona) << int(Zona) << QList<int> { 0, 0, 0, 0 } << QList<int> { 2, 0, 1, 0 } << none
            << QList<bool> { false, false } << "Zona='12'  and Zona='9' ";
        QTest::newRow("all four") << int(Zona) << int(Ruta) << QList<int> { 1, 2, 3, 4 }
                                  << QList<int> { 0, 1, 0, 1 } << none << QList<bool> { true, true }
                                  << "Zona<'7'  and Zona<='9' and Ruta>'2'  and Ruta>='9'";
        QTest::newRow("typed values: separators, quote, nothing")
            << int(Cliente) << int(Cliente) << QList<int> { 0, 5, 0, 0 } << QList<int> { -1, -1, -1, -1 }
            << QStringList { "1||a||b", "O'Brien", "", "" } << QList<bool> { true, false }
            << "Cliente='1'  and Cliente<>'O'Brien' and Cliente='' ";
        QTest::newRow("null description")
            << int(Zona) << int(Zona) << QList<int> { 0, 0, 0, 0 } << QList<int> { 3, 0, 3, 0 } << none
            << QList<bool> { false, false } << "Zona='13'  and Zona='13' ";
        QTest::newRow("picked dates")
            << int(Fecha) << int(Cliente) << QList<int> { 4, 1, 0, 0 } << QList<int> { -1, -1, -1, -1 }
            << QStringList { "", "", "12||Central", "" } << QList<bool> { true, false }
            << "Fecha>='2024-02-29'  and Fecha<'2024-03-01' and Cliente='12' ";
    }

    void filterText()
    {
        QFETCH(int, field1);
        QFETCH(int, field2);
        QFETCH(QList<int>, operators);
        QFETCH(QList<int>, items);
        QFETCH(QStringList, typed);
        QFETCH(QList<bool>, second);
        QFETCH(QString, expected);
        auto f = makeFilter();
        chooseField(*f, 1, field1);
        chooseField(*f, 2, field2);
        for (int page = 1; page <= 2; ++page) {
            if (second[page - 1])
                QTest::mouseClick(
                    part<QCheckBox>(f.get(), QStringLiteral("Check%1").arg(2 * page)), Qt::LeftButton);
        }
        for (int c = 1; c <= 4; ++c) {
            part<QComboBox>(f.get(), QStringLiteral("Condicion%1").arg(c))->setCurrentIndex(operators[c - 1]);
            auto *box = part<QComboBox>(f.get(), QStringLiteral("cmb%1").arg(c));
            if (items[c - 1] >= 0) {
                box->setCurrentIndex(items[c - 1]);
            } else {
                box->clearEditText();
                QTest::keyClicks(box->lineEdit(), typed[c - 1]);
            }
        }
        // The second picker of page 1, a day on.
        auto *picker = part<QDateEdit>(f.get(), QStringLiteral("DTPicker2"));
        picker->setDate(picker->date().addDays(1));
        const QString text = accept(*f);
        QCOMPARE(reports->numbers(), QList<qint32>());
        QCOMPARE(text, expected);
        // Pressing again changes nothing: the same text again.
        QCOMPARE(accept(*f), expected);
    }

    // "Aceptar" and "Cerrar" each raise their own event only, and a handler may destroy the control.
    void buttonsRaiseTheirEvent_data()
    {
        QTest::addColumn<QString>("button");
        QTest::addColumn<bool>("destroy");
        QTest::newRow("Aceptar") << "OKButton" << false;
        QTest::newRow("Cerrar") << "CancelButton" << false;
        QTest::newRow("Aceptar, destroyed in the handler") << "OKButton" << true;
        QTest::newRow("Cerrar, destroyed in the handler") << "CancelButton" << true;
    }

    void buttonsRaiseTheirEvent()
    {
        QFETCH(QString, button);
        QFETCH(bool, destroy);
        ctlFilter *f = makeFilter().release();
        QPointer<ctlFilter> alive(f);
        int filters = 0, closes = 0;
        connect(f, &ctlFilter::fltFilter, this, [&](QString &) {
            ++filters;
            if (destroy)
                delete f;
        });
        connect(f, &ctlFilter::fltClose, this, [&] {
            ++closes;
            if (destroy)
                delete f;
        });
        part<QToolButton>(f, button)->click();
        QCOMPARE(filters, button == QLatin1String("OKButton") ? 1 : 0);
        QCOMPARE(closes, button == QLatin1String("OKButton") ? 0 : 1);
        QCOMPARE(alive.isNull(), destroy);
        QCOMPARE(reports->numbers(), QList<qint32>());
        delete alive.data();
    }

    void failuresAreReported_data()
    {
        QTest::addColumn<QString>("entries");
        QTest::addColumn<int>("field"); // chosen on page 1 afterwards, -1 for none
        QTest::addColumn<QList<qint16>>("answers");
        QTest::addColumn<QList<qint32>>("numbers");
        QTest::addColumn<QString>("cmb1"); // items of the first value box afterwards
        QTest::newRow("bad query keeps the previous list")
            << Entries << int(Mala) << QList<qint16> { 2 } << QList<qint32> { FailureNumber::CommandError }
            << "7||North,9||South,12||Central,13||";
        QTest::newRow("one column: each row fails once per box")
            << Entries << int(Corta) << QList<qint16> { 1, 1, 1, 1 }
            << QList<qint32> { 3265, 3265, 3265, 3265 } << "";
        QTest::newRow("type not a number: listed with the previous value")
            << "<F><a fltName=\"A\" fltType=\"1\" fltFieldtype=\"0\"/><b fltName=\"B\" fltType=\"x\" "
               "fltFieldtype=\"1\"/></F>"
            << -1 << QList<qint16> { 1 } << QList<qint32> { FailureNumber::TypeMismatch } << "";
    }

    void failuresAreReported()
    {
        QFETCH(QString, entries);
        QFETCH(int, field);
        QFETCH(QList<qint16>, answers);
        QFETCH(QList<qint32>, numbers);
        QFETCH(QString, cmb1);
        reports->answers.assign(answers.begin(), answers.end());
        auto f = makeFilter(entries);
        if (field >= 0)
            chooseField(*f, 1, field);
        QCOMPARE(reports->numbers(), numbers);
        QCOMPARE(reports->reports.first().control, QStringLiteral("ctlFilter"));
        QCOMPARE(items(part<QComboBox>(f.get(), QStringLiteral("cmb1"))).join(QLatin1Char(',')), cmb1);
        if (field < 0) {
            // The entry that failed is listed and keeps the previous entry's type: a value list
            // without a query, so choosing it shows no date pickers although it is a date field.
            QCOMPARE(items(part<QComboBox>(f.get(), QStringLiteral("Filtro2"))), (QStringList { "A", "B" }));
            chooseField(*f, 2, 1);
            QVERIFY(part<QDateEdit>(f.get(), QStringLiteral("DTPicker3"))->isHidden());
        }
    }

    void emptyNodeLeavesOperatorsUnset()
    {
        ctlFilter f;
        xml::Node none;
        f.Showme(none);
        QCOMPARE(reports->numbers(), QList<qint32> { FailureNumber::ObjectNotSet });
        // Nothing was chosen: the second condition's box reports reading the field, the text its
        // missing operator.
        reports->answers = { 1, 1 };
        QTest::mouseClick(part<QCheckBox>(&f, QStringLiteral("Check2")), Qt::LeftButton);
        QCOMPARE(reports->numbers(), (QList<qint32> { FailureNumber::ObjectNotSet, 381 }));
        QVERIFY(part<QComboBox>(&f, QStringLiteral("Condicion2"))->isEnabled());
        reports->reports.clear();
        reports->answers = { 1, 1, 1, 1 };
        QCOMPARE(accept(f), QString());
        QCOMPARE(reports->numbers(), (QList<qint32> { 9, 9, 9 }));
    }

    void dialogHoldsOneFreshFilter()
    {
        frmdlgFilter *form = frmdlgFilter::Load();
        QCOMPARE(frmdlgFilter::Load(), form);
        QCOMPARE(form->windowTitle(), QStringLiteral("Filtro"));
        QCOMPARE(form->size(), QSize(343, 195)); // 5145 x 2925 twips
        QCOMPARE(twipsGeometry(form->ctlFilter1()), QRectF(75, 120, 4995, 2715));
        QCOMPARE(form->ctlFilter1()->objectName(), QStringLiteral("ctlFilter1"));
        xml::Document doc;
        doc.loadXml(Entries);
        xml::Node node = doc.firstChild();
        form->ctlFilter1()->Showme(node);
        frmdlgFilter::Unload();
        QVERIFY(!frmdlgFilter::loaded());
        QCOMPARE(part<QComboBox>(frmdlgFilter::Load()->ctlFilter1(), QStringLiteral("Filtro1"))->count(), 0);
        frmdlgFilter::Unload();
    }
};

QTEST_MAIN(tst_ctlFilter)
#include "tst_ctlFilter.moc"
