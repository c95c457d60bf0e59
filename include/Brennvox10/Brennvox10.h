#pragma once
// Everything a host needs: the controls and the filter dialog, the list view and tab strip they
// show, XML documents, the failure and reporting contract, the platform services, and the seams for
// observing queries and geometry.

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

namespace Brennvox10 {

// "Brennvox10", "Moltrave Common Controls 1.0" and "1.00.0001".
BRENNVOX10_EXPORT QString libraryName();
BRENNVOX10_EXPORT QString libraryDescription();
BRENNVOX10_EXPORT QString libraryVersion();

} // namespace Brennvox10
