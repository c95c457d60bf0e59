// SPDX-License-Identifier: MIT
#pragma once
// The shown order of a list's rows: row ids in blocks of about a thousand, with a Fenwick tree over
// the block sizes. Reading the id at a position, finding a row's position, and inserting or erasing
// one row cost a block's scan plus a logarithm, whatever the list's length, so one row changed in a
// list of a million costs what it costs in a list of ten thousand.

#include "core/Prefault.h"

#include <QtGlobal>

#include <vector>

namespace Brennvox10 {

class RowOrder {
public:
    size_t size() const { return m_size; }
    bool empty() const { return m_size == 0; }

    quint32 at(size_t position) const;
    // The position of a row that is in the order.
    size_t positionOf(quint32 id) const;
    void insert(size_t position, quint32 id);
    void erase(size_t position);
    void pushBack(quint32 id);
    // keepRoom: a load follows at once, which reuses the memory the row index had.
    void clear(bool keepRoom = false);

    // The whole order at once, for a full sort.
    BulkVector<quint32> toVector() const;
    void assign(const BulkVector<quint32> &ids);

private:
    // Blocks split at twice this size; a full assignment fills them to it.
    static constexpr size_t BlockSize = 1024;
    struct Block {
        std::vector<quint32> ids;
        quint32 serial = 0; // stable name of the block, while its index moves
    };

    // Index of the block holding position, and the position's offset in it.
    std::pair<size_t, size_t> locate(size_t position) const;
    size_t blocksBefore(size_t block) const;
    void addToTree(size_t block, int delta);
    void rebuildIndex();
    size_t newBlock(size_t at);
    void split(size_t block);

    std::vector<Block> m_blocks;
    std::vector<quint32> m_indexOfSerial; // block serial -> index in m_blocks
    BulkVector<quint32> m_serialOfRow; // row id -> serial of the block that holds it
    mutable std::vector<qint64> m_tree; // Fenwick tree over block sizes, 1-based
    mutable bool m_treeValid = true;
    size_t m_size = 0;
};

} // namespace Brennvox10
