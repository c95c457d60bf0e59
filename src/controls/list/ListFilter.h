// SPDX-License-Identifier: MIT
#pragma once
// A list control's side of the filter dialog: the click on its filter label opens the thread's
// dialog with the list's filter entries and connection; "Aceptar" keeps the filter text as the
// user's filter, unloads the dialog and reloads the list; "Cerrar" only unloads it. Every procedure
// here is guarded on the list control.

#include "recordset/ConnectionSettings.h"

#include <QMetaObject>
#include <QString>

#include <functional>

class QWidget;

namespace Brennvox10 {

class ctlFilter;

class ListFilter {
public:
    // userFilter and reload belong to the list control and live as long as it does.
    ListFilter(QWidget &control, QString &userFilter, std::function<void()> reload);
    // A dialog still open for this list is unloaded: its events would have no one to reach.
    ~ListFilter();
    ListFilter(const ListFilter &) = delete;
    ListFilter &operator=(const ListFilter &) = delete;

    // Shows the dialog modally and returns once it is gone. Nothing happens with an empty
    // connection string, or while a filter dialog is already showing.
    void open(const ConnectionSettings &connection, const QString &filtersXml);

private:
    void onFilter(QString &pFilter);
    void onClose();
    void release();
    // Connects the dialog's events to this list alone.
    void listen(ctlFilter *filter);
    struct Cleanup;

    QWidget &m_control;
    QString &m_userFilter;
    std::function<void()> m_reload;
    // The filter event source: connected only while the dialog is open for this list.
    QMetaObject::Connection m_filterEvent, m_closeEvent;
};

} // namespace Brennvox10
