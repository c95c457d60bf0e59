// SPDX-License-Identifier: MIT
// The filter editor as a user drives it: entries from a real XML node, value lists from a real
// SQLite file, choices made through the widgets, and the text that "Aceptar" hands over.

#include "support/Fixtures.h"
#include "support/Rows.h"
#include "support/Scripted.h"

#include <Brennvox10/Brennvox10.h>

#include <QtTest>
#include <QtWidgets>

using namespace Brennvox10;
using namespace Qt::StringLiterals;
using Ints = QList<int>;

namespace {

// Entry positions in Entries below.
enum Field { Zona, Ruta, Fecha, Cliente, Otro, SinLista, Vacia, Corta, Mala };

// Entries may have any element name.
// clang-format off
const QString Entries = QStringLiteral(
    "<F><f fltName='Zona' fltType='1' fltFieldtype='0' fltSQL='select id, nombre from zonas order by id'/>"
    "<f fltName='Ruta' fltType='1' fltFieldtype='0' fltSQL='select id, nombre from rutas'/>"
    "<f fltName='Fecha' fltType='0' fltFieldtype='1' fltSQL=''/>"
    "<f fltName='Cliente' fltType='0' fltFieldtype='0'/>"
    "<x fltName='Otro' fltType='2' fltFieldtype='1' fltSQL='select 1, 2'/>"
    "<f fltName='SinLista' fltType='1' fltFieldtype='0' fltSQL=''/>"
    "<f fltName='Vacia' fltType='1' fltFieldtype='0' fltSQL='select id, nombre from rutas where 0'/>"
    "<f fltName='Corta' fltType='1' fltFieldtype='0' fltSQL='select nombre from rutas'/>"
    "<f fltName='Mala' fltType='1' fltFieldtype='0' fltSQL='select * from nada'/></F>");
// clang-format on

template <class T> T *part(QWidget *w, const QString &name)
{
    T *found = w->findChild<T *>(name);
    if (!found)
        qFatal("no part %s", qPrintable(name));
    return found;
}

// A list's items as "[text,text]", each with its data (":data") where it has some.
QString items(const QComboBox *box)
{
    QStringList out;
    for (int i = 0; i < box->count(); ++i)
        out << box->itemText(i) + (box->itemData(i).isValid() ? u':' + box->itemData(i).toString() : QString());
    return u'[' + out.join(u',') + u']';
}

// What a user sees of one page: the chosen field and the value list (both boxes show the same one),
// then per condition the operator (Enabled/disabled, choice), the value box and the date picker
// (Visible/hidden, Enabled/disabled), the box's text, and the picker's date and place while shown.
QString pageState(QWidget *filter, int page)
{
    const auto flags = [](const QWidget *w) {
        return QString(w->isHidden() ? u'h' : u'V') + (w->isEnabled() ? u'E' : u'd');
    };
    const QString list = items(part<QComboBox>(filter, u"cmb%1"_s.arg(2 * page - 1)));
    const QString other = items(part<QComboBox>(filter, u"cmb%1"_s.arg(2 * page)));
    QStringList out { part<QComboBox>(filter, u"Filtro%1"_s.arg(page))->currentText() + u' ' + list
        + (other == list ? QString() : other) };
    for (int c = 2 * page - 1; c <= 2 * page; ++c) {
        const auto *op = part<QComboBox>(filter, u"Condicion%1"_s.arg(c));
        const auto *box = part<QComboBox>(filter, u"cmb%1"_s.arg(c));
        const auto *date = part<QDateEdit>(filter, u"DTPicker%1"_s.arg(c));
        const QRectF at = twipsGeometry(date);
        const QString shown
            = u" %1@%2,%3"_s.arg(date->date().toString(Qt::ISODate)).arg(at.left()).arg(at.top());
        out << QString(op->isEnabled() ? u'E' : u'd') + QString::number(op->currentIndex()) + u' '
                + flags(box) + u'\'' + box->currentText() + u"' "_s + flags(date)
                + (date->isHidden() ? QString() : shown);
    }
    return out.join(u" | "_s);
}

// A page (see pageState) with `field` chosen that shows the zonas list, by default as Showme leaves it.
QString zonas(const QString &field, const QString &conditions = u"E0 VE'7||North' hd | d0 Vd'7||North' hd"_s)
{
    return field + u" [7||North,9||South,12||Central,13||] | "_s + conditions;
}

// Showme with the node the entries text makes; an empty node when it makes none.
void show(ctlFilter &f, const QString &entries = Entries)
{
    xml::Document doc;
    f.Showme(doc.loadXml(entries) ? doc.firstChild() : xml::Node());
}

} // namespace

