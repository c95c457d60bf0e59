#include <Brennvox10/Failure.h>
#include <Brennvox10/clsButton.h>
#include <Brennvox10/ctlMenu.h>

#include "platform/widgets/Twips.h"

#include <QDir>
#include <QIcon>
#include <QTest>
#include <QToolButton>

#include <memory>

using namespace Brennvox10;
using namespace Qt::StringLiterals;

using Tops = QList<float>;
const Tops StackedTops { 0, 640, 1280, 1920, 2560, 3200, 3840 };

static clsButton descriptor(bool visible, const QString &caption = QString(), const QString &key = QString())
{
    clsButton b;
    b.Visible(visible);
    b.Caption(caption);
    b.CmdKey(key);
    return b;
}

class tst_ctlMenu : public QObject {
    Q_OBJECT

    std::unique_ptr<ctlMenu> bar;

    QToolButton *button(int index) const
    {
        return bar->findChild<QToolButton *>(u"cmdButtom(%1)"_s.arg(index));
    }
    Tops tops() const
    {
        Tops t;
        for (int i = 0; i < 7; ++i)
            t << float(twipsGeometry(button(i)).top());
        return t;
    }
    // The keys a real click on button index raises, joined; empty when nothing is raised. The handler
    // overwrites its key, which must change nothing for any later click.
    QString press(int index)
    {
        QStringList keys;
        const auto c = connect(bar.get(), &ctlMenu::cmdClick, this, [&](QString &k) {
            keys << k;
            k = u"Hacked"_s;
        });
        QTest::mouseClick(button(index), Qt::LeftButton);
        disconnect(c);
        return keys.join(u'|');
    }
    void hide(int index) { bar->ConfigureButton(qint16(index), descriptor(false)); }

private Q_SLOTS:
    void init()
    {
        bar = std::make_unique<ctlMenu>();
        bar->show();
        QVERIFY(QTest::qWaitForWindowExposed(bar.get()));
    }
    void cleanup() { bar.reset(); }

    void createdButtons_data()
    {
        QTest::addColumn<int>("index");
        QTest::addColumn<QString>("caption");
        QTest::addColumn<QString>("key");
        const QStringList captions { u"Adicionar"_s, u"Abrir"_s, u"Eliminar"_s, u"Anular"_s, u"Imprimir"_s,
            u"Recodificar"_s, u"Cerrar"_s };
        const QStringList keys { u"Add"_s, u"Open"_s, u"Del"_s, u"Anular"_s, u"Print"_s, u"Recodificar"_s,
            u"Close"_s };
        for (int i = 0; i < 7; ++i)
            QTest::newRow(qPrintable(captions[i])) << i << captions[i] << keys[i];
    }

    void createdButtons()
    {
        QFETCH(int, index);
        QCOMPARE(twips::clientSize(bar.get()), QSizeF(1335, 4500));
        QCOMPARE(bar->size(), QSize(89, 300));
        QToolButton *b = button(index);
        QVERIFY(b);
        QTEST(b->text(), "caption");
        QVERIFY(b->isVisible() && b->isEnabled());
        QCOMPARE(b->toolButtonStyle(), Qt::ToolButtonTextUnderIcon);
        QCOMPARE(b->iconSize(), QSize(16, 16));
        QCOMPARE(twipsGeometry(b), QRectF(0, StackedTops[index], 1335, 630));
        QCOMPARE(b->geometry(), QRect(0, qRound(StackedTops[index] / 15), 89, 42));
        QTEST(press(index), "key");
    }

    void shownButtonsStack_data()
    {
        QTest::addColumn<QList<int>>("hidden");
        QTest::addColumn<QList<int>>("types"); // when empty, the hidden buttons are hidden one by one
        QTest::addColumn<Tops>("expected");
        const Tops withoutVoid { 0, 640, 1280, 1920, 1920, 3200, 2560 };
        const QList<int> none;
        QTest::newRow("first") << QList<int> { 0 } << none << Tops { 0, 0, 640, 1280, 1920, 2560, 3200 };
        QTest::newRow("third") << QList<int> { 2 } << none << Tops { 0, 640, 1280, 1280, 1920, 2560, 3200 };
        QTest::newRow("last") << QList<int> { 6 } << none << StackedTops;
        // Each hidden button keeps the top it had when it was hidden.
        QTest::newRow("void, then recode")
            << QList<int> { 3, 5 } << none << Tops { 0, 640, 1280, 1920, 1920, 2560, 2560 };
        QTest::newRow("all but last") << QList<int> { 0, 1, 2, 3, 4, 5 } << none << Tops(7, 0);
        QTest::newRow("type 1") << QList<int> { 3, 5 } << QList<int> { 1 } << withoutVoid;
        QTest::newRow("type 1, then 0") << none << QList<int> { 1, 0 } << StackedTops;
        QTest::newRow("type 2") << none << QList<int> { 2 } << StackedTops;
        QTest::newRow("type -1, then 1") << QList<int> { 3, 5 } << QList<int> { -1, 1 } << withoutVoid;
    }

