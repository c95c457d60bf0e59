#pragma once
// Geometry in twips, kept exactly as the controls compute it (single precision) beside the pixel
// geometry Qt uses (twips / 15 at 96 dpi).

#include <Brennvox10/brennvox10_export.h>

#include <QRectF>

class QWidget;

namespace Brennvox10 {

constexpr float TwipsPerPixel = 15.0f;

// The twips rectangle last stored for a child; derived from its pixel geometry when none was stored.
BRENNVOX10_EXPORT QRectF twipsGeometry(const QWidget *child);
// Sets a control's size in twips and runs its layout (its resize handling).
BRENNVOX10_EXPORT void setTwipsSize(QWidget *control, float width, float height);

namespace twips {
// Each setter stores one coordinate and moves the widget. A negative width or height is Failure 380
// and leaves the widget as it was.
void setRect(QWidget *w, float left, float top, float width, float height);
void setLeft(QWidget *w, float left);
void setTop(QWidget *w, float top);
void setWidth(QWidget *w, float width);
void setHeight(QWidget *w, float height);
// A control's own client size in twips: the stored one while it still matches the pixel size,
// otherwise the pixel size times 15.
QSizeF clientSize(const QWidget *control);
int toPixels(float twips);
} // namespace twips

} // namespace Brennvox10
