#pragma once
// The record list: a list of database rows described by an XML list definition file, narrowed by two
// tab strips, with a line limit, a filter dialog and a command bar. Set the connection properties and
// the definition path, then call Showme. Guarded members never throw: their failures go to the
// thread's ErrorReporter. Property members are not guarded and throw Failure.

#include <Brennvox10/brennvox10_export.h>

#include <QString>
#include <QVariant>
#include <QWidget>

#include <memory>

namespace Brennvox10 {

class ListView;
class ctlListRecordPrivate;

class BRENNVOX10_EXPORT ctlListRecord : public QWidget {
    Q_OBJECT
public:
    explicit ctlListRecord(QWidget *parent = nullptr);
    ~ctlListRecord() override;

    // Connection properties: the connection text is connection string + data source +
    // ";Jet Oledb:database password=" + password, composed at the next Showme.
    void lrConnectionString(const QString &value);
    void lrDataSource(const QString &value);
    void lrUser(const QString &value);
    void lrPassword(const QString &value);
    // Path of the list definition file; empty means <library folder>/conf/lrfmt.conf.
    void lrConfigFileName(const QString &value);

    // The condition and value of the tab chosen in strip Index (0 or 1); Failure 9 otherwise.
    QString lrTabFilter(qint16 Index) const;
    QString lrTabFieldValue(qint16 Index) const;
    // The row key of the row the user last picked, without any prefix.
    QString lrSelectedKey() const;

    // Reads the definition, rebuilds columns and tabs, selects the remembered tabs, loads the rows.
    QVariant Showme();
    // Writes the line limit into the definition file.
    QVariant SaveConfig();
    // Loads the rows again (nothing before the first Showme).
    QVariant lrListRefresh();

    qint16 lrAddListItem(QString &pItem);
    qint16 lrUpdateListItem(QString &pItem);
    qint16 lrDelListItem(QString &pItem);
    bool HideButton(qint16 &pIndex);
    bool ChangeCaptionButton(qint16 &pIndex, QString &pCaption);

    // The inner list itself.
    ListView *ActiveListView() const;

Q_SIGNALS:
    void cmdAdd(QString &pItem);
    void cmdOpen(QString &pItem);
    void cmdDel(QString &pItem);
    void cmdPrint(QString &pItem);
    void cmdRecodificar(QString &pItem);
    void cmdAnular(QString &pItem);
    void cmdClose();
    void ClickMenuContextual();

protected:
    void resizeEvent(QResizeEvent *event) override;

private:
    friend class ctlListRecordPrivate;
    friend struct ctlListRecordTestAccess;
    std::unique_ptr<ctlListRecordPrivate> const d;
};

} // namespace Brennvox10
