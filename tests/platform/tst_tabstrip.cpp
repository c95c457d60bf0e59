// The tab strip's one promise: Click once per change of the selected tab by the user, always on
// selectTab, never while the strip is filled or emptied.

#include "support/FailureOf.h"

#include <Brennvox10/TabStrip.h>

#include <QTabBar>
#include <QTest>

#include <functional>

using namespace Brennvox10;

using Action = std::function<void(Tabs &)>;
Q_DECLARE_METATYPE(Action)

static void fill(TabStrip &strip, int count)
{
    for (int i = 1; i <= count; ++i)
        strip.Tabs().Add(QStringLiteral("i%1").arg(i), QStringLiteral("Tab %1").arg(i));
}

class tst_TabStrip : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void clicks_data();
    void clicks();
    void keys_data();
    void keys();
};

void tst_TabStrip::clicks_data()
{
    // The strip gets three tabs while shown. Steps: "c<n>" clicks tab n, "r"/"l" press an arrow key, "s<n>"
    // calls selectTab(n), "o<n>" calls it out of range, "x" clears and refills the strip.
    QTest::addColumn<QStringList>("steps");
    QTest::addColumn<int>("clicks");
    QTest::addColumn<int>("selected");

    QTest::newRow("click another tab") << QStringList { "c2" } << 1 << 2;
    QTest::newRow("click the selected tab, then another twice") << QStringList { "c1", "c3", "c3" } << 1 << 3;
    QTest::newRow("three changes") << QStringList { "c2", "c3", "c1" } << 3 << 1;
    QTest::newRow("keyboard, also past the last tab") << QStringList { "r", "r", "r", "l" } << 3 << 2;
    QTest::newRow("selectTab, then click it and another") << QStringList { "s2", "c2", "c3" } << 2 << 3;
    QTest::newRow("selectTab in range notifies") << QStringList { "s2", "s2", "o4", "o0", "s1" } << 3 << 1;
    QTest::newRow("clear and refill are silent") << QStringList { "s3", "x", "c2" } << 2 << 2;
}

void tst_TabStrip::clicks()
{
    QFETCH(QStringList, steps);
    QFETCH(int, clicks);
    QFETCH(int, selected);

    TabStrip strip;
    strip.resize(500, 40);
    strip.show();
    QVERIFY(QTest::qWaitForWindowExposed(&strip));
    const auto selectedIndex = [&] { return strip.SelectedItem() ? strip.SelectedItem()->Index() : 0; };
    // What a Click handler sees as selected, once per notification.
    QList<int> seenByHandler;
    connect(&strip, &TabStrip::Click, this, [&] { seenByHandler << selectedIndex(); });
    fill(strip, 3);

    for (const QString &step : steps) {
        const int n = step.mid(1).toInt();
        if (step.startsWith(QLatin1Char('c')))
            QTest::mouseClick(strip.tabBar(), Qt::LeftButton, {}, strip.tabBar()->tabRect(n - 1).center());
        else if (step == QLatin1String("r") || step == QLatin1String("l"))
            QTest::keyClick(strip.tabBar(), step == QLatin1String("r") ? Qt::Key_Right : Qt::Key_Left);
        else if (step.startsWith(QLatin1Char('s')))
            strip.selectTab(n);
        else if (step.startsWith(QLatin1Char('o')))
            QCOMPARE(failureOf([&] { strip.selectTab(n); }).number(), FailureNumber::IndexOutOfBounds);
        else {
            strip.Tabs().Clear();
            QCOMPARE(selectedIndex(), 0);
            fill(strip, 3);
        }
    }
    QCoreApplication::processEvents();

    QCOMPARE(seenByHandler.size(), clicks);
    QCOMPARE(selectedIndex(), selected);
    QCOMPARE(strip.tabBar()->count(), 3);
    // The handler already sees the tab that was chosen.
    if (clicks)
        QCOMPARE(seenByHandler.last(), selected);
}

void tst_TabStrip::keys_data()
{
    using namespace FailureNumber;
    QTest::addColumn<Action>("action");
    QTest::addColumn<int>("number");
    QTest::addColumn<int>("count");
    const auto row = [](const char *name, int n, int c, Action a) { QTest::newRow(name) << a << n << c; };

    row("repeated key", KeyNotUnique, 3, [](Tabs &t) { t.Add("i2", "again"); });
    row("repeated empty key", 0, 5, [](Tabs &t) { t.Add(QString(), "a"), t.Add(QString(), "b"); });
    row("missing key", ElementNotFound, 3, [](Tabs &t) { t.Item("i9"); });
    row("empty key lookup", ElementNotFound, 3, [](Tabs &t) { t.Item(QString()); });
    row("position 0", IndexOutOfBounds, 3, [](Tabs &t) { t.Item(0); });
    row("position past the end", IndexOutOfBounds, 3, [](Tabs &t) { t.Item(4); });
}

void tst_TabStrip::keys()
{
    QFETCH(Action, action);
    QFETCH(int, number);
    QFETCH(int, count);

    TabStrip strip;
    fill(strip, 3);
    QCOMPARE(failureOf([&] { action(strip.Tabs()); }).number(), number);
    QCOMPARE(strip.Tabs().Count(), count);
    QCOMPARE(strip.tabBar()->count(), count);
    // The tab that has the key stays as it was, found by key and by position.
    QCOMPARE(strip.Tabs().Item("i2"), strip.Tabs().Item(2));
    QCOMPARE(strip.Tabs().Item(2)->Caption(), "Tab 2");
    QCOMPARE(strip.tabBar()->tabText(1), "Tab 2");
}

QTEST_MAIN(tst_TabStrip)
#include "tst_tabstrip.moc"
