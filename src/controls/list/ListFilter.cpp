// SPDX-License-Identifier: MIT
#include "controls/list/ListFilter.h"

#include "core/Guard.h"
#include "sql/cursor/ActionTime.h"

#include <Brennvox10/Failure.h>
#include <Brennvox10/XmlDocument.h>
#include <Brennvox10/ctlFilter.h>
#include <Brennvox10/frmdlgFilter.h>

#include <QLoggingCategory>
#include <QPointer>

Q_LOGGING_CATEGORY(lcFilter, "brennvox.filter")

namespace Brennvox10 {

ListFilter::ListFilter(QWidget &control, QString &userFilter, std::function<void()> reload)
    : m_control(control)
    , m_userFilter(userFilter)
    , m_reload(std::move(reload))
{
}

ListFilter::~ListFilter()
{
    if (m_filterEvent)
        frmdlgFilter::Unload();
    release();
}

void ListFilter::release()
{
    QObject::disconnect(m_filterEvent);
    QObject::disconnect(m_closeEvent);
    m_filterEvent = m_closeEvent = QMetaObject::Connection();
}

// However the dialog's procedure ends, the list stops listening and a dialog closed by other means
// than its two buttons does not stay loaded.
struct ListFilter::Cleanup {
    ListFilter *self;
    const QPointer<QWidget> &alive;
    ~Cleanup()
    {
        if (!alive)
            return;
        self->release();
        if (frmdlgFilter *left = frmdlgFilter::loaded(); left && !left->isVisible())
            frmdlgFilter::Unload();
    }
};

void ListFilter::listen(ctlFilter *filter)
{
    release();
    m_filterEvent = QObject::connect(
        filter, &ctlFilter::fltFilter, &m_control, [this](QString &pFilter) { onFilter(pFilter); });
    m_closeEvent = QObject::connect(filter, &ctlFilter::fltClose, &m_control, [this] { onClose(); });
}

void ListFilter::open(const ConnectionSettings &connection, const QString &filtersXml)
{
    if (connection.connectionString.isEmpty())
        return;
    if (frmdlgFilter *showing = frmdlgFilter::loaded(); showing && showing->isVisible()) {
        qCWarning(lcFilter) << "a filter dialog is already open; one at a time";
        return;
    }
    // The host may destroy the list while the dialog runs; then nothing of it may be touched after.
    const QPointer<QWidget> alive(&m_control);
    const ConnectionSettings settings = connection;
    const QString entries = filtersXml;
    guarded(m_control, [&](Guard &g) {
        QPointer<frmdlgFilter> form;
        const auto dialog = [&form]() -> frmdlgFilter & {
            if (!form)
                throw failureFor(FailureNumber::ObjectNotSet);
            return *form;
        };
        const Cleanup cleanup { this, alive };
        g.step([&] { form = frmdlgFilter::Load(); });
        g.step([&] { listen(dialog().ctlFilter1()); });
        g.step([&] { dialog().ctlFilter1()->fltConnectionString(settings.connectionString); });
        g.step([&] { dialog().ctlFilter1()->fltDataSource(settings.dataSource); });
        g.step([&] { dialog().ctlFilter1()->fltPassword(settings.password); });
        xml::Document doc;
        xml::Node node;
        // A definition without filters gives an empty document; the filter reports the empty node.
        g.step([&] { doc.loadXml(entries); });
        g.step([&] { node = doc.firstChild(); });
        g.step([&] { dialog().ctlFilter1()->Showme(node); });
        g.step([&] { dialog().exec(); });
        if (!alive)
            return;
        g.step([&] { release(); });
    });
}

void ListFilter::onFilter(QString &pFilter)
{
    // Counted from the press on Aceptar.
    const data::ActionTime action;
    guarded(m_control, [&](Guard &g) {
        g.step([&] { m_userFilter = pFilter; });
        g.step([] { frmdlgFilter::Unload(); });
        g.step([&] { m_reload(); });
    });
}

void ListFilter::onClose()
{
    guarded(m_control, [&](Guard &g) { g.step([] { frmdlgFilter::Unload(); }); });
}

} // namespace Brennvox10