class tst_ctlFilter : public QObject {
    Q_OBJECT

    QTemporaryDir dir;
    QString dbPath;
    std::shared_ptr<ReporterLog> reports;
    std::optional<UnchangedFiles> files; // the database, which no test may change

    std::unique_ptr<ctlFilter> makeFilter(const QString &entries = Entries)
    {
        auto f = std::make_unique<ctlFilter>();
        f->fltConnectionString(QStringLiteral("Provider=SQLite;Data Source="));
        f->fltDataSource(dbPath);
        show(*f, entries);
        return f;
    }

    // The user on `page`: each action picks that entry in the field list, or (-1) clicks the second
    // condition's check box.
    static void act(ctlFilter &f, int page, const Ints &actions)
    {
        auto *list = part<QComboBox>(&f, u"Filtro%1"_s.arg(page));
        for (int action : actions) {
            if (action < 0) {
                QTest::mouseClick(part<QCheckBox>(&f, u"Check%1"_s.arg(2 * page)), Qt::LeftButton);
            } else {
                list->setCurrentIndex(action);
                Q_EMIT list->activated(action);
            }
        }
    }

    static QString accept(ctlFilter &f)
    {
        QString got;
        const auto c = QObject::connect(&f, &ctlFilter::fltFilter, &f, [&got](QString &t) { got = t; });
        QTest::mouseClick(part<QToolButton>(&f, QStringLiteral("OKButton")), Qt::LeftButton);
        QObject::disconnect(c);
        return got;
    }

private Q_SLOTS:
    void initTestCase()
    {
        dbPath = dir.filePath(QStringLiteral("filtros.db"));
        makeDatabase(dbPath,
            { u"create table zonas (id INTEGER, nombre TEXT); create table rutas (id INTEGER, nombre TEXT)"_s,
                u"insert into zonas values (7, 'North'), (9, 'South'), (12, 'Central'), (13, null)"_s,
                u"insert into rutas values (2, 'West'), (9, 'East')"_s });
        files.emplace(dir.path());
    }

    void init()
    {
        reports = scriptReporter(2);
        scriptServices();
    }
    // Nothing may be reported that a test did not take as expected.
    void cleanup()
    {
        QCOMPARE(reports->numbers(), QList<qint32>());
        QVERIFY2(files->intact(), qPrintable(files->changes()));
    }

    void showmeListsEntriesAndPreparesPages()
    {
        auto f = makeFilter();
        // Each entry with its field type, on both pages.
        const QString fields = u"[Zona:0,Ruta:0,Fecha:1,Cliente:0,Otro:1,SinLista:0,Vacia:0,Corta:0,Mala:0]"_s;
        QCOMPARE(items(part<QComboBox>(f.get(), u"Filtro1"_s)) + items(part<QComboBox>(f.get(), u"Filtro2"_s)),
            fields + fields);
        // The first field's value list is read on both pages; second conditions start disabled.
        QCOMPARE((QStringList { pageState(f.get(), 1), pageState(f.get(), 2) }), QStringList(2, zonas("Zona")));
        auto *strip = part<TabStrip>(f.get(), QStringLiteral("TabStrip1"));
        auto *page1 = part<QFrame>(f.get(), u"Frame1"_s), *page2 = part<QFrame>(f.get(), u"Frame2"_s);
        QVERIFY(page1->isVisibleTo(f.get()) && !page2->isVisibleTo(f.get()));
        const QRectF client(strip->ClientLeft(), strip->ClientTop(), strip->ClientWidth(), strip->ClientHeight());
        QCOMPARE(twipsGeometry(page1), client);
        // Page 2 takes the same place, page 1 keeps its inputs while hidden.
        QTest::mouseClick(strip->tabBar(), Qt::LeftButton, {}, strip->tabBar()->tabRect(1).center());
        QVERIFY(!page1->isVisibleTo(f.get()) && page2->isVisibleTo(f.get()));
        QCOMPARE(twipsGeometry(page2), client);
        QCOMPARE(pageState(f.get(), 1), zonas("Zona"));
        // A second Showme lists the entries once, not twice, and shows page 1 again.
        show(*f);
        QCOMPARE(items(part<QComboBox>(f.get(), u"Filtro2"_s)), fields);
        QVERIFY(page1->isVisibleTo(f.get()));
    }

