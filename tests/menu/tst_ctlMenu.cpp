#include <Brennvox10/Failure.h>
#include <Brennvox10/clsButton.h>
#include <Brennvox10/ctlMenu.h>

#include "platform/widgets/Twips.h"

#include <QDir>
#include <QIcon>
#include <QPainter>
#include <QTest>
#include <QToolButton>

#include <memory>

using namespace Brennvox10;
using namespace Qt::StringLiterals;

using Tops = QList<float>;
const Tops StackedTops { 0, 640, 1280, 1920, 2560, 3200, 3840 };

class tst_ctlMenu : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void createdButtons_data();
    void createdButtons();
    void hiddenButtonsCloseRanks_data();
    void hiddenButtonsCloseRanks();
    void disabledBarStillStacks();
    void shownButtonTakesItsPlaceBack_data();
    void shownButtonTakesItsPlaceBack();
    void ignoredCallsChangeNothing_data();
    void ignoredCallsChangeNothing();
    void negativeIndexFails_data();
    void negativeIndexFails();
    void pressRaisesCurrentKey_data();
    void pressRaisesCurrentKey();
    void handlerCannotChangeTheKey();
    void resizeWidensEveryButton_data();
    void resizeWidensEveryButton();
    void typeSelectsButtons_data();
    void typeSelectsButtons();
    void iconsAreDistinctAtBothScales();
    void grabForReview();

private:
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
    // The keys a real click on button index raises, joined; empty when nothing is raised.
    QString press(int index)
    {
        QStringList keys;
        const auto c = connect(bar.get(), &ctlMenu::cmdClick, this, [&](QString &k) { keys << k; });
        QTest::mouseClick(button(index), Qt::LeftButton);
        disconnect(c);
        return keys.join(u'|');
    }
    void hide(int index)
    {
        clsButton b;
        b.Visible(false);
        bar->ConfigureButton(qint16(index), b);
    }

    std::unique_ptr<ctlMenu> bar;
};

void tst_ctlMenu::init()
{
    bar = std::make_unique<ctlMenu>();
    bar->show();
    QVERIFY(QTest::qWaitForWindowExposed(bar.get()));
}

void tst_ctlMenu::cleanup()
{
    bar.reset();
}

void tst_ctlMenu::createdButtons_data()
{
    QTest::addColumn<int>("index");
    QTest::addColumn<QString>("caption");
    QTest::addColumn<QString>("key");

    QTest::newRow("0") << 0 << u"Adicionar"_s << u"Add"_s;
    QTest::newRow("1") << 1 << u"Abrir"_s << u"Open"_s;
    QTest::newRow("2") << 2 << u"Eliminar"_s << u"Del"_s;
    QTest::newRow("3") << 3 << u"Anular"_s << u"Anular"_s;
    QTest::newRow("4") << 4 << u"Imprimir"_s << u"Print"_s;
    QTest::newRow("5") << 5 << u"Recodificar"_s << u"Recodificar"_s;
    QTest::newRow("6") << 6 << u"Cerrar"_s << u"Close"_s;
}

void tst_ctlMenu::createdButtons()
{
    QFETCH(int, index);
    QFETCH(QString, caption);
    QFETCH(QString, key);

    QCOMPARE(twips::clientSize(bar.get()), QSizeF(1335, 4500));
    QCOMPARE(bar->size(), QSize(89, 300));

    QToolButton *b = button(index);
    QVERIFY(b);
    QCOMPARE(b->text(), caption);
    QVERIFY(b->isVisible());
    QVERIFY(b->isEnabled());
    QCOMPARE(b->toolButtonStyle(), Qt::ToolButtonTextUnderIcon);
    QCOMPARE(b->iconSize(), QSize(16, 16));
    QVERIFY(!b->icon().isNull());

    const float top = StackedTops[index];
    QCOMPARE(twipsGeometry(b), QRectF(0, top, 1335, 630));
    QCOMPARE(b->geometry(), QRect(0, qRound(top / 15), 89, 42));

    QCOMPARE(press(index), key);
}

