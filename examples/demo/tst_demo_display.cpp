// SPDX-License-Identifier: MIT
// The demo host on a real X display (run_with_xvfb.sh gives it one of its own): the window maps, its
// list paints its rows, and when the window is resized the list follows the new size and paints again.

#include "HostWindow.h"
#include "Unattended.h"

#include <Brennvox10/Brennvox10.h>

#include <QAbstractItemView>
#include <QGuiApplication>
#include <QTabWidget>
#include <QTest>

using namespace Brennvox10;

namespace {

// Counts the paints a widget gets.
struct Paints : QObject {
    explicit Paints(QWidget *w) { w->installEventFilter(this); }
    bool eventFilter(QObject *, QEvent *event) override
    {
        count += event->type() == QEvent::Paint;
        return false;
    }
    int count = 0;
};

} // namespace

class tst_demo_display : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void resizedWindowRelaysAndRepaints()
    {
        if (QGuiApplication::platformName() != QLatin1String("xcb"))
            QSKIP("needs an X display (QT_QPA_PLATFORM=xcb); run through run_with_xvfb.sh");
        unattended::install();
        HostWindow host(HostOptions { .db = QStringLiteral(SAMPLE_DB),
            .conf = QStringLiteral(SAMPLE_CONF),
            .clientsConf = QStringLiteral(CLIENTS_CONF),
            .password = {} });
        ListView *list = host.invoices()->ActiveListView();
        Paints paints(list->itemView()->viewport());
        host.show();
        host.showLists();
        QVERIFY(QTest::qWaitForWindowExposed(&host));
        QTRY_VERIFY(paints.count > 0);
        QVERIFY(list->ListItems().Count() > 0);

        const QSize listBefore = list->size();
        const QSize windowBefore = host.size();
        const int paintsBefore = paints.count;
        host.resize(windowBefore + QSize(160, 120));
        // With no window manager the server applies the size as asked; Qt hears of it by an event.
        QTRY_COMPARE(host.size(), windowBefore + QSize(160, 120));
        QTRY_COMPARE(list->size(), listBefore + QSize(160, 120));
        QTRY_VERIFY(paints.count > paintsBefore);
        QCOMPARE(unattended::problems, 0);
        host.close();
    }
};

QTEST_MAIN(tst_demo_display)
#include "tst_demo_display.moc"
