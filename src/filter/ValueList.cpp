#include "filter/ValueList_p.h"

#include "platform/data/Recordset.h"

namespace Brennvox10 {

void ValueListModel::clear()
{
    beginResetModel();
    m_text.clear();
    m_text.squeeze();
    m_ends.clear();
    m_ends.shrink_to_fit();
    m_published = 0;
    endResetModel();
}

void ValueListModel::appendRow(data::Recordset &rs)
{
    // Both fields first: a missing one must leave no half item behind.
    data::Field &value = rs.Fields(0);
    data::Field &description = rs.Fields(1);
    if (!value.isNull())
        m_text.append(value.utf8());
    m_text.append("||", 2);
    if (!description.isNull())
        m_text.append(description.utf8());
    m_ends.push_back(m_text.size());
}

void ValueListModel::publish()
{
    const int total = int(m_ends.size());
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
    const qsizetype begin = row == 0 ? 0 : m_ends[size_t(row - 1)];
    return QString::fromUtf8(m_text.constData() + begin, m_ends[size_t(row)] - begin);
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
