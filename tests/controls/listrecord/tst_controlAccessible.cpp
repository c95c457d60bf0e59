// SPDX-License-Identifier: MIT
// The record list's other parts as a screen reader reaches them through Qt's accessibility: the tabs
// of both strips by their captions, the line-limit and filter labels as buttons that press as a click
// does, and every input of the filter dialog named by the text the user reads beside it.

#include "support/Fixtures.h"
#include "support/Lists.h"
#include "support/Scripted.h"

#include <Brennvox10/Brennvox10.h>

#include <QAccessible>
#include <QTabBar>
#include <QtTest>

using namespace Brennvox10;

namespace {

const QString Definition = QStringLiteral(
    "<lrfmt Caption=\"F\" Key=\"id\" ListSQLSource=\"select * from facturas\" ListMaxLineas=\"1000\">"
    "<Columns><c ColWidth=\"50\" ColCaption=\"Numero\" ColAligment=\"0\" ColFieldname=\"numero\"/></Columns>"
    "<Tabs><t tabSQLSource=\"select distinct substr(fecha, 1, 4), substr(fecha, 1, 4) from facturas order by "
    "1\" "
    "tabDefFunc=\"numero\" tabDefValue=\"'%'\" tabDefCaption=\"Todos\" tabFieldname=\"substr(fecha, 1, 4)\"/>"
    "<t tabSQLSource=\"select mes, nombre from meses order by mes\" tabDefFunc=\"1\" tabDefValue=\"1\" "
    "tabDefCaption=\"Todo el anio\" tabFieldname=\"mes\"/></Tabs>"
    "<Filters><F fltName=\"cliente\" fltType=\"1\" fltFieldtype=\"0\" fltSQL=\"select cliente, numero from "
    "facturas\"/><F fltName=\"fecha\" fltType=\"0\" fltFieldtype=\"1\"/></Filters></lrfmt>");

// What a screen reader says an input is: the label that points at it, as a desktop reads a list box,
// or else its own name.
QString labelOf(QAccessibleInterface *iface)
{
    const auto labels = iface->relations(QAccessible::Label);
    return labels.isEmpty() ? iface->text(QAccessible::Name) : labels.first().first->text(QAccessible::Name);
}

// The labels of the widgets reached by walking the tree down from `top`, by design name.
QMap<QString, QString> reachedNames(QWidget *top)
{
    QMap<QString, QString> out;
    QList<QAccessibleInterface *> todo { QAccessible::queryAccessibleInterface(top) };
    while (!todo.isEmpty()) {
        QAccessibleInterface *iface = todo.takeLast();
        if (QObject *o = iface->object(); o && !o->objectName().isEmpty())
            out.insert(o->objectName(), labelOf(iface));
        for (int i = 0; i < iface->childCount(); ++i)
            if (QAccessibleInterface *child = iface->child(i))
                todo << child;
    }
    return out;
}

QStringList tabNames(QWidget *strip)
{
    QStringList out;
    QAccessibleInterface *bar = QAccessible::queryAccessibleInterface(strip->findChild<QTabBar *>());
    for (int i = 0; bar && i < bar->childCount(); ++i)
        if (bar->child(i)->role() == QAccessible::PageTab)
            out << bar->child(i)->text(QAccessible::Name);
    return out;
}

} // namespace

class tst_controlAccessible : public QObject {
    Q_OBJECT

    QTemporaryDir dir;
    std::shared_ptr<ServicesLog> ui;
    std::unique_ptr<ctlListRecord> list;

private Q_SLOTS:
    void initTestCase()
    {
        makeDatabase(dir.filePath("d.db"),
            { "create table facturas (id INTEGER, numero TEXT, fecha DATE, cliente TEXT, mes INTEGER)",
                "create table meses (mes INTEGER, nombre TEXT)", "insert into meses values (3, 'Marzo')",
                "insert into facturas values (1, 'A-1', '2008-03-05', 'Ana', 3)" });
        writeText(dir.filePath("l.conf"), Definition);
    }

