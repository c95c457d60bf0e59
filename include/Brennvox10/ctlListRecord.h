// SPDX-License-Identifier: MIT
#pragma once
/// \file
/// The record list: a list of database rows described by an XML list definition file, narrowed by two
/// tab strips, with a line limit, a filter dialog and a command bar whose presses become one event
/// per command. Set the connection properties and the definition path, then call Showme.

#include <Brennvox10/ListControl.h>

namespace Brennvox10 {

class ListView;

/// The record list, with two tab strips and one event per command.
class BRENNVOX10_EXPORT ctlListRecord : public ListControl {
    Q_OBJECT
    Q_MOC_INCLUDE(<Brennvox10/ListView.h>)
    Q_CLASSINFO("dispid 0x6003001b method", "lrTabFieldValue")
    Q_CLASSINFO("dispid 0x6003001c method", "lrListRefresh")
    Q_CLASSINFO("dispid 0x6003002b method", "HideButton")
    Q_CLASSINFO("dispid 0x6003002c method", "ChangeCaptionButton")
    Q_CLASSINFO("dispid 0x6803001a get", "ActiveListView")
    Q_CLASSINFO("event 1", "cmdAdd")
    Q_CLASSINFO("event 2", "cmdOpen")
    Q_CLASSINFO("event 3", "cmdDel")
    Q_CLASSINFO("event 4", "cmdPrint")
    Q_CLASSINFO("event 5", "cmdRecodificar")
    Q_CLASSINFO("event 6", "cmdAnular")
    Q_CLASSINFO("event 7", "cmdClose")
    Q_CLASSINFO("event 8", "ClickMenuContextual")
public:
    /// An empty list at its design size; set the properties, then call Showme().
    explicit ctlListRecord(QWidget *parent = nullptr);

    /// The value the tab chosen in strip Index (0 or 1) stands for; Failure 9
    /// (FailureNumber::SubscriptOutOfRange) otherwise.
    Q_INVOKABLE QString lrTabFieldValue(qint16 Index) const;
    /// Loads the rows again (nothing before the first Showme).
    Q_INVOKABLE QVariant lrListRefresh();
    /// Shows and enables command button pIndex again, with pCaption unless it is empty. Always
    /// false; Failure 340 (FailureNumber::ControlArrayElementMissing) for a negative index.
    Q_INVOKABLE bool ChangeCaptionButton(const qint16 &pIndex, const QString &pCaption);
    /// The inner list itself.
    Q_INVOKABLE Brennvox10::ListView *ActiveListView() const;

Q_SIGNALS:
    /// A command bar press with command key "Add". pItem is the control's selected key itself: a
    /// handler that assigns to it changes the key; so for every command below.
    void cmdAdd(QString &pItem);
    /// Command key "Open", or a double click on a row.
    void cmdOpen(QString &pItem);
    /// Command key "Del".
    void cmdDel(QString &pItem);
    /// Command key "Print".
    void cmdPrint(QString &pItem);
    /// Command key "Recodificar".
    void cmdRecodificar(QString &pItem);
    /// Command key "Anular".
    void cmdAnular(QString &pItem);
    /// Command key "Close". Any other key raises nothing.
    void cmdClose();
};

} // namespace Brennvox10
