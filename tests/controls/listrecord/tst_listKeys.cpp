// SPDX-License-Identifier: MIT
// The record list without a mouse: the tab order, a tab and a command reached by keyboard alone, the
// list's keys for the mouse's gestures, and the status strip's labels pressed from the keyboard.

#include "support/Fixtures.h"
#include "support/Rows.h"
#include "support/Scripted.h"

#include <Brennvox10/Brennvox10.h>

#include <QtTest>
#include <QtWidgets>

using namespace Brennvox10;

namespace {

const QString Definition = QStringLiteral(
    "<lrfmt Key=\"id\" ListSQLSource=\"select * from facturas\" ListMaxLineas=\"100\">"
    "<Columns><c ColWidth=\"20\" ColCaption=\"Numero\" ColAligment=\"0\" ColFieldname=\"numero\"/>"
    "<c ColWidth=\"20\" ColCaption=\"Cliente\" ColAligment=\"0\" ColFieldname=\"cliente\"/></Columns>"
    "<Tabs><t tabSQLSource=\"select id, numero from facturas order by id\" tabDefFunc=\"1\" "
    "tabDefValue=\"1\" "
    "tabDefCaption=\"Todas\" tabFieldname=\"id\"/>"
    "<t tabSQLSource=\"select 1, 'x' where 0\" tabDefFunc=\"2\" tabDefValue=\"2\" "
    "tabDefCaption=\"B\"/></Tabs>"
    "<Filters><F fltName=\"cliente\" fltType=\"0\" fltFieldtype=\"0\"/></Filters></lrfmt>");

QString focusName()
{
    QWidget *w = QApplication::focusWidget();
    while (w && w->objectName().isEmpty())
        w = w->parentWidget();
    return w ? w->objectName() : QString();
}

} // namespace

class tst_listKeys : public QObject {
    Q_OBJECT

    QTemporaryDir dir;
    std::shared_ptr<ReporterLog> reports;
    std::shared_ptr<ServicesLog> ui;

    std::unique_ptr<ctlListRecord> shownList()
    {
        auto c = std::make_unique<ctlListRecord>();
        c->lrConnectionString(QStringLiteral("Provider=SQLite;Data Source="));
        c->lrDataSource(dir.filePath(QStringLiteral("empresa.db")));
        c->lrConfigFileName(dir.filePath(QStringLiteral("facturas.conf")));
        c->show();
        c->Showme();
        c->activateWindow();
        if (!QTest::qWaitForWindowActive(c.get()))
            qWarning("the list's window is not active");
        return c;
    }

private Q_SLOTS:
    void initTestCase()
    {
        makeDatabase(dir.filePath(QStringLiteral("empresa.db")),
            { "create table facturas (id INTEGER, numero TEXT, cliente TEXT)",
                "insert into facturas values (7, 'A-7', 'Ana'), (3, 'A-3', 'Luis'), (5, 'A-5', 'Eva')" });
        writeText(dir.filePath(QStringLiteral("facturas.conf")), Definition);
    }

    void init()
    {
        reports = scriptReporter(2);
        ui = scriptServices(dir.path());
    }

    void cleanup() { QCOMPARE(reports->numbers(), QList<qint32>()); }

    // Tab strips, list, command bar (hidden buttons left out), then the labels, and round again.
    void tabOrderAndTheCommandPath()
    {
        auto c = shownList();
        c->HideButton(1);
        QWidget *label2 = c->findChild<QWidget *>(QStringLiteral("Label2"));
        label2->setFocus(Qt::TabFocusReason);
        QTest::keyClick(label2, Qt::Key_Tab); // the focus frame is shown once the keyboard moved the focus
        QStringList order { focusName() };
        QStringList unframed; // parts that look the same with and without the focus
        for (int i = 0; i < 11; ++i) {
            QWidget *part = QApplication::focusWidget();
            const QString name = focusName();
            const QImage focused = part->grab().toImage();
            QTest::keyClick(part, Qt::Key_Tab);
            if (part->grab().toImage() == focused)
                unframed << name;
            order << focusName();
        }
        QCOMPARE(unframed, QStringList());
        QCOMPARE(order,
            (QStringList { "ctlTabStrip(0)", "ctlTabStrip(1)", "ListView1", "cmdButtom(0)", "cmdButtom(2)",
                "cmdButtom(3)", "cmdButtom(4)", "cmdButtom(5)", "cmdButtom(6)", "Label1", "Label2",
                "ctlTabStrip(0)" }));

        const auto press = [](Qt::Key key, int times = 1, Qt::KeyboardModifiers modifiers = {}) {
            while (times--)
                QTest::keyClick(QApplication::focusWidget(), key, modifiers);
            return focusName();
        };
        // Focus the list, arrow to the second row, Tab to the command bar, Space on "Eliminar".
        QStringList events;
        connect(c.get(), &ctlListRecord::cmdDel, this, [&](QString &item) { events << "Del:" + item; });
        QCOMPARE(press(Qt::Key_Tab, 1, Qt::ShiftModifier), QStringLiteral("Label2"));
        QCOMPARE(press(Qt::Key_Tab, 3), QStringLiteral("ListView1"));
        press(Qt::Key_Down);
        QCOMPARE(c->lrSelectedKey(), QStringLiteral("3"));
        QCOMPARE(press(Qt::Key_Tab, 2), QStringLiteral("cmdButtom(2)"));
        press(Qt::Key_Space);
        QCOMPARE(events, QStringList { "Del:3" });

        // An arrow key on a tab strip chooses the tab beside, and the list loads for it as after a click.
        QCOMPARE(press(Qt::Key_Tab, 4, Qt::ShiftModifier), QStringLiteral("ctlTabStrip(0)"));
        press(Qt::Key_Right);
        QCOMPARE(c->lrTabFilter(0), QStringLiteral("id like '3'"));
        QCOMPARE(c->ActiveListView()->ListItems().Count(), 1);
        press(Qt::Key_Left);
        QCOMPARE(c->ActiveListView()->ListItems().Count(), 3);
        // The list reloaded meanwhile takes the arrow keys as the first time.
        QCOMPARE(press(Qt::Key_Tab, 2), QStringLiteral("ListView1"));
        press(Qt::Key_Down);
        QCOMPARE(c->lrSelectedKey(), QStringLiteral("3"));
    }