    // Field choices and clicks on the page's second check box change that page's inputs only.
    void pageFollowsChoices_data()
    {
        // Actions on the page (see act()), then the page's state afterwards; empty: unchanged.
        columns<int, Ints, QString>("page", "actions", "expected");
        const auto row = [](const char *name, int page, const Ints &actions, const QString &expected) {
            QTest::newRow(name) << page << actions << expected;
        };
        // Fecha chosen: both pickers show today over the boxes.
        const QString today = u"E0 hd'7||North' VE 2024-02-29@3240,600 | %1 hd'7||North' %2 2024-02-29@3240,900"_s;
        // clang-format off
        row("value list replaces both lists", 1, { Ruta },
            "Ruta [2||West,9||East] | E0 VE'2||West' hd | d0 Vd'2||West' hd");
        row("date field shows pickers with today", 1, { Fecha }, zonas("Fecha", today.arg("d0", "Vd")));
        row("second condition on, then date field", 2, { -1, Fecha }, zonas("Fecha", today.arg("E0", "VE")));
        row("query without rows empties both", 2, { Vacia }, "Vacia [] | E0 VE'' hd | d0 Vd'' hd");
        row("free value keeps the lists", 1, { Cliente }, zonas("Cliente"));
        row("type 2 changes nothing", 1, { Otro }, zonas("Otro"));
        row("value list without a query changes nothing", 2, { SinLista }, zonas("SinLista"));
        row("second condition on", 1, { -1 }, zonas("Zona", "E0 VE'7||North' hd | E0 VE'7||North' hd"));
        // Unchecking disables all three and moves nothing.
        row("second condition on, off", 1, { -1, -1 }, zonas("Zona"));
        row("date field, second condition on, off", 1, { Fecha, -1, -1 }, zonas("Fecha", today.arg("d0", "Vd")));
        // The check box decides by field type alone: a dated value list shows the picker, unmoved.
        row("dated value list, second condition on", 1, { Otro, -1 },
            zonas("Otro", "E0 VE'7||North' hd | E0 hd'7||North' VE 2000-01-01@3270,915"));
        // clang-format on
    }
    void pageFollowsChoices()
    {
        const auto [page, actions, expected] = fetch<int, Ints, QString>("page", "actions", "expected");
        auto f = makeFilter();
        const QString before = pageState(f.get(), page), other = pageState(f.get(), 3 - page);
        act(*f, page, actions);
        QCOMPARE(pageState(f.get(), page), expected.isEmpty() ? before : expected);
        QCOMPARE(pageState(f.get(), 3 - page), other);
    }

    void filterText_data()
    {
        // Actions on each page (see act()), the operators of conditions 1 to 4 and the texts in their boxes.
        columns<Ints, Ints, Ints, QStringList, QString>("page1", "page2", "operators", "values", "expected");
        const QString n = u"7||North"_s, s = u"9||South"_s, w = u"2||West"_s, e = u"9||East"_s;
        QTest::newRow("worked example one")
            << Ints { Zona } << Ints { Ruta, -1 } << Ints { 3, 0, 5, 1 } << QStringList { n, n, w, e }
            << "Zona>'7'  and Ruta<>'2'  and Ruta<'9'";
        QTest::newRow("worked example two")
            << Ints { Zona, -1 } << Ints { Ruta } << Ints { 3, 2, 0, 0 } << QStringList { n, s, w, w }
            << "Zona>'7'  and Zona<='9' and Ruta='2' ";
        QTest::newRow("separators, quote, nothing")
            << Ints { Cliente, -1 } << Ints { Cliente } << Ints { 0, 5, 0, 0 }
            << QStringList { "1||a||b", "O'Brien", "", "" }
            << "Cliente='1'  and Cliente<>'O'Brien' and Cliente='' ";
        // The second picker of page 1 is moved a day on.
        QTest::newRow("picked dates") << Ints { Fecha, -1 } << Ints { Cliente } << Ints { 4, 1, 0, 0 }
                                      << QStringList { "", "", "12||Central", "" }
                                      << "Fecha>='2024-02-29'  and Fecha<'2024-03-01' and Cliente='12' ";
    }
    void filterText()
    {
        const auto [page1, page2, operators, values, expected]
            = fetch<Ints, Ints, Ints, QStringList, QString>("page1", "page2", "operators", "values", "expected");
        auto f = makeFilter();
        act(*f, 1, page1);
        act(*f, 2, page2);
        for (int c = 1; c <= 4; ++c) {
            part<QComboBox>(f.get(), u"Condicion%1"_s.arg(c))->setCurrentIndex(operators[c - 1]);
            part<QComboBox>(f.get(), u"cmb%1"_s.arg(c))->setCurrentText(values[c - 1]);
        }
        auto *picker = part<QDateEdit>(f.get(), QStringLiteral("DTPicker2"));
        picker->setDate(picker->date().addDays(1));
        QCOMPARE(accept(*f), expected);
        // Pressing again changes nothing: the same text again.
        QCOMPARE(accept(*f), expected);
    }

