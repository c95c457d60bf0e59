#pragma once
// The record list: a list of database rows described by an XML list definition file, narrowed by two
// tab strips, with a line limit, a filter dialog and a command bar whose presses become one event
// per command. Set the connection properties and the definition path, then call Showme.

#include <Brennvox10/ListControl.h>

namespace Brennvox10 {

class ListView;

class BRENNVOX10_EXPORT ctlListRecord : public ListControl {
    Q_OBJECT
public:
    explicit ctlListRecord(QWidget *parent = nullptr);

    // The value the tab chosen in strip Index (0 or 1) stands for; Failure 9 otherwise.
    QString lrTabFieldValue(qint16 Index) const;
    // Loads the rows again (nothing before the first Showme).
    QVariant lrListRefresh();
    // Shows and enables command button pIndex again, with pCaption unless it is empty. Always
    // false; Failure 340 for a negative index.
    bool ChangeCaptionButton(const qint16 &pIndex, const QString &pCaption);
    // The inner list itself.
    ListView *ActiveListView() const;

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
