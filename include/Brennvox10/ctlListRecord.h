// SPDX-License-Identifier: MIT
#pragma once
// The record list: a list of database rows described by an XML list definition file, narrowed by two
// tab strips, with a line limit, a filter dialog and a command bar whose presses become one event
// per command. Set the connection properties and the definition path, then call Showme.

#include <Brennvox10/ListControl.h>

namespace Brennvox10 {

class ListView;

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
    explicit ctlListRecord(QWidget *parent = nullptr);

    // The value the tab chosen in strip Index (0 or 1) stands for; Failure 9 otherwise.
    Q_INVOKABLE QString lrTabFieldValue(qint16 Index) const;
    // Loads the rows again (nothing before the first Showme).
    Q_INVOKABLE QVariant lrListRefresh();
    // Shows and enables command button pIndex again, with pCaption unless it is empty. Always
    // false; Failure 340 for a negative index.
    Q_INVOKABLE bool ChangeCaptionButton(const qint16 &pIndex, const QString &pCaption);
    // The inner list itself.
    Q_INVOKABLE Brennvox10::ListView *ActiveListView() const;

Q_SIGNALS:
    // pItem is the control's selected key itself: a handler that assigns to it changes the key.
    void cmdAdd(QString &pItem);
    void cmdOpen(QString &pItem);
    void cmdDel(QString &pItem);
    void cmdPrint(QString &pItem);
    void cmdRecodificar(QString &pItem);
    void cmdAnular(QString &pItem);
    void cmdClose();
};

} // namespace Brennvox10