    void shownButtonsStack()
    {
        QFETCH(QList<int>, hidden);
        QFETCH(QList<int>, types);
        QFETCH(Tops, expected);
        // The buttons' own state decides the stack, even when the host has disabled the whole bar.
        bar->setEnabled(false);
        for (int i : types.isEmpty() ? hidden : QList<int>())
            hide(i);
        for (int t : types)
            bar->mnuType(qint16(t));
        QCOMPARE(int(bar->mnuType()), types.isEmpty() ? 0 : types.last());
        QCOMPARE(tops(), expected);
        // A resize then fits every button to the width, hidden ones too, and keeps every top, even one
        // set by hand.
        twips::setTop(button(6), 5000);
        for (const float width : { 899.5f, 2000.0f }) {
            setTwipsSize(bar.get(), width, 4500);
            for (int i = 0; i < 7; ++i) {
                const float top = i == 6 ? 5000 : expected[i];
                QCOMPARE(twipsGeometry(button(i)), QRectF(0, top, width, 630));
                QCOMPARE(button(i)->geometry(), QRect(0, qRound(top / 15), qRound(width / 15), 42));
            }
        }
        for (int i = 0; i < 7; ++i) {
            QCOMPARE(button(i)->isVisible(), !hidden.contains(i));
            QCOMPARE(button(i)->isEnabledTo(bar.get()), !hidden.contains(i));
        }
    }

    void configuredButton_data()
    {
        QTest::addColumn<int>("index");
        QTest::addColumn<bool>("hiddenFirst");
        QTest::addColumn<QString>("caption");
        QTest::addColumn<QString>("cmdKey");
        QTest::addColumn<QString>("expectedCaption");
        QTest::addColumn<QString>("expectedKey");
        // clang-format off
        QTest::newRow("shown, new caption") << 2 << true << "Suprimir" << "" << "Suprimir" << "Del";
        QTest::newRow("shown, empty descriptor") << 4 << true << "" << "" << "Imprimir" << "Print";
        QTest::newRow("shown, both") << 0 << true << "Nuevo" << "New" << "Nuevo" << "New";
        QTest::newRow("re-keyed") << 2 << false << "" << "Borrar" << "Eliminar" << "Borrar";
        // clang-format on
    }

    void configuredButton()
    {
        QFETCH(int, index);
        QFETCH(bool, hiddenFirst);
        QFETCH(QString, caption);
        QFETCH(QString, cmdKey);
        if (hiddenFirst) {
            hide(index);
            QCOMPARE(twipsGeometry(button(index + 1)).top(), StackedTops[index]);
        }
        QVERIFY(!bar->ConfigureButton(qint16(index), descriptor(true, caption, cmdKey)).isValid());
        QCOMPARE(tops(), StackedTops);
        QVERIFY(button(index)->isVisible() && button(index)->isEnabled());
        QTEST(button(index)->text(), "expectedCaption");
        QTEST(press(index), "expectedKey");
        // Again: the first click's handler overwrote its copy of the key.
        QTEST(press(index), "expectedKey");
        QCOMPARE(press(index == 0 ? 1 : 0), index == 0 ? u"Open"_s : u"Add"_s);
    }

    void ignoredOrFailedCallsChangeNothing_data()
    {
        QTest::addColumn<int>("index");
        QTest::addColumn<bool>("withDescriptor");
        QTest::addColumn<int>("failure");
        QTest::newRow("index 7") << 7 << true << 0;
        QTest::newRow("highest index") << 32767 << true << 0;
        QTest::newRow("no descriptor") << 0 << false << 0;
        QTest::newRow("no descriptor, negative index") << -1 << false << 0;
        QTest::newRow("-1") << -1 << true << FailureNumber::ControlArrayElementMissing;
        QTest::newRow("lowest") << -32768 << true << FailureNumber::ControlArrayElementMissing;
    }

    void ignoredOrFailedCallsChangeNothing()
    {
        QFETCH(int, index);
        QFETCH(bool, withDescriptor);
        QFETCH(int, failure);
        // A top moved by hand shows whether the buttons were restacked.
        twips::setTop(button(1), 5000);
        const clsButton b = descriptor(false, u"Otro"_s, u"Other"_s);
        Failure caught(0, QString());
        try {
            QVERIFY(!bar->ConfigureButton(qint16(index), withDescriptor ? &b : nullptr).isValid());
        } catch (const Failure &f) {
            caught = f;
        }
        QCOMPARE(caught.number(), failure);
        if (failure)
            QCOMPARE(caught.description(), failureFor(failure).description());
        QCOMPARE(twipsGeometry(button(1)).top(), 5000.0);
        for (int i = 0; i < 7; ++i)
            QVERIFY(button(i)->isVisible() && button(i)->isEnabled());
        QCOMPARE(button(0)->text(), u"Adicionar"_s);
        QCOMPARE(press(0), u"Add"_s);
    }

    // Also leaves a picture of the bar in the temporary folder for a person to look at.
    void iconsAndFacesAreDistinct()
    {
        const auto imageOf
            = [this](int i, qreal dpr) { return button(i)->icon().pixmap(QSize(16, 16), dpr).toImage(); };
        const QImage grab = bar->grab().toImage();
        QCOMPARE(grab.size(), bar->size());
        for (int i = 0; i < 7; ++i) {
            const QList<QSize> sizes = button(i)->icon().availableSizes();
            QVERIFY(sizes.contains(QSize(16, 16)) && sizes.contains(QSize(32, 32)));
            QCOMPARE(imageOf(i, 1.0).size(), QSize(16, 16));
            QCOMPARE(imageOf(i, 2.0).size(), QSize(32, 32));
            // Drawn for 2x, not the 16 pixel image blown up.
            QVERIFY(imageOf(i, 2.0) != imageOf(i, 1.0).scaled(32, 32));
            for (int j = i + 1; j < 7; ++j) {
                QVERIFY(imageOf(i, 1.0) != imageOf(j, 1.0) && imageOf(i, 2.0) != imageOf(j, 2.0));
                QVERIFY(grab.copy(button(i)->geometry()) != grab.copy(button(j)->geometry()));
            }
        }
        QVERIFY(grab.save(QDir::tempPath() + u"/bv_ctlMenu.png"_s));
    }
};

QTEST_MAIN(tst_ctlMenu)
#include "tst_ctlMenu.moc"
