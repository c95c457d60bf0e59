// SPDX-License-Identifier: MIT
#pragma once
// The controls' own twips setters, over the public twips geometry.

#include <Brennvox10/TwipsGeometry.h>

namespace Brennvox10 {

constexpr float TwipsPerPixel = 15.0f;

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
// The size last given with setTwipsSize: what a control prefers in a host's layout. Invalid when
// none was given.
QSizeF givenSize(const QWidget *control);
int toPixels(float twips);
} // namespace twips

} // namespace Brennvox10
