// The tab strip's one promise: Click once per change of the selected tab by the user, always on
// selectTab, never while the strip is filled or emptied.

#include <Brennvox10/Failure.h>
#include <Brennvox10/TabStrip.h>

#include <QSignalSpy>
#include <QTabBar>
#include <QTest>

using namespace Brennvox10;

namespace {

template <typename F> int failureOf(F &&f)
{
    try {
        f();
    } catch (const Failure &e) {
        return e.number();
    }
    return 0;
}

void fill(TabStrip &strip, int count)
{
    for (int i = 1; i <= count; ++i)
        strip.Tabs().Add(QStringLiteral("i%1").arg(i), QStringLiteral("Tab %1").arg(i));
}

} // namespace

class tst_TabStrip : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void userChoices_data();
    void userChoices();
    void fillingAndClearingAreSilent();
    void selectTabAlwaysNotifies();
    void keys_data();
    void keys();
};

void tst_TabStrip::userChoices_data()
{
    // Steps: "c<n>" clicks tab n, "r"/"l" press the right/left arrow key, "s<n>" calls selectTab(n).
    QTest::addColumn<QStringList>("steps");
    QTest::addColumn<int>("clicks");
    QTest::addColumn<int>("selected");

    QTest::newRow("click another tab") << QStringList { "c2" } << 1 << 2;
    QTest::newRow("click the selected tab") << QStringList { "c1" } << 0 << 1;
    QTest::newRow("same tab twice") << QStringList { "c3", "c3" } << 1 << 3;
    QTest::newRow("three changes") << QStringList { "c2", "c3", "c1" } << 3 << 1;
    QTest::newRow("keyboard") << QStringList { "r", "r", "l" } << 3 << 2;
    QTest::newRow("keyboard past the last tab") << QStringList { "c3", "r" } << 1 << 3;
    QTest::newRow("selectTab then click it") << QStringList { "s2", "c2" } << 1 << 2;
    QTest::newRow("selectTab then click another") << QStringList { "s2", "c3" } << 2 << 3;
}

void tst_TabStrip::userChoices()
{
    QFETCH(QStringList, steps);
    QFETCH(int, clicks);
    QFETCH(int, selected);

    TabStrip strip;
    strip.resize(500, 40);
    fill(strip, 3);
    strip.show();
    QVERIFY(QTest::qWaitForWindowExposed(&strip));
    QSignalSpy spy(&strip, &TabStrip::Click);
    QList<int> seenByHandler;
    connect(&strip, &TabStrip::Click, this, [&] { seenByHandler << strip.SelectedItem()->Index(); });

    QTabBar *bar = strip.tabBar();
    for (const QString &step : steps) {
        const int n = step.mid(1).toInt();
        if (step.startsWith(QLatin1Char('c')))
            QTest::mouseClick(bar, Qt::LeftButton, {}, bar->tabRect(n - 1).center());
        else if (step == QLatin1String("r"))
            QTest::keyClick(bar, Qt::Key_Right);
        else if (step == QLatin1String("l"))
            QTest::keyClick(bar, Qt::Key_Left);
        else
            strip.selectTab(n);
    }

    QCOMPARE(spy.size(), clicks);
    QCOMPARE(strip.SelectedItem()->Index(), selected);
    // The handler already sees the tab that was chosen.
    if (clicks)
        QCOMPARE(seenByHandler.last(), selected);
}

void tst_TabStrip::fillingAndClearingAreSilent()
{
    TabStrip strip;
    strip.resize(500, 40);
    strip.show();
    QVERIFY(QTest::qWaitForWindowExposed(&strip));
    QSignalSpy spy(&strip, &TabStrip::Click);

    QCOMPARE(strip.SelectedItem(), nullptr);
    fill(strip, 4);
    strip.selectTab(3);
    QCOMPARE(spy.size(), 1);

    strip.Tabs().Clear();
    QCOMPARE(strip.Tabs().Count(), 0);
    QCOMPARE(strip.SelectedItem(), nullptr);
    fill(strip, 2);
    QCoreApplication::processEvents();
    QCOMPARE(spy.size(), 1);
    QCOMPARE(strip.tabBar()->count(), 2);

    // After a refill the user's next change still counts.
    QTest::mouseClick(strip.tabBar(), Qt::LeftButton, {}, strip.tabBar()->tabRect(1).center());
    QCOMPARE(spy.size(), 2);
    QCOMPARE(strip.SelectedItem()->Key(), QStringLiteral("i2"));
}

void tst_TabStrip::selectTabAlwaysNotifies()
{
    TabStrip strip;
    fill(strip, 3);
    QSignalSpy spy(&strip, &TabStrip::Click);
    strip.selectTab(2);
    strip.selectTab(2);
    strip.selectTab(1);
    QCOMPARE(spy.size(), 3);
    QCOMPARE(strip.SelectedItem()->Caption(), QStringLiteral("Tab 1"));
    QCOMPARE(failureOf([&] { strip.selectTab(4); }), FailureNumber::IndexOutOfBounds);
    QCOMPARE(failureOf([&] { strip.selectTab(0); }), FailureNumber::IndexOutOfBounds);
    QCOMPARE(spy.size(), 3);
    QCOMPARE(strip.SelectedItem()->Index(), 1);
}

void tst_TabStrip::keys_data()
{
    QTest::addColumn<QString>("action");
    QTest::addColumn<int>("number");
    QTest::addColumn<int>("count");

    QTest::newRow("repeated key") << "repeat" << FailureNumber::KeyNotUnique << 3;
    QTest::newRow("repeated empty key") << "repeatEmpty" << 0 << 5;
    QTest::newRow("missing key") << "missing" << FailureNumber::ElementNotFound << 3;
    QTest::newRow("empty key lookup") << "lookupEmpty" << FailureNumber::ElementNotFound << 3;
    QTest::newRow("position 0") << "position0" << FailureNumber::IndexOutOfBounds << 3;
    QTest::newRow("position past the end") << "positionPast" << FailureNumber::IndexOutOfBounds << 3;
}

void tst_TabStrip::keys()
{
    QFETCH(QString, action);
    QFETCH(int, number);
    QFETCH(int, count);

    TabStrip strip;
    fill(strip, 3);
    const int failure = failureOf([&] {
        if (action == QLatin1String("repeat")) {
            strip.Tabs().Add(QStringLiteral("i2"), QStringLiteral("again"));
        } else if (action == QLatin1String("repeatEmpty")) {
            strip.Tabs().Add(QString(), QStringLiteral("a"));
            strip.Tabs().Add(QString(), QStringLiteral("b"));
        } else if (action == QLatin1String("missing")) {
            strip.Tabs().Item(QStringLiteral("i9"));
        } else if (action == QLatin1String("lookupEmpty")) {
            strip.Tabs().Item(QString());
        } else if (action == QLatin1String("position0")) {
            strip.Tabs().Item(0);
        } else {
            strip.Tabs().Item(4);
        }
    });
    QCOMPARE(failure, number);
    QCOMPARE(strip.Tabs().Count(), count);
    QCOMPARE(strip.tabBar()->count(), count);
    const Tab *second = strip.Tabs().Item(QStringLiteral("i2"));
    QCOMPARE(second, strip.Tabs().Item(2));
    QCOMPARE(second->Caption(), QStringLiteral("Tab 2"));
    QCOMPARE(second->Index(), 2);
    QCOMPARE(strip.tabBar()->tabText(1), QStringLiteral("Tab 2"));
}

QTEST_MAIN(tst_TabStrip)
#include "tst_tabstrip.moc"
