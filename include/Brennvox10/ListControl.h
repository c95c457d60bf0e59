// SPDX-License-Identifier: MIT
#pragma once
/// \file
/// What both list controls publish: the connection and definition properties, Showme, the line
/// limit's saving, single-row upkeep, the selected key and hiding a command button. A host does not
/// create this class itself; it uses ctlListRecord or ctlListSingle. Guarded members never throw:
/// their failures go to the thread's ErrorReporter. Property members are not guarded and throw
/// Failure.

#include <Brennvox10/brennvox10_export.h>

#include <QString>
#include <QVariant>
#include <QWidget>

#include <memory>

namespace Brennvox10 {

class ListControlPrivate;

/// What ctlListRecord and ctlListSingle share. The dispatch identifiers both list controls publish
/// (see Dispatch.h); each face adds its own.
class BRENNVOX10_EXPORT ListControl : public QWidget {
    Q_OBJECT
    Q_CLASSINFO("dispid 0x68030006 put", "lrConnectionString")
    Q_CLASSINFO("dispid 0x68030005 put", "lrDataSource")
    Q_CLASSINFO("dispid 0x68030004 put", "lrUser")
    Q_CLASSINFO("dispid 0x68030003 put", "lrPassword")
    Q_CLASSINFO("dispid 0x68030002 put", "lrConfigFileName")
    Q_CLASSINFO("dispid 0x68030001 get", "lrTabFilter")
    Q_CLASSINFO("dispid 0x68030000 get", "lrSelectedKey")
    Q_CLASSINFO("dispid 0x60030007 method", "Showme")
    Q_CLASSINFO("dispid 0x60030008 method", "SaveConfig")
    Q_CLASSINFO("dispid 0x60030017 method", "lrAddListItem")
    Q_CLASSINFO("dispid 0x60030018 method", "lrUpdateListItem")
    Q_CLASSINFO("dispid 0x60030019 method", "lrDelListItem")
public:
    /// Destroys the ListControl and what it owns.
    ~ListControl() override;

    /// Connection properties: the connection text is connection string + data source +
    /// ";Jet Oledb:database password=" + password, composed at the next Showme. A user name takes
    /// no part; it is accepted for hosts that set one.
    Q_INVOKABLE void lrConnectionString(const QString &value);
    /// The data source: a database file, or a connection file for PostgreSQL (see @ref connection).
    Q_INVOKABLE void lrDataSource(const QString &value);
    /// A user name; takes no part in the connection text.
    Q_INVOKABLE void lrUser(const QString &value);
    /// The password: the Jet database password or the PostgreSQL server password.
    Q_INVOKABLE void lrPassword(const QString &value);
    /// Path of the list definition file; empty means \<library folder\>/conf/lrfmt.conf.
    Q_INVOKABLE void lrConfigFileName(const QString &value);

    /// The condition of the tab chosen in strip Index (0 or 1), empty for a list without tabs;
    /// Failure 9 (FailureNumber::SubscriptOutOfRange) for any other Index.
    Q_INVOKABLE QString lrTabFilter(qint16 Index) const;
    /// The row key of the row the user last picked, without any prefix.
    Q_INVOKABLE QString lrSelectedKey() const;

    /// Reads the definition, rebuilds the columns (and tabs), loads the rows.
    Q_INVOKABLE QVariant Showme();
    /// Writes the line limit into the definition file.
    Q_INVOKABLE QVariant SaveConfig();

    /// Row upkeep: the list alone follows a row the host added, changed or deleted (pItem its row
    /// key), without loading again. This one adds row pItem; always 0.
    Q_INVOKABLE qint16 lrAddListItem(const QString &pItem);
    /// Reloads row pItem from the database after the host changed it; always 0.
    Q_INVOKABLE qint16 lrUpdateListItem(const QString &pItem);
    /// Removes row pItem after the host deleted it; always 0.
    Q_INVOKABLE qint16 lrDelListItem(const QString &pItem);
    /// Hides and disables command button pIndex; the rest move up. Always false; Failure 340
    /// (FailureNumber::ControlArrayElementMissing) for a negative index, nothing for one above the
    /// last button.
    Q_INVOKABLE bool HideButton(const qint16 &pIndex);

    /// In a host's layout: the size last set in twips (the design size until then).
    QSize sizeHint() const override;
    /// The smallest size whose arrangement leaves the list a positive size.
    QSize minimumSizeHint() const override;

Q_SIGNALS:
    /// The right mouse button was released over the list.
    void ClickMenuContextual();

protected:
    /// Makes a face's private part for the control being built.
    using PrivateFactory = ListControlPrivate *(*)(ListControl &);
    /// For a face: its private part is made once this widget exists, so its children have a parent;
    /// the control then takes its name and design size, which lays it out.
    ListControl(QWidget *parent, PrivateFactory makePrivate, const QString &name, QSizeF designSize);
    /// Arranges the children for the new size.
    void resizeEvent(QResizeEvent *event) override;

    /// The face's private part.
    std::unique_ptr<ListControlPrivate> const d;
};

} // namespace Brennvox10
