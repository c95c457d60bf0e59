// SPDX-License-Identifier: MIT
#pragma once
/// \file
/// Everything a host needs: the controls and the filter dialog, the list view and tab strip they
/// show, XML documents, the failure and reporting contract, the platform services, and the seams for
/// observing queries and geometry.

#include <Brennvox10/ErrorReporter.h>
#include <Brennvox10/Failure.h>
#include <Brennvox10/ListView.h>
#include <Brennvox10/QueryObserver.h>
#include <Brennvox10/Services.h>
#include <Brennvox10/TabStrip.h>
#include <Brennvox10/TwipsGeometry.h>
#include <Brennvox10/XmlDocument.h>
#include <Brennvox10/clsButton.h>
#include <Brennvox10/ctlFilter.h>
#include <Brennvox10/ctlListRecord.h>
#include <Brennvox10/ctlListSingle.h>
#include <Brennvox10/ctlMenu.h>
#include <Brennvox10/frmdlgFilter.h>

#include <QPixmap>

namespace Brennvox10 {

/// "Brennvox10", "Moltrave Common Controls 1.0" and the file version of the library's version table
/// ("1.00.0001"), which brennvox10-info also reads from the file: libraryName() gives the first,
/// libraryDescription() the second, libraryVersion() the third.
BRENNVOX10_EXPORT QString libraryName();
/// The library's description, "Moltrave Common Controls 1.0".
BRENNVOX10_EXPORT QString libraryDescription();
/// The file version of the library's version table, "1.00.0001".
BRENNVOX10_EXPORT QString libraryVersion();

/// Toolbox pictures (16 x 15, 16 colours): ctlListSingle 30000, ctlFilter 30001, ctlMenu 30002,
/// ctlListRecord 30003. A null pixmap for any other id; needs a QGuiApplication.
inline constexpr int ToolboxPictureFirst = 30000;
/// The last toolbox picture id, ctlListRecord's.
inline constexpr int ToolboxPictureLast = 30003;
/// The toolbox picture of `id` (ToolboxPictureFirst to ToolboxPictureLast), or a null pixmap.
BRENNVOX10_EXPORT QPixmap toolboxPicture(int id);

} // namespace Brennvox10