void tst_ctlMenu::hiddenButtonsCloseRanks_data()
{
    QTest::addColumn<QList<int>>("hidden");
    QTest::addColumn<Tops>("expected");

    QTest::newRow("none") << QList<int> {} << StackedTops;
    QTest::newRow("first") << QList<int> { 0 } << Tops { 0, 0, 640, 1280, 1920, 2560, 3200 };
    QTest::newRow("third") << QList<int> { 2 } << Tops { 0, 640, 1280, 1280, 1920, 2560, 3200 };
    QTest::newRow("last") << QList<int> { 6 } << StackedTops;
    // Hidden one after the other, "Recodificar" keeps the top it had already moved up to.
    QTest::newRow("void, then recode")
        << QList<int> { 3, 5 } << Tops { 0, 640, 1280, 1920, 1920, 2560, 2560 };
    // Each hidden button keeps the top it had when it was hidden.
    QTest::newRow("all but last, from the top")
        << QList<int> { 0, 1, 2, 3, 4, 5 } << Tops { 0, 0, 0, 0, 0, 0, 0 };
    QTest::newRow("all but last, from the bottom")
        << QList<int> { 5, 4, 3, 2, 1, 0 } << Tops { 0, 640, 1280, 1920, 2560, 3200, 0 };
}

void tst_ctlMenu::hiddenButtonsCloseRanks()
{
    QFETCH(QList<int>, hidden);
    QFETCH(Tops, expected);

    for (int i : hidden)
        hide(i);

    QCOMPARE(tops(), expected);
    for (int i = 0; i < 7; ++i) {
        QCOMPARE(button(i)->isVisible(), !hidden.contains(i));
        QCOMPARE(button(i)->isEnabled(), !hidden.contains(i));
        QCOMPARE(button(i)->geometry().top(), qRound(expected[i] / 15));
    }
}

void tst_ctlMenu::disabledBarStillStacks()
{
    // A host may disable the whole bar; the buttons' own state still decides the stack.
    bar->setEnabled(false);
    hide(0);
    QCOMPARE(tops(), (Tops { 0, 0, 640, 1280, 1920, 2560, 3200 }));

    clsButton shown;
    bar->ConfigureButton(0, shown);
    QCOMPARE(tops(), StackedTops);
}

void tst_ctlMenu::shownButtonTakesItsPlaceBack_data()
{
    QTest::addColumn<int>("index");
    QTest::addColumn<QString>("caption");
    QTest::addColumn<QString>("cmdKey");
    QTest::addColumn<QString>("expectedCaption");
    QTest::addColumn<QString>("expectedKey");

    QTest::newRow("new caption") << 2 << u"Suprimir"_s << QString() << u"Suprimir"_s << u"Del"_s;
    QTest::newRow("empty descriptor") << 4 << QString() << QString() << u"Imprimir"_s << u"Print"_s;
    QTest::newRow("new key") << 1 << QString() << u"Edit"_s << u"Abrir"_s << u"Edit"_s;
    QTest::newRow("both") << 0 << u"Nuevo"_s << u"New"_s << u"Nuevo"_s << u"New"_s;
}

void tst_ctlMenu::shownButtonTakesItsPlaceBack()
{
    QFETCH(int, index);
    QFETCH(QString, caption);
    QFETCH(QString, cmdKey);
    QFETCH(QString, expectedCaption);
    QFETCH(QString, expectedKey);

    // Given a hidden button, whose place the next one took
    hide(index);
    QCOMPARE(twipsGeometry(button(index + 1)).top(), StackedTops[index]);

    // When it is shown again
    clsButton b;
    b.Caption(caption);
    b.CmdKey(cmdKey);
    QVERIFY(!bar->ConfigureButton(qint16(index), b).isValid());

    // Then it is back in its place, usable, with what the descriptor left it
    QCOMPARE(tops(), StackedTops);
    QVERIFY(button(index)->isVisible());
    QVERIFY(button(index)->isEnabled());
    QCOMPARE(button(index)->text(), expectedCaption);
    QCOMPARE(press(index), expectedKey);
}

void tst_ctlMenu::ignoredCallsChangeNothing_data()
{
    QTest::addColumn<int>("index");
    QTest::addColumn<bool>("withDescriptor");

    QTest::newRow("index 7") << 7 << true;
    QTest::newRow("highest index") << 32767 << true;
    QTest::newRow("no descriptor") << 0 << false;
    QTest::newRow("no descriptor, negative index") << -1 << false;
}

void tst_ctlMenu::ignoredCallsChangeNothing()
{
    QFETCH(int, index);
    QFETCH(bool, withDescriptor);

    // A top moved by hand shows whether the buttons were restacked.
    twips::setTop(button(1), 5000);
    clsButton b;
    b.Visible(false);
    b.Caption(u"Otro"_s);
    b.CmdKey(u"Other"_s);

    const QVariant result = bar->ConfigureButton(qint16(index), withDescriptor ? &b : nullptr);

    QVERIFY(!result.isValid());
    QCOMPARE(twipsGeometry(button(1)).top(), 5000.0);
    for (int i = 0; i < 7; ++i) {
        QVERIFY(button(i)->isVisible());
        QVERIFY(button(i)->isEnabled());
    }
    QCOMPARE(button(0)->text(), u"Adicionar"_s);
    QCOMPARE(press(0), u"Add"_s);
}

