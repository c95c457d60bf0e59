// SPDX-License-Identifier: MIT
// The built Designer plugin as Designer loads it: the four controls in the "Brennvox10" group, each
// with its picture, a header a host can include, a name uic can use and a widget of that class.

#include <QtTest>

#ifdef BV_DESIGNER_PLUGIN
#include <QtUiPlugin/QDesignerCustomWidgetCollectionInterface>
#include <QtUiPlugin/QDesignerCustomWidgetInterface>

#include <QDomDocument>
#include <QPluginLoader>
#endif

class tst_designerplugin : public QObject {
    Q_OBJECT

#ifdef BV_DESIGNER_PLUGIN
    QPluginLoader loader { QStringLiteral(BV_DESIGNER_PLUGIN) };
    QHash<QString, QDesignerCustomWidgetInterface *> widgets;
#endif

private Q_SLOTS:
    void initTestCase()
    {
#ifndef BV_DESIGNER_PLUGIN
        QSKIP("built without the Designer plugin");
#else
        auto *collection = qobject_cast<QDesignerCustomWidgetCollectionInterface *>(loader.instance());
        QVERIFY2(collection, qPrintable(loader.errorString()));
        for (QDesignerCustomWidgetInterface *w : collection->customWidgets())
            widgets.insert(w->name(), w);
#endif
    }

    void widget_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<QString>("header");
        QTest::addRow("record list") << "Brennvox10::ctlListRecord" << "<Brennvox10/ctlListRecord.h>";
        QTest::addRow("single list") << "Brennvox10::ctlListSingle" << "<Brennvox10/ctlListSingle.h>";
        QTest::addRow("filter") << "Brennvox10::ctlFilter" << "<Brennvox10/ctlFilter.h>";
        QTest::addRow("menu") << "Brennvox10::ctlMenu" << "<Brennvox10/ctlMenu.h>";
    }
    void widget()
    {
#ifdef BV_DESIGNER_PLUGIN
        QFETCH(QString, name);
        QCOMPARE(widgets.size(), 4);
        QDesignerCustomWidgetInterface *w = widgets.value(name);
        QVERIFY(w);
        QCOMPARE(w->group(), QStringLiteral("Brennvox10"));
        QTEST(w->includeFile(), "header");
        QVERIFY(!w->isContainer());
        QCOMPARE(w->icon().pixmap(16, 15).size(), QSize(16, 15)); // a null picture has none
        // Designer places what domXml describes: a widget of this very class, with a usable size.
        QDomDocument dom;
        QVERIFY(dom.setContent(w->domXml()));
        const QDomElement e = dom.documentElement().firstChildElement(QStringLiteral("widget"));
        QCOMPARE(e.attribute(QStringLiteral("class")), name);
        QCOMPARE(e.attribute(QStringLiteral("name")), name.section(QStringLiteral("::"), 1) + '1');
        const QDomElement rect = e.firstChildElement(QStringLiteral("property")).firstChildElement(QStringLiteral("rect"));
        QVERIFY(rect.firstChildElement(QStringLiteral("width")).text().toInt() > 50);
        QVERIFY(rect.firstChildElement(QStringLiteral("height")).text().toInt() > 50);

        QWidget parent;
        QWidget *made = w->createWidget(&parent);
        QVERIFY(made);
        QCOMPARE(QString::fromLatin1(made->metaObject()->className()), name);
        QCOMPARE(made->parent(), &parent);
#endif
    }
};

QTEST_MAIN(tst_designerplugin)
#include "tst_designerplugin.moc"
