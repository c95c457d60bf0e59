// SPDX-License-Identifier: MIT
#include <Brennvox10/frmdlgFilter.h>

#include <Brennvox10/ctlFilter.h>

#include "widgets/Twips.h"

#include <QPointer>

namespace Brennvox10 {

namespace {
thread_local QPointer<frmdlgFilter> tlsLoaded;
}

frmdlgFilter::frmdlgFilter()
    : QDialog(nullptr)
    , m_filter(new ctlFilter(this))
{
    setObjectName(QStringLiteral("frmdlgFilter"));
    setWindowTitle(QStringLiteral("Filtro"));
    m_filter->setObjectName(QStringLiteral("ctlFilter1"));
    twips::setRect(m_filter, 75, 120, 4995, 2715);
    setFixedSize(twips::toPixels(5145), twips::toPixels(2925));
}

frmdlgFilter::~frmdlgFilter() = default;

ctlFilter *frmdlgFilter::ctlFilter1() const
{
    return m_filter;
}

frmdlgFilter *frmdlgFilter::Load()
{
    if (!tlsLoaded)
        tlsLoaded = new frmdlgFilter();
    return tlsLoaded;
}

frmdlgFilter *frmdlgFilter::loaded()
{
    return tlsLoaded;
}

void frmdlgFilter::Unload()
{
    // Deleting a dialog inside its own exec() is supported: its loop is told to end first.
    delete tlsLoaded.data();
}

} // namespace Brennvox10