void tst_ctlMenu::negativeIndexFails_data()
{
    QTest::addColumn<int>("index");

    QTest::newRow("-1") << -1;
    QTest::newRow("-7") << -7;
    QTest::newRow("lowest") << -32768;
}

void tst_ctlMenu::negativeIndexFails()
{
    QFETCH(int, index);

    twips::setTop(button(1), 5000);
    clsButton b;
    b.Visible(false);

    qint32 number = 0;
    QString description;
    try {
        bar->ConfigureButton(qint16(index), b);
    } catch (const Failure &f) {
        number = f.number();
        description = f.description();
    }

    QCOMPARE(number, FailureNumber::ControlArrayElementMissing);
    QCOMPARE(description, failureFor(FailureNumber::ControlArrayElementMissing).description());
    QCOMPARE(twipsGeometry(button(1)).top(), 5000.0);
    for (int i = 0; i < 7; ++i)
        QVERIFY(button(i)->isVisible());
}

void tst_ctlMenu::pressRaisesCurrentKey_data()
{
    QTest::addColumn<int>("index");
    QTest::addColumn<QString>("before");
    QTest::addColumn<QString>("newKey");

    QTest::newRow("Eliminar") << 2 << u"Del"_s << u"Borrar"_s;
    QTest::newRow("Cerrar") << 6 << u"Close"_s << u"Salir"_s;
    QTest::newRow("Anular") << 3 << u"Anular"_s << u"Void"_s;
}

void tst_ctlMenu::pressRaisesCurrentKey()
{
    QFETCH(int, index);
    QFETCH(QString, before);
    QFETCH(QString, newKey);

    const QString caption = button(index)->text();
    QCOMPARE(press(index), before);

    clsButton b;
    b.CmdKey(newKey);
    bar->ConfigureButton(qint16(index), b);

    QCOMPARE(press(index), newKey);
    // The key lives beside the caption, not in it.
    QCOMPARE(button(index)->text(), caption);
    // The other buttons keep their keys.
    QCOMPARE(press(index == 0 ? 1 : 0), index == 0 ? u"Open"_s : u"Add"_s);
}

void tst_ctlMenu::handlerCannotChangeTheKey()
{
    QStringList seen;
    connect(bar.get(), &ctlMenu::cmdClick, this, [&](QString &pCmdKey) {
        seen << pCmdKey;
        pCmdKey = u"Hacked"_s;
    });

    QTest::mouseClick(button(2), Qt::LeftButton);
    QTest::mouseClick(button(2), Qt::LeftButton);

    QCOMPARE(seen, (QStringList { u"Del"_s, u"Del"_s }));
}

void tst_ctlMenu::resizeWidensEveryButton_data()
{
    QTest::addColumn<float>("width");
    QTest::addColumn<QList<int>>("hidden");

    QTest::newRow("wider, two hidden") << 2000.0f << QList<int> { 0, 4 };
    QTest::newRow("narrower") << 900.0f << QList<int> {};
    QTest::newRow("fractional, last hidden") << 1999.5f << QList<int> { 6 };
    QTest::newRow("zero") << 0.0f << QList<int> { 3 };
}

void tst_ctlMenu::resizeWidensEveryButton()
{
    QFETCH(float, width);
    QFETCH(QList<int>, hidden);

    for (int i : hidden)
        hide(i);
    // Tops and heights are the resize's to keep, even ones set by hand.
    twips::setTop(button(2), 777);
    twips::setHeight(button(5), 400);
    QList<QRectF> before;
    for (int i = 0; i < 7; ++i)
        before << twipsGeometry(button(i));

    setTwipsSize(bar.get(), width, 4500);

    for (int i = 0; i < 7; ++i) {
        const QRectF r = twipsGeometry(button(i));
        QCOMPARE(r.left(), 0.0);
        QCOMPARE(r.width(), qreal(width));
        QCOMPARE(r.top(), before[i].top());
        QCOMPARE(r.height(), before[i].height());
        QCOMPARE(button(i)->geometry().left(), 0);
        QCOMPARE(button(i)->width(), qRound(width / 15));
    }
}