    // "Aceptar" and "Cerrar" each raise their own event only, and a handler may destroy the control.
    void buttonsRaiseTheirEvent_data()
    {
        columns<bool>("destroy");
        QTest::newRow("kept") << false;
        QTest::newRow("destroyed in the handler") << true;
    }
    void buttonsRaiseTheirEvent()
    {
        QFETCH(bool, destroy);
        for (const QString &button : { u"OKButton"_s, u"CancelButton"_s }) {
            QPointer<ctlFilter> f = makeFilter().release();
            QStringList raised;
            const auto handle = [&](const QString &event) {
                raised << event;
                if (destroy)
                    delete f.data();
            };
            connect(f, &ctlFilter::fltFilter, this, [&](QString &) { handle(u"OKButton"_s); });
            connect(f, &ctlFilter::fltClose, this, [&] { handle(u"CancelButton"_s); });
            part<QToolButton>(f, button)->click();
            QCOMPARE(raised, QStringList { button });
            QCOMPARE(f.isNull(), destroy);
            delete f.data();
        }
    }

    // What a failure leaves on page 2, and in the text "Aceptar" then hands over.
    void failuresAreReported_data()
    {
        using namespace FailureNumber;
        // Actions on page 2 (see act()), the answers to the reports, page 2's state afterwards.
        columns<QString, Ints, QList<qint16>, QString, QString, QList<qint32>>(
            "entries", "actions", "answers", "page2", "text", "numbers");
        // clang-format off
        QTest::newRow("bad query keeps the previous list") << Entries << Ints { Mala } << QList<qint16> { 2 }
            << zonas("Mala") << "Zona='7'  and Mala='7' " << QList<qint32> { CommandError };
        QTest::newRow("one column: each row fails once per box") << Entries << Ints { Corta }
            << QList<qint16> { 1, 1, 1, 1 } << "Corta [] | E0 VE'' hd | d0 Vd'' hd"
            << "Zona='7'  and Corta='' " << QList<qint32>(4, ItemNotFoundInCollection);
        // The entry that failed is listed and keeps the previous entry's type: a value list without a
        // query, so choosing it shows no date pickers although it is a date field.
        QTest::newRow("type not a number: listed with the previous value")
            << "<F><a fltName='A' fltType='1' fltFieldtype='0'/><b fltName='B' fltType='x' fltFieldtype='1'/></F>"
            << Ints { 1 } << QList<qint16> { 1 } << "B [] | E0 VE'' hE | d0 Vd'' hd" << "A=''  and B='' "
            << QList<qint32> { TypeMismatch };
        // Nothing was chosen and operators stay unset: the second condition's box reports reading the
        // field, each condition of the text its missing operator.
        QTest::newRow("empty node") << QString() << Ints { -1 } << QList<qint16> { 2, 1, 1, 1, 1 }
            << " [] | E-1 VE'' hE | E-1 VE'' hE" << ""
            << (QList<qint32> { ObjectNotSet, InvalidPropertyArrayIndex } << QList<qint32>(3, SubscriptOutOfRange));
        // clang-format on
    }
    void failuresAreReported()
    {
        const auto [entries, actions, answers] = fetch<QString, Ints, QList<qint16>>("entries", "actions", "answers");
        reports->answers.assign(answers.begin(), answers.end());
        auto f = makeFilter(entries);
        act(*f, 2, actions);
        QTEST(pageState(f.get(), 2), "page2");
        QTEST(accept(*f), "text");
        QTEST(reports->numbers(), "numbers");
        QCOMPARE(reports->reports.first().control, QStringLiteral("ctlFilter"));
        reports->reports.clear();
    }

    void dialogHoldsOneFreshFilter()
    {
        frmdlgFilter *form = frmdlgFilter::Load();
        QCOMPARE(frmdlgFilter::Load(), form);
        QCOMPARE(form->size(), QSize(343, 195)); // 5145 x 2925 twips
        QCOMPARE(twipsGeometry(form->ctlFilter1()), QRectF(75, 120, 4995, 2715));
        show(*form->ctlFilter1());
        reports->reports.clear(); // its value lists fail without a connection, which is not the point here
        frmdlgFilter::Unload();
        QVERIFY(!frmdlgFilter::loaded());
        QCOMPARE(part<QComboBox>(frmdlgFilter::Load()->ctlFilter1(), QStringLiteral("Filtro1"))->count(), 0);
        frmdlgFilter::Unload();
    }
};

QTEST_MAIN(tst_ctlFilter)
#include "tst_ctlFilter.moc"
