// SPDX-License-Identifier: MIT
// The command bar: what each button shows and raises, how the shown ones stack, and what
// ConfigureButton and mnuType change.

#include <Brennvox10/clsButton.h>
#include <Brennvox10/ctlMenu.h>

#include "widgets/Twips.h"
#include "support/FailureOf.h"
#include "support/Rows.h"

#include <QDir>
#include <QIcon>
#include <QTest>
#include <QToolButton>

#include <memory>
#include <utility>

using namespace Brennvox10;
using namespace Qt::StringLiterals;

using Tops = QList<float>;
using Ints = QList<int>;
const Tops StackedTops { 0, 640, 1280, 1920, 2560, 3200, 3840 };
// Each button's caption and command key as built.
const QStringList Faces { u"Adicionar Add"_s, u"Abrir Open"_s, u"Eliminar Del"_s, u"Anular Anular"_s,
    u"Imprimir Print"_s, u"Recodificar Recodificar"_s, u"Cerrar Close"_s };

class tst_ctlMenu : public QObject {
    Q_OBJECT

    std::unique_ptr<ctlMenu> bar;
    QString clicked; // the keys cmdClick raised

    QToolButton *button(int i) const { return bar->findChild<QToolButton *>(u"cmdButtom(%1)"_s.arg(i)); }
    // Each button as "caption key": the key a real click raises, or "hidden".
    QStringList faces()
    {
        QStringList out;
        for (int i = 0; i < 7; ++i) {
            clicked.clear();
            QTest::mouseClick(button(i), Qt::LeftButton);
            out << button(i)->text() + u' ' + (button(i)->isVisible() ? clicked : u"hidden"_s);
        }
        return out;
    }

private Q_SLOTS:
    void init()
    {
        bar = std::make_unique<ctlMenu>();
        // The handler overwrites its key, which must change nothing for any later click.
        connect(bar.get(), &ctlMenu::cmdClick, this,
            [this](QString &k) { clicked += std::exchange(k, u"Hacked"_s); });
        bar->show();
        QVERIFY(QTest::qWaitForWindowExposed(bar.get()));
    }

