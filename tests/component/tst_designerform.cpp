// SPDX-License-Identifier: MIT
// A form drawn in Designer with a record list on it, compiled by uic as a host's form is, shows the
// rows of a real database: the class name, header and constructor the plugin gives uic all work.

#include "support/Fixtures.h"
#include "support/Scripted.h"
#include "ui_hostform.h"

#include <Brennvox10/Brennvox10.h>

#include <QTemporaryDir>
#include <QtTest>

class tst_designerform : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void formShowsRows()
    {
        QTemporaryDir dir;
        const QString db = dir.filePath(QStringLiteral("empresa.db"));
        const QString conf = dir.filePath(QStringLiteral("clientes.conf"));
        makeDatabase(db, { QStringLiteral("create table clientes (id INTEGER, nombre TEXT, saldo REAL)"),
                             QStringLiteral("insert into clientes values (1, 'Ana', 2.5), (2, 'Luis', 10)") });
        writeText(conf,
            QStringLiteral("<?xml version=\"1.0\"?>\n<lrfmt Caption=\"Clientes\" Key=\"id\" "
                           "ListSQLSource=\"select * from clientes\" ListMaxLineas=\"100\"><Columns>"
                           "<c ColWidth=\"20\" ColCaption=\"Nombre\" ColAligment=\"0\" ColFieldname=\"nombre\"/>"
                           "<c ColWidth=\"10\" ColCaption=\"Saldo\" ColAligment=\"1\" ColFieldname=\"saldo\"/>"
                           "</Columns><Tabs><t tabSQLSource=\"select 1, 'x' where 0\" tabDefFunc=\"1\" "
                           "tabDefValue=\"1\" tabDefCaption=\"A\"/><t tabSQLSource=\"select 1, 'x' where 0\" "
                           "tabDefFunc=\"2\" tabDefValue=\"2\" tabDefCaption=\"B\"/></Tabs><Filters/></lrfmt>\n"));
        const auto reports = scriptReporter();
        scriptServices();

        QWidget form;
        Ui::HostForm ui;
        ui.setupUi(&form);
        ui.ctlListRecord1->lrConnectionString(QStringLiteral("Provider=SQLite;Data Source="));
        ui.ctlListRecord1->lrDataSource(db);
        ui.ctlListRecord1->lrConfigFileName(conf);
        ui.ctlListRecord1->Showme();
        form.show();

        QCOMPARE(reports->numbers(), QList<qint32>());
        QCOMPARE(rowTexts(*ui.ctlListRecord1->ActiveListView()),
            QStringList({ QStringLiteral("T1|Ana|2.5"), QStringLiteral("T2|Luis|10") }));
    }
};

QTEST_MAIN(tst_designerform)
#include "tst_designerform.moc"
