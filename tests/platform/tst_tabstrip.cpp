// The tab strip's one promise: Click once per change of the selected tab by the user, always on
// selectTab, never while the strip is filled or emptied; and keyed tabs refused as hosts know.

#include "support/FailureOf.h"
#include "support/Rows.h"

#include <Brennvox10/TabStrip.h>

#include <QTabBar>
#include <QTest>

using namespace Brennvox10;
using namespace Brennvox10::FailureNumber;

static void fill(TabStrip &strip, int count)
{
    for (int i = 1; i <= count; ++i)
        strip.Tabs().Add(QStringLiteral("i%1").arg(i), QStringLiteral("Tab %1").arg(i));
}

class tst_TabStrip : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void steps_data()
    {
        // The strip gets tabs i1…i3 while shown. Steps: "c<n>" clicks tab n, "r"/"l" press an arrow key,
        // "s<n>" calls selectTab(n), "x" clears and refills the strip, "e" adds a tab without a key.
        // Steps that must fail: "o<n>" selectTab(n), "p<n>" Item(n), "k<key>" Item(key), "a<key>" Add(key).
        // Seen: the selected tab as each Click handler sees it.
        columns<QString, QString, int, int>("steps", "seen", "selected", "count");
        // clang-format off
        QTest::newRow("clicks on the selected tab are no change") << "c1 c2 c3 c3 c1" << "2 3 1" << 1 << 3;
        QTest::newRow("keyboard, also past the last tab") << "r r r l" << "2 3 2" << 2 << 3;
        QTest::newRow("selectTab notifies, also on the selected tab") << "s2 s2 o4 o0 c2 c3" << "2 2 3" << 3 << 3;
        QTest::newRow("clear and refill are silent") << "s3 x c2" << "3 2" << 2 << 3;
        QTest::newRow("lookups and a repeated key") << "p0 p4 ki9 ai2" << "" << 1 << 3;
        QTest::newRow("empty keys repeat and name no tab") << "e e k" << "" << 1 << 5;
        // clang-format on
    }

    void steps()
    {
        QFETCH(QString, steps);

        TabStrip strip;
        strip.resize(500, 40);
        strip.show();
        QVERIFY(QTest::qWaitForWindowExposed(&strip));
        const auto selectedIndex = [&] { return strip.SelectedItem() ? strip.SelectedItem()->Index() : 0; };
        QStringList seen;
        connect(&strip, &TabStrip::Click, this, [&] { seen << QString::number(selectedIndex()); });
        fill(strip, 3);

        for (const QString &step : steps.split(QLatin1Char(' '))) {
            const int n = step.mid(1).toInt();
            if (step[0] == u'c')
                QTest::mouseClick(
                    strip.tabBar(), Qt::LeftButton, {}, strip.tabBar()->tabRect(n - 1).center());
            else if (step[0] == u's')
                strip.selectTab(n);
            else if (step[0] == u'o')
                QCOMPARE(failureOf([&] { strip.selectTab(n); }).number(), IndexOutOfBounds);
            else if (step[0] == u'p')
                QCOMPARE(failureOf([&] { strip.Tabs().Item(n); }).number(), IndexOutOfBounds);
            else if (step[0] == u'k')
                QCOMPARE(failureOf([&] { strip.Tabs().Item(step.mid(1)); }).number(), ElementNotFound);
            else if (step[0] == u'a')
                QCOMPARE(failureOf([&] { strip.Tabs().Add(step.mid(1), "again"); }).number(), KeyNotUnique);
            else if (step[0] == u'e')
                QCOMPARE(failureOf([&] { strip.Tabs().Add(QString(), "no key"); }).number(), 0);
            else if (step[0] == u'x') {
                strip.Tabs().Clear();
                QCOMPARE(selectedIndex(), 0);
                fill(strip, 3);
            } else
                QTest::keyClick(strip.tabBar(), step[0] == u'r' ? Qt::Key_Right : Qt::Key_Left);
        }
        QCoreApplication::processEvents();

        QTEST(seen.join(QLatin1Char(' ')), "seen");
        QTEST(selectedIndex(), "selected");
        QTEST(strip.Tabs().Count(), "count");
        QTEST(strip.tabBar()->count(), "count");
        // The tab that has the key stays as it was, found by key and by position.
        QCOMPARE(strip.Tabs().Item("i2"), strip.Tabs().Item(2));
        QCOMPARE(strip.Tabs().Item(2)->Caption(), "Tab 2");
        QCOMPARE(strip.tabBar()->tabText(1), "Tab 2");
    }
};

QTEST_MAIN(tst_TabStrip)
#include "tst_tabstrip.moc"