void tst_ctlMenu::typeSelectsButtons_data()
{
    QTest::addColumn<QList<int>>("types");
    QTest::addColumn<bool>("voidShown");
    QTest::addColumn<Tops>("expected");

    const Tops withoutVoid { 0, 640, 1280, 1920, 1920, 3200, 2560 };
    QTest::newRow("1") << QList<int> { 1 } << false << withoutVoid;
    QTest::newRow("1 then 0") << QList<int> { 1, 0 } << true << StackedTops;
    QTest::newRow("1 then 2") << QList<int> { 1, 2 } << false << withoutVoid;
    QTest::newRow("2") << QList<int> { 2 } << true << StackedTops;
    QTest::newRow("-1 then 1") << QList<int> { -1, 1 } << false << withoutVoid;
}

void tst_ctlMenu::typeSelectsButtons()
{
    QFETCH(QList<int>, types);
    QFETCH(bool, voidShown);
    QFETCH(Tops, expected);

    for (int t : types)
        bar->mnuType(qint16(t));

    QCOMPARE(int(bar->mnuType()), types.last());
    for (int i : { 3, 5 }) {
        QCOMPARE(button(i)->isVisible(), voidShown);
        QCOMPARE(button(i)->isEnabled(), voidShown);
    }
    QCOMPARE(tops(), expected);
    // The other buttons stay pressable.
    QCOMPARE(press(4), u"Print"_s);
}

namespace {
QImage imageOf(const QIcon &icon, qreal dpr)
{
    return icon.pixmap(QSize(16, 16), dpr).toImage().convertToFormat(QImage::Format_ARGB32);
}

int opaquePixels(const QImage &image)
{
    int n = 0;
    for (int y = 0; y < image.height(); ++y)
        for (int x = 0; x < image.width(); ++x)
            n += qAlpha(image.pixel(x, y)) > 128;
    return n;
}
} // namespace

void tst_ctlMenu::iconsAreDistinctAtBothScales()
{
    QList<QImage> small, large;
    for (int i = 0; i < 7; ++i) {
        const QIcon icon = button(i)->icon();
        QVERIFY2(icon.availableSizes().contains(QSize(16, 16)), qPrintable(button(i)->text()));
        QVERIFY2(icon.availableSizes().contains(QSize(32, 32)), qPrintable(button(i)->text()));
        small << imageOf(icon, 1.0);
        large << imageOf(icon, 2.0);
        QCOMPARE(small.last().size(), QSize(16, 16));
        QCOMPARE(large.last().size(), QSize(32, 32));
        QVERIFY2(opaquePixels(small.last()) > 40, qPrintable(button(i)->text()));
        QVERIFY2(opaquePixels(large.last()) > 160, qPrintable(button(i)->text()));
        // Drawn for 2x, not the 16 pixel image blown up.
        QVERIFY(large.last() != small.last().scaled(32, 32, Qt::IgnoreAspectRatio, Qt::FastTransformation));
    }
    for (int i = 0; i < 7; ++i) {
        for (int j = i + 1; j < 7; ++j) {
            QVERIFY2(small[i] != small[j], qPrintable(u"%1 %2"_s.arg(i).arg(j)));
            QVERIFY2(large[i] != large[j], qPrintable(u"%1 %2"_s.arg(i).arg(j)));
        }
    }
}

// Leaves pictures of the bar in the temporary folder for a person to look at; checks that every
// button paints something of its own.
void tst_ctlMenu::grabForReview()
{
    const QImage grab = bar->grab().toImage();
    QCOMPARE(grab.size(), bar->size());

    QList<QImage> faces;
    for (int i = 0; i < 7; ++i)
        faces << grab.copy(button(i)->geometry());
    for (int i = 0; i < 7; ++i)
        for (int j = i + 1; j < 7; ++j)
            QVERIFY(faces[i] != faces[j]);

    QPixmap doubled(bar->size() * 2);
    doubled.setDevicePixelRatio(2.0);
    doubled.fill(Qt::white);
    bar->render(&doubled);

    // The seven icons at 2x, each eight times enlarged so single pixels can be judged.
    QImage icons(7 * (32 * 4 + 8), 32 * 4, QImage::Format_ARGB32);
    icons.fill(Qt::white);
    {
        QPainter p(&icons);
        for (int i = 0; i < 7; ++i)
            p.drawImage(QRect(i * (32 * 4 + 8), 0, 32 * 4, 32 * 4), imageOf(button(i)->icon(), 2.0));
    }

    const QString dir = QDir::tempPath();
    QVERIFY(grab.save(dir + u"/bv_ctlMenu.png"_s));
    QVERIFY(doubled.save(dir + u"/bv_ctlMenu@2x.png"_s));
    QVERIFY(icons.save(dir + u"/bv_ctlMenu_icons@2x.png"_s));
    qInfo("bar pictures in %s", qPrintable(dir));
}

QTEST_MAIN(tst_ctlMenu)
#include "tst_ctlMenu.moc"