    // Hiding buttons one by one (or setting menu types), then maybe one more ConfigureButton call:
    // what each button then shows, where, and at any width.
    void buttons_data()
    {
        using FailureNumber::ControlArrayElementMissing;
        // Types: when empty, the hidden buttons are hidden one by one. The call: "index|caption|key", index
        // alone for no descriptor; its failure; face: the called button's, empty when the call must change
        // nothing.
        columns<Ints, Ints, QString, int, Tops, QString>("hidden", "types", "call", "failure", "tops", "face");
        const Tops withoutVoid { 0, 640, 1280, 1920, 1920, 3200, 2560 };
        const Tops moved { 0, 5000, 1280, 1920, 2560, 3200, 3840 }; // by hand, before the call
        const Ints no;
        // clang-format off
        QTest::newRow("first") << Ints { 0 } << no << "" << 0 << Tops { 0, 0, 640, 1280, 1920, 2560, 3200 } << "";
        QTest::newRow("third") << Ints { 2 } << no << "" << 0 << Tops { 0, 640, 1280, 1280, 1920, 2560, 3200 } << "";
        QTest::newRow("last") << Ints { 6 } << no << "" << 0 << StackedTops << "";
        // Each hidden button keeps the top it had when it was hidden.
        QTest::newRow("void, then recode") << Ints { 3, 5 } << no << "" << 0
                                           << Tops { 0, 640, 1280, 1920, 1920, 2560, 2560 } << "";
        QTest::newRow("all but last") << Ints { 0, 1, 2, 3, 4, 5 } << no << "" << 0 << Tops(7, 0) << "";
        QTest::newRow("type 1") << Ints { 3, 5 } << Ints { 1 } << "" << 0 << withoutVoid << "";
        QTest::newRow("type 1, then 0") << no << Ints { 1, 0 } << "" << 0 << StackedTops << "";
        QTest::newRow("type 2") << no << Ints { 2 } << "" << 0 << StackedTops << "";
        QTest::newRow("type -1, then 1") << Ints { 3, 5 } << Ints { -1, 1 } << "" << 0 << withoutVoid << "";
        QTest::newRow("show, new caption") << Ints { 2 } << no << "2|Suprimir|" << 0 << StackedTops
                                           << "Suprimir Del";
        QTest::newRow("show, no texts") << Ints { 4 } << no << "4||" << 0 << StackedTops << "Imprimir Print";
        QTest::newRow("show, both") << Ints { 0 } << no << "0|Nuevo|New" << 0 << StackedTops << "Nuevo New";
        QTest::newRow("re-keyed") << no << no << "2||Borrar" << 0 << StackedTops << "Eliminar Borrar";
        QTest::newRow("index 7") << no << no << "7|Otro|Other" << 0 << moved << "";
        QTest::newRow("highest index") << no << no << "32767|Otro|Other" << 0 << moved << "";
        QTest::newRow("no descriptor") << no << no << "0" << 0 << moved << "";
        QTest::newRow("no descriptor, negative index") << no << no << "-1" << 0 << moved << "";
        QTest::newRow("-1") << no << no << "-1|Otro|Other" << ControlArrayElementMissing << moved << "";
        QTest::newRow("lowest") << no << no << "-32768|Otro|Other" << ControlArrayElementMissing << moved << "";
        // clang-format on
    }
    void buttons()
    {
        auto [hidden, types, call, failure, tops, face] = fetch<Ints, Ints, QString, int, Tops, QString>(
            "hidden", "types", "call", "failure", "tops", "face");
        const QStringList args = call.split(u'|');
        // The buttons' own state decides the stack, even when the host has disabled the whole bar.
        bar->setEnabled(false);
        clsButton b;
        b.Visible(false);
        for (int i : types.isEmpty() ? hidden : Ints())
            bar->ConfigureButton(qint16(i), b);
        for (int t : types)
            bar->mnuType(qint16(t));
        bar->setEnabled(true);
        QCOMPARE(int(bar->mnuType()), types.isEmpty() ? 0 : types.last());
        if (!call.isEmpty()) {
            // A top moved by hand shows whether the buttons were restacked.
            twips::setTop(button(1), 5000);
            // A descriptor that must be ignored would hide its button.
            b.Visible(!face.isEmpty());
            b.Caption(args.value(1));
            b.CmdKey(args.value(2));
            const clsButton *given = args.size() > 1 ? &b : nullptr;
            const Failure caught
                = failureOf([&] { QVERIFY(!bar->ConfigureButton(args[0].toShort(), given).isValid()); });
            QCOMPARE(caught.number(), failure);
            QCOMPARE(caught.description(), failure ? failureFor(failure).description() : QString());
        }
        QStringList faces = Faces;
        for (int i : hidden)
            faces[i] = faces[i].section(u' ', 0, 0) + u" hidden"_s;
        if (!face.isEmpty())
            faces[args[0].toInt()] = face;
        // Twice: each first click's handler overwrote its copy of the key.
        QCOMPARE(this->faces() + this->faces(), faces + faces);
        // The stack at the design's width, then at any width: every button fits it, hidden ones too,
        // and keeps its top, even one set by hand.
        for (const float width : { 1335.0f, 899.5f, 2000.0f }) {
            setTwipsSize(bar.get(), width, 4500);
            for (int i = 0; i < 7; ++i) {
                QCOMPARE(twipsGeometry(button(i)), QRectF(0, tops[i], width, 630));
                QCOMPARE(button(i)->geometry(), QRect(0, qRound(tops[i] / 15), qRound(width / 15), 42));
            }
            twips::setTop(button(6), tops[6] = 5000);
        }
    }

    // Also leaves a picture of the bar in the temporary folder for a person to look at.
    void iconsAndFacesAreDistinct()
    {
        QCOMPARE(twips::clientSize(bar.get()), QSizeF(1335, 4500));
        QCOMPARE(bar->size(), QSize(89, 300));
        const auto imageOf
            = [this](int i, qreal dpr) { return button(i)->icon().pixmap(QSize(16, 16), dpr).toImage(); };
        const QImage grab = bar->grab().toImage();
        for (int i = 0; i < 7; ++i) {
            QCOMPARE(button(i)->toolButtonStyle(), Qt::ToolButtonTextUnderIcon);
            QCOMPARE(button(i)->iconSize(), QSize(16, 16));
            QCOMPARE(button(i)->icon().availableSizes(), (QList<QSize> { QSize(16, 16), QSize(32, 32) }));
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
