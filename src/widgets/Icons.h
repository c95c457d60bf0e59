// SPDX-License-Identifier: MIT
#pragma once

#include <QIcon>
#include <QString>

namespace Brennvox10 {

// A button icon from its two pictures, base + "-16.png" and base + "-32.png". Both sizes are drawn
// by hand, so a 2x screen never sees an upscaled 16 pixel image.
inline QIcon drawnIcon(const QString &base)
{
    QIcon icon;
    icon.addFile(base + QStringLiteral("-16.png"), QSize(16, 16));
    icon.addFile(base + QStringLiteral("-32.png"), QSize(32, 32));
    return icon;
}

} // namespace Brennvox10
