// SPDX-License-Identifier: MIT
// The published library's identity. Everything else it exports comes from the layers it links.

#include "component/Identity.h"
#include "component/VersionBlock.h"

#include <Brennvox10/Brennvox10.h>

#include <QPixmap>

namespace Brennvox10 {

BRENNVOX10_EXPORT QString libraryName()
{
    return QLatin1String(identity::library().name);
}

BRENNVOX10_EXPORT QString libraryDescription()
{
    return QLatin1String(identity::library().help);
}

// Read from the version table itself, so what a program is told and what tools read from the file
// cannot drift apart.
BRENNVOX10_EXPORT QString libraryVersion()
{
    QString version;
    versionblock::forEachString(versionblock::blockStrings(), versionblock::block().stringBytes,
        [&](std::string_view key, std::string_view value) {
            if (key == "FileVersion")
                version = QString::fromUtf8(value.data(), qsizetype(value.size()));
        });
    return version;
}

BRENNVOX10_EXPORT QPixmap toolboxPicture(int id)
{
    if (id < ToolboxPictureFirst || id > ToolboxPictureLast)
        return {};
    return QPixmap(QStringLiteral(":/brennvox10/toolbox/%1.bmp").arg(id));
}

} // namespace Brennvox10
