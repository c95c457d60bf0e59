#pragma once

#include "common/RecordList.h"
#include "filter/FilterDialog.h"

#include <Brennvox10/ListView.h>
#include <Brennvox10/TabStrip.h>
#include <Brennvox10/ctlListRecord.h>
#include <Brennvox10/ctlMenu.h>

#include <QFrame>
#include <QLabel>

#include <memory>

namespace Brennvox10 {

class ctlListRecordPrivate {
public:
    explicit ctlListRecordPrivate(ctlListRecord &q);

    void arrange();
    void onCommand(QString &pCmdKey);
    void onItemClick(const ListItem &item);
    void onColumnClick(ColumnHeader *column);
    void onMouseUp(qint16 button, qint16 shift, float x, float y);
    void onDblClick();
    void onLimitClick();
    void onFilterClick();

    ctlListRecord &q;
    TabStrip *strips[2];
    ListView *ListView1;
    QFrame *Picture1;
    QLabel *Label1;
    QLabel *Label2;
    ctlMenu *ctlMenu1;
    RecordList list;
    FilterDialog filterDialog;
    float lastX = 0, lastY = 0;
};

} // namespace Brennvox10
