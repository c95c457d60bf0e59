// SPDX-License-Identifier: MIT
#pragma once
// The parts and gestures both list controls share: the list, the command bar, the status strip with
// its line-limit and filter labels, the record list behind them and the filter dialog. A face adds
// its own children, places everything, and turns commands and double clicks into its own events.

#include "controls/list/ListFilter.h"
#include "controls/list/RecordList.h"

#include <Brennvox10/Dispatch.h>
#include <Brennvox10/ListControl.h>
#include <Brennvox10/ListView.h>
#include <Brennvox10/TabStrip.h>
#include <Brennvox10/ctlMenu.h>

#include <QFrame>
#include <QLabel>

namespace Brennvox10 {

class Guard;

class ListControlPrivate {
public:
    ListControlPrivate(ListControl &q, std::array<TabStrip *, 2> strips);
    virtual ~ListControlPrivate();

    // The face's layout for the control's inner size W x H in twips, one step a statement.
    virtual void arrange(Guard &g, float W, float H) = 0;
    // The least width and height, in twips, for which arrange() gives every child a positive size.
    virtual QSizeF minimumSize() const = 0;
    // A press on the command bar, with the button's command key; guarded by the face.
    virtual void onCommand(QString &pCmdKey) = 0;
    // The face's event for opening the selected row; runs as one step of the double click.
    virtual void raiseOpen() = 0;

    void onItemClick(const ListItem &item);
    void onColumnClick(ColumnHeader *column);
    void onMouseUp(qint16 button, float x, float y);
    void onDblClick();
    void onLimitClick();

    ListControl &q;
    std::array<TabStrip *, 2> strips;
    ListView *ListView1;
    QFrame *Picture1;
    QLabel *Label1;
    QLabel *Label2;
    ctlMenu *ctlMenu1;
    RecordList list;
    ListFilter listFilter;
    float lastX = 0, lastY = 0;

    // The command bar is reached as a container reaches it: by its published identifier.
    void configureButton(qint16 index, const clsButton &button)
    {
        QVariantList args { QVariant::fromValue(index), QVariant::fromValue(button) };
        dispatch::invoke(ctlMenu1, 0x60030001, dispatch::Kind::Method, args);
    }
};

} // namespace Brennvox10
