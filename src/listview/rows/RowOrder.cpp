// SPDX-License-Identifier: MIT
#include "listview/rows/RowOrder_p.h"

#include <algorithm>

namespace Brennvox10 {

quint32 RowOrder::at(size_t position) const
{
    Q_ASSERT(position < m_size);
    const auto [block, offset] = locate(position);
    return m_blocks[block].ids[offset];
}

size_t RowOrder::positionOf(quint32 id) const
{
    Q_ASSERT(id < m_serialOfRow.size());
    const size_t block = m_indexOfSerial[m_serialOfRow[id]];
    const std::vector<quint32> &ids = m_blocks[block].ids;
    const auto found = std::find(ids.begin(), ids.end(), id);
    Q_ASSERT(found != ids.end());
    return blocksBefore(block) + size_t(found - ids.begin());
}

void RowOrder::insert(size_t position, quint32 id)
{
    Q_ASSERT(position <= m_size);
    if (position == m_size) {
        pushBack(id);
        return;
    }
    const auto [block, offset] = locate(position);
    std::vector<quint32> &ids = m_blocks[block].ids;
    ids.insert(ids.begin() + ptrdiff_t(offset), id);
    if (id >= m_serialOfRow.size())
        m_serialOfRow.resize(size_t(id) + 1);
    m_serialOfRow[id] = m_blocks[block].serial;
    ++m_size;
    addToTree(block, 1);
    if (ids.size() > 2 * BlockSize)
        split(block);
}

void RowOrder::erase(size_t position)
{
    Q_ASSERT(position < m_size);
    const auto [block, offset] = locate(position);
    std::vector<quint32> &ids = m_blocks[block].ids;
    ids.erase(ids.begin() + ptrdiff_t(offset));
    --m_size;
    if (ids.empty() && m_blocks.size() > 1) {
        m_blocks.erase(m_blocks.begin() + ptrdiff_t(block));
        rebuildIndex();
    } else {
        addToTree(block, -1);
    }
}

void RowOrder::pushBack(quint32 id)
{
    if (m_blocks.empty() || m_blocks.back().ids.size() >= 2 * BlockSize)
        newBlock(m_blocks.size());
    Block &last = m_blocks.back();
    last.ids.push_back(id);
    if (id >= m_serialOfRow.size())
        m_serialOfRow.resize(size_t(id) + 1);
    m_serialOfRow[id] = last.serial;
    ++m_size;
    addToTree(m_blocks.size() - 1, 1);
}

void RowOrder::clear(bool keepRoom)
{
    std::vector<Block>().swap(m_blocks);
    std::vector<quint32>().swap(m_indexOfSerial);
    if (keepRoom)
        m_serialOfRow.clear();
    else
        BulkVector<quint32>().swap(m_serialOfRow);
    std::vector<qint64>().swap(m_tree);
    m_treeValid = true;
    m_size = 0;
}

BulkVector<quint32> RowOrder::toVector() const
{
    BulkVector<quint32> ids;
    ids.reserve(m_size);
    for (const Block &b : m_blocks)
        ids.insert(ids.end(), b.ids.begin(), b.ids.end());
    return ids;
}

void RowOrder::assign(const BulkVector<quint32> &ids)
{
    clear();
    m_blocks.reserve(ids.size() / BlockSize + 1);
    for (size_t from = 0; from < ids.size(); from += BlockSize) {
        const size_t to = std::min(ids.size(), from + BlockSize);
        const size_t block = newBlock(m_blocks.size());
        m_blocks[block].ids.assign(ids.begin() + ptrdiff_t(from), ids.begin() + ptrdiff_t(to));
    }
    quint32 highest = 0;
    for (quint32 id : ids)
        highest = std::max(highest, id);
    m_serialOfRow.resize(ids.empty() ? 0 : size_t(highest) + 1);
    for (const Block &b : m_blocks)
        for (quint32 id : b.ids)
            m_serialOfRow[id] = b.serial;
    m_size = ids.size();
    m_treeValid = false;
}

std::pair<size_t, size_t> RowOrder::locate(size_t position) const
{
    blocksBefore(0); // brings the tree up to date
    const size_t count = m_blocks.size();
    size_t step = 1;
    while (step * 2 <= count)
        step *= 2;
    size_t index = 0;
    qint64 rest = qint64(position);
    // Descend to the last block whose preceding blocks hold no more than `position` rows.
    for (; step > 0; step /= 2) {
        if (index + step <= count && m_tree[index + step] <= rest) {
            index += step;
            rest -= m_tree[index];
        }
    }
    return { index, size_t(rest) };
}

size_t RowOrder::blocksBefore(size_t block) const
{
    if (!m_treeValid) {
        m_tree.assign(m_blocks.size() + 1, 0);
        for (size_t i = 1; i < m_tree.size(); ++i) {
            m_tree[i] += qint64(m_blocks[i - 1].ids.size());
            const size_t up = i + (i & (~i + 1));
            if (up < m_tree.size())
                m_tree[up] += m_tree[i];
        }
        m_treeValid = true;
    }
    qint64 sum = 0;
    for (size_t i = block; i > 0; i -= i & (~i + 1))
        sum += m_tree[i];
    return size_t(sum);
}

void RowOrder::addToTree(size_t block, int delta)
{
    if (!m_treeValid)
        return;
    for (size_t i = block + 1; i < m_tree.size(); i += i & (~i + 1))
        m_tree[i] += delta;
}

void RowOrder::rebuildIndex()
{
    std::fill(m_indexOfSerial.begin(), m_indexOfSerial.end(), quint32(0));
    for (size_t i = 0; i < m_blocks.size(); ++i)
        m_indexOfSerial[m_blocks[i].serial] = quint32(i);
    m_treeValid = false;
}

size_t RowOrder::newBlock(size_t at)
{
    Block block;
    block.serial = quint32(m_indexOfSerial.size());
    block.ids.reserve(BlockSize);
    m_indexOfSerial.push_back(quint32(at));
    m_blocks.insert(m_blocks.begin() + ptrdiff_t(at), std::move(block));
    if (at + 1 == m_blocks.size()) {
        // Appended: no other block moved, and the tree is rebuilt once it is next read.
        m_treeValid = false;
    } else {
        rebuildIndex();
    }
    return at;
}

void RowOrder::split(size_t block)
{
    const size_t added = newBlock(block + 1);
    std::vector<quint32> &from = m_blocks[block].ids;
    std::vector<quint32> &to = m_blocks[added].ids;
    const size_t half = from.size() / 2;
    to.assign(from.begin() + ptrdiff_t(half), from.end());
    from.resize(half);
    for (quint32 id : to)
        m_serialOfRow[id] = m_blocks[added].serial;
    m_treeValid = false;
}

} // namespace Brennvox10
