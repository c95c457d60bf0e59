// SPDX-License-Identifier: MIT
#include "widgets/Twips.h"

#include <Brennvox10/Failure.h>

#include <QCoreApplication>
#include <QResizeEvent>
#include <QWidget>

#include <cmath>

namespace Brennvox10 {

namespace {
// Kept as a dynamic property so any QWidget can carry it without a base class of ours.
constexpr const char *RectProperty = "_bv_twips";
constexpr const char *SizeProperty = "_bv_twipsSize";

QRectF stored(const QWidget *w)
{
    const QVariant v = w->property(RectProperty);
    if (v.isValid())
        return v.toRectF();
    const QRect g = w->geometry();
    return QRectF(
        g.x() * TwipsPerPixel, g.y() * TwipsPerPixel, g.width() * TwipsPerPixel, g.height() * TwipsPerPixel);
}

// A hidden widget gets its resize event only when shown; controls lay out their children in that
// event, and a host may read the twips geometry before anything is shown.
void deliverResize(QWidget *w, const QSize &old)
{
    if (!w->isVisible() && w->size() != old) {
        QResizeEvent e(w->size(), old);
        QCoreApplication::sendEvent(w, &e);
    }
}

void apply(QWidget *w, const QRectF &r)
{
    w->setProperty(RectProperty, r);
    const QSize old = w->size();
    w->setGeometry(twips::toPixels(float(r.x())), twips::toPixels(float(r.y())),
        twips::toPixels(float(r.width())), twips::toPixels(float(r.height())));
    deliverResize(w, old);
}

void checkExtent(float value)
{
    if (value < 0 || std::isnan(value))
        throw failureFor(FailureNumber::InvalidPropertyValue);
}
} // namespace

QRectF twipsGeometry(const QWidget *child)
{
    return child ? stored(child) : QRectF();
}

void setTwipsSize(QWidget *control, float width, float height)
{
    if (!control)
        return;
    checkExtent(width);
    checkExtent(height);
    control->setProperty(SizeProperty, QSizeF(width, height));
    const QSize px(twips::toPixels(width), twips::toPixels(height));
    QRectF r = stored(control);
    r.setSize(QSizeF(width, height));
    control->setProperty(RectProperty, r);
    if (control->size() == px) {
        // Same pixels, new twips: the layout must still see the new size.
        QResizeEvent e(px, px);
        QCoreApplication::sendEvent(control, &e);
    } else {
        const QSize old = control->size();
        control->resize(px);
        deliverResize(control, old);
    }
}

namespace twips {

int toPixels(float twips)
{
    return int(std::lround(twips / TwipsPerPixel));
}

void setRect(QWidget *w, float left, float top, float width, float height)
{
    checkExtent(width);
    checkExtent(height);
    apply(w, QRectF(left, top, width, height));
}

void setLeft(QWidget *w, float left)
{
    QRectF r = stored(w);
    r.moveLeft(left);
    apply(w, r);
}

void setTop(QWidget *w, float top)
{
    QRectF r = stored(w);
    r.moveTop(top);
    apply(w, r);
}

void setWidth(QWidget *w, float width)
{
    checkExtent(width);
    QRectF r = stored(w);
    r.setWidth(width);
    apply(w, r);
}

void setHeight(QWidget *w, float height)
{
    checkExtent(height);
    QRectF r = stored(w);
    r.setHeight(height);
    apply(w, r);
}

QSizeF givenSize(const QWidget *control)
{
    return control->property(SizeProperty).toSizeF();
}

QSizeF clientSize(const QWidget *control)
{
    const auto matches = [control](const QSizeF &s) {
        return toPixels(float(s.width())) == control->width()
            && toPixels(float(s.height())) == control->height();
    };
    const QVariant size = control->property(SizeProperty);
    if (size.isValid() && matches(size.toSizeF()))
        return size.toSizeF();
    const QVariant rect = control->property(RectProperty);
    if (rect.isValid() && matches(rect.toRectF().size()))
        return rect.toRectF().size();
    return QSizeF(control->width() * TwipsPerPixel, control->height() * TwipsPerPixel);
}

} // namespace twips
} // namespace Brennvox10
