#pragma once
// The items of a page's value lists: one model that both value boxes of the page show. Items are
// kept as the database's UTF-8 text in one buffer, made into QString only when a box asks, so a
// list of a hundred thousand rows costs little more than its text.

#include <QAbstractListModel>
#include <QByteArray>

#include <vector>

namespace Brennvox10 {

namespace data {
class Recordset;
}

class ValueListModel : public QAbstractListModel {
public:
    using QAbstractListModel::QAbstractListModel;

    void clear();
    // Appends "value||description" from the current row's first two fields, each as the database
    // writes it (so it reads back in a condition) and a Null as empty text. Failure 3265 when the
    // row has fewer than two fields; nothing is appended then. The row shows after publish().
    void appendRow(data::Recordset &rs);
    // Announces the rows appended since the last call, in one insertion.
    void publish();
    int pending() const { return int(m_ends.size()) - m_published; }

    QString text(int row) const;
    int rowCount(const QModelIndex &parent = QModelIndex()) const override;
    QVariant data(const QModelIndex &index, int role = Qt::DisplayRole) const override;

private:
    QByteArray m_text;
    std::vector<qsizetype> m_ends; // end of each item in m_text
    int m_published = 0;
};

} // namespace Brennvox10