    void emptyListShowsTheFocus()
    {
        ctlListRecord c;
        c.show();
        QVERIFY(QTest::qWaitForWindowExposed(&c));
        QWidget *view = c.ActiveListView()->itemView();
        const QImage unfocused = view->grab().toImage();
        QWidget *before = c.findChild<TabStrip *>(QStringLiteral("ctlTabStrip(1)"))->tabBar();
        before->setFocus(Qt::TabFocusReason);
        QTest::keyClick(before, Qt::Key_Tab);
        QCOMPARE(QApplication::focusWidget(), view);
        QVERIFY(view->grab().toImage() != unfocused);
    }

    // Each key on the list's second row (key 3) does what its mouse gesture does there.
    void keysOnARow_data()
    {
        // The events raised, then the selected key, then the first row shown.
        columns<int, int, QString>("key", "modifiers", "seen");
        const int none = Qt::NoModifier;
        const int ctrl = Qt::ControlModifier;
        QTest::newRow("Menu") << int(Qt::Key_Menu) << none << "Menu||A-7";
        QTest::newRow("Shift+F10") << int(Qt::Key_F10) << int(Qt::ShiftModifier) << "Menu||A-7";
        QTest::newRow("F10 alone") << int(Qt::Key_F10) << none << "||A-7";
        QTest::newRow("Return") << int(Qt::Key_Return) << none << "Open:3|3|A-7";
        QTest::newRow("keypad Enter") << int(Qt::Key_Enter) << int(Qt::KeypadModifier) << "Open:3|3|A-7";
        QTest::newRow("Space") << int(Qt::Key_Space) << none << "|3|A-7";
        QTest::newRow("Down") << int(Qt::Key_Down) << none << "|5|A-7";
        // Header clicks: the first sorts descending.
        QTest::newRow("Ctrl+2") << int(Qt::Key_2) << ctrl << "||A-3";
        QTest::newRow("Ctrl+1") << int(Qt::Key_1) << ctrl << "||A-7";
        QTest::newRow("Ctrl+3, no such column") << int(Qt::Key_3) << ctrl << "||A-7";
    }
    void keysOnARow()
    {
        QFETCH(int, key);
        QFETCH(int, modifiers);
        auto c = shownList();
        QStringList events;
        connect(c.get(), &ctlListRecord::ClickMenuContextual, this, [&] { events << QStringLiteral("Menu"); });
        connect(c.get(), &ctlListRecord::cmdOpen, this, [&](QString &item) { events << "Open:" + item; });
        QAbstractItemView *view = c->ActiveListView()->itemView();
        view->setFocus(Qt::TabFocusReason);
        view->setCurrentIndex(view->model()->index(1, 0));
        QTest::keyClick(view, Qt::Key(key), Qt::KeyboardModifiers(modifiers));
        QCoreApplication::processEvents();
        QTEST(events.join(',') + '|' + c->lrSelectedKey() + '|' + view->model()->index(0, 0).data().toString(), "seen");
    }

    // Space, Return or keypad Enter on a label does what its click does.
    void labelsPressedByKeyboard_data()
    {
        columns<QString, int>("label", "key");
        for (const char *label : { "Label1", "Label2" }) {
            QTest::addRow("%s Space", label) << label << int(Qt::Key_Space);
            QTest::addRow("%s Return", label) << label << int(Qt::Key_Return);
            QTest::addRow("%s Enter", label) << label << int(Qt::Key_Enter);
        }
    }
    void labelsPressedByKeyboard()
    {
        QFETCH(QString, label);
        QFETCH(int, key);
        auto c = shownList();
        bool dialog = false;
        QTimer close;
        close.callOnTimeout([&] {
            if (frmdlgFilter *form = frmdlgFilter::loaded();
                form && QApplication::activeModalWidget() == form) {
                dialog = true;
                frmdlgFilter::Unload();
            }
        });
        close.start(20);
        QWidget *w = c->findChild<QWidget *>(label);
        w->setFocus(Qt::TabFocusReason);
        QTest::keyClick(w, Qt::Key(key), key == Qt::Key_Enter ? Qt::KeypadModifier : Qt::NoModifier);
        QCOMPARE(ui->prompts, label == "Label1" ? QStringList { "Ingrese nueva configuracion: " } : QStringList());
        QCOMPARE(dialog, label == "Label2");
    }
};

QTEST_MAIN(tst_listKeys)
#include "tst_listKeys.moc"
