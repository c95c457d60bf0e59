// SPDX-License-Identifier: MIT
#pragma once
/// \file
/// Geometry in twips (1/1440 inch; 15 twips a pixel at 96 dpi), kept exactly as the controls compute
/// it (single precision) beside the pixel geometry Qt uses.

#include <Brennvox10/brennvox10_export.h>

#include <QRectF>

class QWidget;

namespace Brennvox10 {

/// The twips rectangle (left, top, width, height) a control last stored for a child; derived from
/// its pixel geometry when none was stored, empty for nullptr.
BRENNVOX10_EXPORT QRectF twipsGeometry(const QWidget *child);
/// Sets a control's size in twips and runs its layout (its resize handling). A negative width or
/// height is Failure 380 (FailureNumber::InvalidPropertyValue) and changes nothing; nullptr is ignored.
BRENNVOX10_EXPORT void setTwipsSize(QWidget *control, float width, float height);

} // namespace Brennvox10