    void init()
    {
        scriptReporter(1);
        ui = scriptServices(dir.path());
        list = std::make_unique<ctlListRecord>();
        list->lrConnectionString(QStringLiteral("Provider=SQLite;Data Source="));
        list->lrDataSource(dir.filePath("d.db"));
        list->lrConfigFileName(dir.filePath("l.conf"));
        list->Showme();
        list->show();
        QVERIFY(QTest::qWaitForWindowExposed(list.get()));
    }

    void cleanup() { list.reset(); }

    void tabsByCaption()
    {
        QCOMPARE(tabNames(strip(*list, 0)), (QStringList { "Todos", "2008" }));
        QCOMPARE(tabNames(strip(*list, 1)), (QStringList { "Todo el anio", "Marzo" }));
    }

    // Given the shown list, the line-limit label is a button named by its text; pressing it asks for the
    // limit as a click does, and its name follows the new caption.
    void lineLimitPress()
    {
        QAccessibleInterface *label
            = QAccessible::queryAccessibleInterface(list->findChild<QWidget *>("Label1"));
        QCOMPARE(label->role(), QAccessible::Button);
        QCOMPARE(label->text(QAccessible::Name), QStringLiteral("Limitar lineas a 1000"));
        QVERIFY(label->actionInterface()->actionNames().contains(QAccessibleActionInterface::pressAction()));
        ui->inputs.push_back(QStringLiteral("50"));
        label->actionInterface()->doAction(QAccessibleActionInterface::pressAction());
        QTRY_COMPARE(ui->prompts.size(), 1);
        QCOMPARE(label->text(QAccessible::Name), QStringLiteral("Limitar lineas a 50"));
    }

    // Given the shown list, pressing the filter label opens the filter dialog, and there every tab and
    // input is reached from the dialog and named by its tab's caption or its condition's caption.
    void filterPressAndFields()
    {
        QAccessibleInterface *label
            = QAccessible::queryAccessibleInterface(list->findChild<QWidget *>("Label2"));
        QCOMPARE(label->role(), QAccessible::Button);
        QCOMPARE(label->text(QAccessible::Name), QStringLiteral("Cambiar filtro"));

        QMap<QString, QString> names;
        QStringList tabs;
        QTimer answer, safety;
        answer.callOnTimeout([&] {
            frmdlgFilter *form = frmdlgFilter::loaded();
            if (form && form->isVisible() && QApplication::activeModalWidget() == form) {
                answer.stop();
                names = reachedNames(form);
                tabs = tabNames(form->findChild<QWidget *>("TabStrip1"));
                frmdlgFilter::Unload();
            }
        });
        answer.start(20);
        safety.setSingleShot(true);
        safety.callOnTimeout([] { frmdlgFilter::Unload(); });
        safety.start(3000);
        label->actionInterface()->doAction(QAccessibleActionInterface::pressAction());
        QTRY_VERIFY(!names.isEmpty());
        QVERIFY(safety.isActive());

        QCOMPARE(tabs, (QStringList { "Filtro 1", "Filtro 2" }));
        const QString first = QStringLiteral("Primera Condicion:"),
                      second = QStringLiteral("Segunda Condicion:");
        for (int page = 0; page < 2; ++page) {
            const QString n1 = QString::number(2 * page + 1), n2 = QString::number(2 * page + 2);
            const QString caption = QStringLiteral("Filtro %1").arg(page + 1);
            const QMap<QString, QString> expected { { "Frame" + QString::number(page + 1), caption },
                { "Filtro" + QString::number(page + 1), caption }, { "Check" + n1, first },
                { "Condicion" + n1, first }, { "cmb" + n1, first }, { "DTPicker" + n1, first },
                { "Check" + n2, second }, { "Condicion" + n2, second }, { "cmb" + n2, second },
                { "DTPicker" + n2, second } };
            for (auto it = expected.cbegin(); it != expected.cend(); ++it)
                QCOMPARE(it.key() + '=' + names.value(it.key(), "unreached"), it.key() + '=' + it.value());
        }
        QCOMPARE(names.value("OKButton"), QStringLiteral("Aceptar"));
        QCOMPARE(names.value("CancelButton"), QStringLiteral("Cerrar"));
    }
};

QTEST_MAIN(tst_controlAccessible)
#include "tst_controlAccessible.moc"
