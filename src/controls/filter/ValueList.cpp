// SPDX-License-Identifier: MIT
#include "controls/filter/ValueList_p.h"

#include "recordset/Recordset.h"

#include <cstring>
#include <limits>
#include <new>

namespace Brennvox10 {

namespace {
constexpr qsizetype BlockSize = 256 * 1024;
}

void ValueListModel::clear()
{
    beginResetModel();
    std::vector<Block>().swap(m_blocks);
    m_used = 0;
    std::vector<Item>().swap(m_items);
    m_published = 0;
    endResetModel();
}

void ValueListModel::appendRow(data::Recordset &rs)
{
    // Both fields first: a missing one must leave no half item behind.
    data::Field &value = rs.Fields(0);
    data::Field &description = rs.Fields(1);
    const QByteArrayView first = value.isNull() ? QByteArrayView() : value.utf8();
    // The first view stays valid while the second is read: they are different columns of one row.
    const QByteArrayView second = description.isNull() ? QByteArrayView() : description.utf8();
    const qsizetype length = first.size() + 2 + second.size();
    if (m_blocks.empty() || m_blocks.back().size - m_used < length) {
        if (m_blocks.size() >= std::numeric_limits<quint32>::max()
            || length > std::numeric_limits<quint32>::max())
            throw std::bad_alloc();
        const qsizetype size = std::max(BlockSize, length);
        m_blocks.push_back({ std::make_unique_for_overwrite<char[]>(size_t(size)), size });
        prefault(m_blocks.back().data.get(), size_t(size));
        m_used = 0;
    }
    // An empty view may have no data pointer at all, which memcpy must not be given.
    const auto put = [](char *to, QByteArrayView from) {
        if (!from.isEmpty())
            std::memcpy(to, from.data(), size_t(from.size()));
        return to + from.size();
    };
    char *out = put(m_blocks.back().data.get() + m_used, first);
    out = put(out, QByteArrayView("||", 2));
    put(out, second);
    m_used += length;
    m_items.push_back({ quint32(m_blocks.size() - 1), quint32(m_used) });
}

void ValueListModel::publish()
{
    const int total = int(m_items.size());
    if (total == m_published)
        return;
    beginInsertRows(QModelIndex(), m_published, total - 1);
    m_published = total;
    endInsertRows();
}

QString ValueListModel::text(int row) const
{
    if (row < 0 || row >= m_published)
        return QString();
    const Item &item = m_items[size_t(row)];
    const quint32 begin
        = row > 0 && m_items[size_t(row - 1)].chunk == item.chunk ? m_items[size_t(row - 1)].end : 0;
    return QString::fromUtf8(m_blocks[item.chunk].data.get() + begin, item.end - begin);
}

int ValueListModel::rowCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : m_published;
}

QVariant ValueListModel::data(const QModelIndex &index, int role) const
{
    if (role != Qt::DisplayRole && role != Qt::EditRole)
        return QVariant();
    return text(index.row());
}

} // namespace Brennvox10
