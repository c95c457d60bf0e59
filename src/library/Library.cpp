// The published library's identity. Everything else it exports comes from the layers it links.

#include <Brennvox10/Brennvox10.h>

namespace Brennvox10 {

BRENNVOX10_EXPORT QString libraryName()
{
    return QStringLiteral("Brennvox10");
}

BRENNVOX10_EXPORT QString libraryDescription()
{
    return QStringLiteral("Moltrave Common Controls 1.0");
}

BRENNVOX10_EXPORT QString libraryVersion()
{
    return QStringLiteral("1.00.0001");
}

} // namespace Brennvox10
