// SPDX-License-Identifier: MIT
#pragma once
/// \file
/// The filter editor: two pages, each with a field list and up to two conditions (operator and value)
/// on the chosen field. Set the connection properties, call Showme with the node that holds the
/// filter entries, and wait for fltFilter (the composed condition text) or fltClose. Showme and
/// every user action are guarded: their failures go to the thread's ErrorReporter. The property
/// setters are not guarded.
///
/// An entry is any child element of the node, with the attributes fltName (the field, written into
/// the text as it stands), fltType (0 free value, 1 value list from fltSQL), fltFieldtype (1 a date
/// field) and fltSQL (a query whose first column is the value and second its description).

#include <Brennvox10/brennvox10_export.h>

#include <QString>
#include <QVariant>
#include <QWidget>

#include <memory>

namespace Brennvox10 {

namespace xml {
class Node;
}
class ctlFilterPrivate;

/// The filter editor: composes a condition text from the user's choices.
class BRENNVOX10_EXPORT ctlFilter : public QWidget {
    Q_OBJECT
    Q_MOC_INCLUDE(<Brennvox10/XmlDocument.h>)
    Q_CLASSINFO("dispid 0x68030003 put", "fltConnectionString")
    Q_CLASSINFO("dispid 0x68030002 put", "fltDataSource")
    Q_CLASSINFO("dispid 0x68030001 put", "fltUser")
    Q_CLASSINFO("dispid 0x68030000 put", "fltPassword")
    Q_CLASSINFO("dispid 0x60030004 method", "Showme")
    Q_CLASSINFO("event 1", "fltFilter")
    Q_CLASSINFO("event 2", "fltClose")
public:
    /// An empty editor; set the connection properties, then call Showme().
    explicit ctlFilter(QWidget *parent = nullptr);
    /// Destroys the ctlFilter and what it owns.
    ~ctlFilter() override;

    /// The connection text for value lists is connection string + data source +
    /// ";Jet Oledb:database password=" + password. A user name takes no part; it is accepted for
    /// hosts that set one.
    Q_INVOKABLE void fltConnectionString(const QString &value);
    /// The data source of the value lists' connection (see @ref connection).
    Q_INVOKABLE void fltDataSource(const QString &value);
    /// A user name; takes no part in the connection text.
    Q_INVOKABLE void fltUser(const QString &value);
    /// The password of the value lists' connection.
    Q_INVOKABLE void fltPassword(const QString &value);

    /// Lists the entries of pNode in both field lists (emptied first), chooses the first field on each
    /// page, which may read its value list, and shows page 1. An empty node is a reported failure.
    Q_INVOKABLE QVariant Showme(const Brennvox10::xml::Node &pNode);

Q_SIGNALS:
    /// "Aceptar": the checked conditions as one text, e.g. "Zona>'7'  and Ruta<>'2' ". A handler may
    /// delete the control (or its dialog): nothing of the control is touched after the signal.
    void fltFilter(QString &pFilter);
    /// "Cerrar". The same holds for deleting the control in a handler.
    void fltClose();

private:
    friend class ctlFilterPrivate;
    std::unique_ptr<ctlFilterPrivate> const d;
};

} // namespace Brennvox10
