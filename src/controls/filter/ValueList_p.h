// SPDX-License-Identifier: MIT
#pragma once
// The items of a page's value lists: one model that both value boxes of the page show. Items are
// kept as the database's UTF-8 text, made into QString only when a box asks, so a list of a hundred
// thousand rows costs little more than its text.

#include "core/Prefault.h"

#include <QAbstractListModel>

#include <memory>
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
    int pending() const { return int(m_items.size()) - m_published; }

    QString text(int row) const;
    int rowCount(const QModelIndex &parent = QModelIndex()) const override;
    QVariant data(const QModelIndex &index, int role = Qt::DisplayRole) const override;

private:
    struct Item {
        quint32 chunk;
        quint32 end; // an item starts where the one before it in the same chunk ends
    };
    // Text goes into blocks that never move: a growing single buffer would copy the whole list
    // again at every growth.
    struct Block {
        std::unique_ptr<char[]> data;
        qsizetype size;
    };
    std::vector<Block> m_blocks;
    qsizetype m_used = 0; // bytes used in the last block
    std::vector<Item> m_items;
    int m_published = 0;
};

} // namespace Brennvox10
