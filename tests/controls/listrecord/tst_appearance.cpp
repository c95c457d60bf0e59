// SPDX-License-Identifier: MIT
// How the record list looks. On a dense screen (CTest runs this suite as it is, at twice the scale,
// QT_SCALE_FACTOR=2, and at a font DPI of 144): the twips layout keeps its proportions, every caption
// fits in its child, and the command bar's icons are drawn from their large pictures. Under a dark
// palette every caption stands out from its background.

#include <Brennvox10/Brennvox10.h>

#include <QtTest>
#include <QtWidgets>

using namespace Brennvox10;

namespace {

int luminance(QRgb c)
{
    return (qRed(c) * 299 + qGreen(c) * 587 + qBlue(c) * 114) / 1000;
}

// The largest difference in luminance between a widget's most common colour (its background) and any
// of its pixels (the darkest or brightest stroke of its text).
int contrast(QWidget *w)
{
    const QImage image = w->grab().toImage();
    QHash<QRgb, int> counts;
    for (int y = 0; y < image.height(); ++y)
        for (int x = 0; x < image.width(); ++x)
            ++counts[image.pixel(x, y)];
    QRgb background = 0;
    int most = 0;
    for (auto it = counts.cbegin(); it != counts.cend(); ++it)
        if (it.value() > most)
            most = it.value(), background = it.key();
    int best = 0;
    for (auto it = counts.cbegin(); it != counts.cend(); ++it)
        best = std::max(best, std::abs(luminance(it.key()) - luminance(background)));
    return best;
}

} // namespace

class tst_appearance : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void layoutTextsAndIcons()
    {
        ctlListRecord c;
        c.show();
        QVERIFY(QTest::qWaitForWindowExposed(&c));
        // Qt turns a font DPI of 144 into a device pixel ratio of 1.5 over the usual 96 logical DPI.
        const qreal scale = qEnvironmentVariableIsSet("QT_SCALE_FACTOR")
            ? qEnvironmentVariable("QT_SCALE_FACTOR").toDouble()
            : qEnvironmentVariableIsSet("QT_FONT_DPI") ? qEnvironmentVariableIntValue("QT_FONT_DPI") / 96.0
                                                       : 1.0;
        QCOMPARE(c.devicePixelRatioF(), scale);
        QCOMPARE(c.logicalDpiY(), 96);

        // Twips map to logical pixels, so they keep their ratios to one another and to the text.
        const float perPixel = 15.0f;
        for (const char *name : { "ctlTabStrip(0)", "ListView1", "ctlTabStrip(1)", "Picture1", "ctlMenu1" }) {
            auto *w = c.findChild<QWidget *>(QLatin1String(name));
            const QRectF t = twipsGeometry(w);
            QCOMPARE(w->geometry(),
                QRect(qRound(t.left() / perPixel), qRound(t.top() / perPixel), qRound(t.width() / perPixel),
                    qRound(t.height() / perPixel)));
        }

        // No caption is cut: each label and command button is at least as large as its text.
        QStringList cut;
        for (QLabel *label : c.findChildren<QLabel *>()) {
            const QSize text = label->fontMetrics().size(Qt::TextSingleLine, label->text());
            if (label->contentsRect().width() < text.width()
                || label->contentsRect().height() < text.height())
                cut << label->objectName();
        }
        for (QToolButton *button : c.findChildren<QToolButton *>(QRegularExpression("^cmdButtom"))) {
            if (button->isHidden())
                continue;
            const QSize needed = button->sizeHint();
            if (button->width() < needed.width() || button->height() < needed.height())
                cut << QStringLiteral("%1 %2x%3 < %4x%5")
                           .arg(button->objectName())
                           .arg(button->width())
                           .arg(button->height())
                           .arg(needed.width())
                           .arg(needed.height());
            // Drawn from the picture made for this density, not an enlarged small one.
            const QSize pixels = button->iconSize() * scale;
            QImage drawn = button->icon().pixmap(button->iconSize(), scale).toImage();
            QCOMPARE(drawn.size(), pixels);
            if (scale == 2.0) {
                static const QHash<QString, QString> pictures { { "Add", "add" }, { "Open", "open" },
                    { "Del", "del" }, { "Anular", "void" }, { "Print", "print" }, { "Recodificar", "recode" },
                    { "Close", "close" } };
                const QString name = pictures.value(button->property("Tag").toString());
                drawn.setDevicePixelRatio(1);
                const QImage large(QStringLiteral(":/brennvox10/menu/icons/%1-32.png").arg(name));
                QCOMPARE(drawn.convertToFormat(QImage::Format_ARGB32),
                    large.convertToFormat(QImage::Format_ARGB32));
            }
        }
        QCOMPARE(cut, QStringList());
        QCOMPARE(c.grab().size(), c.size() * scale);
    }

    void darkPaletteIsLegible()
    {
        QPalette dark;
        for (const auto role :
            { QPalette::Window, QPalette::Base, QPalette::Button, QPalette::AlternateBase })
            dark.setColor(role, QColor(0x26, 0x26, 0x26));
        for (const auto role : { QPalette::WindowText, QPalette::Text, QPalette::ButtonText })
            dark.setColor(role, QColor(0xe0, 0xe0, 0xe0));
        QApplication::setPalette(dark);
        ctlListRecord c;
        c.show();
        QVERIFY(QTest::qWaitForWindowExposed(&c));
        QStringList faint;
        QList<QWidget *> parts { c.findChild<QWidget *>(QStringLiteral("Label1")),
            c.findChild<QWidget *>(QStringLiteral("Label2")) };
        for (QWidget *w : c.findChildren<QTabBar *>())
            parts << w;
        for (QWidget *w : c.findChildren<QToolButton *>(QRegularExpression("^cmdButtom")))
            parts << w;
        for (QWidget *w : parts) {
            const int seen = contrast(w);
            if (seen < 128)
                faint << QStringLiteral("%1: %2").arg(w->objectName()).arg(seen);
        }
        QApplication::setPalette(QPalette());
        QCOMPARE(faint, QStringList());
    }
};

QTEST_MAIN(tst_appearance)
#include "tst_appearance.moc"
