#pragma once
// Everything a host needs: the controls and the filter dialog, the list view and tab strip they
// show, XML documents, the failure and reporting contract, the platform services, and the seams for
// observing queries and geometry.

#include <Brennvox10/ErrorReporter.h>
#include <Brennvox10/Failure.h>
#include <Brennvox10/ListView.h>
#include <Brennvox10/Services.h>
#include <Brennvox10/TabStrip.h>
#include <Brennvox10/XmlDocument.h>
#include <Brennvox10/clsButton.h>
#include <Brennvox10/ctlFilter.h>
#include <Brennvox10/ctlListRecord.h>
#include <Brennvox10/ctlMenu.h>
#include <Brennvox10/frmdlgFilter.h>

#include <QRectF>

#include <functional>
#include <memory>

namespace Brennvox10 {

BRENNVOX10_EXPORT void installErrorReporter(std::unique_ptr<ErrorReporter> reporter);
BRENNVOX10_EXPORT void installServices(std::unique_ptr<Services> services);
// Sees every SQL text the data layer is about to run, in order. An empty function removes it.
BRENNVOX10_EXPORT void setQueryObserver(std::function<void(const QString &sql)> observer);
// The twips rectangle (left, top, width, height) a control last stored for a child.
BRENNVOX10_EXPORT QRectF twipsGeometry(const QWidget *child);
// Sets a control's size in twips and runs its layout.
BRENNVOX10_EXPORT void setTwipsSize(QWidget *control, float width, float height);

// "Brennvox10", "Moltrave Common Controls 1.0" and "1.00.0001".
BRENNVOX10_EXPORT QString libraryName();
BRENNVOX10_EXPORT QString libraryDescription();
BRENNVOX10_EXPORT QString libraryVersion();

} // namespace Brennvox10
