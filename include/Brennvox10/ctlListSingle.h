// SPDX-License-Identifier: MIT
#pragma once
/// \file
/// The single list: the record list without tab strips, reporting every command through one event.
/// Its query is the definition's source alone (with the user's filter, when one is set); a Tabs
/// element in the definition is ignored. Set the connection properties and the definition path, then
/// call Showme.

#include <Brennvox10/ListControl.h>

namespace Brennvox10 {

/// The single list: no tab strips, one event for every command.
class BRENNVOX10_EXPORT ctlListSingle : public ListControl {
    Q_OBJECT
    Q_CLASSINFO("dispid 0x60030009 method", "HideButton")
    Q_CLASSINFO("event 1", "cmdClick")
    Q_CLASSINFO("event 2", "ClickMenuContextual")
public:
    /// An empty list at its design size; set the properties, then call Showme().
    explicit ctlListSingle(QWidget *parent = nullptr);

Q_SIGNALS:
    /// A command bar press (pCmdKey its command key, whatever it is) or a double click on a row
    /// ("Open"), with the selected row key. pCmdKey is a copy: a change to it is lost. pItem is the
    /// control's selected key itself: a handler that assigns to it changes the key.
    void cmdClick(QString &pCmdKey, QString &pItem);
};

} // namespace Brennvox10
