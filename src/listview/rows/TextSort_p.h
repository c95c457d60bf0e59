// SPDX-License-Identifier: MIT
#pragma once
// Sorting a list's shown texts. A business column repeats few values over many rows (zones, states,
// clients) and its texts share long beginnings; a comparison sort then spends its time comparing
// equal texts from the first character again and again. This sort looks at each character once per
// level (three-way radix quicksort over UTF-16 code units), and orders texts exactly as
// QStringView::compare does, with equal texts in their former order: what a stable sort would give.

#include "core/Prefault.h"

#include <Brennvox10/ListView.h>

#include <QtGlobal>

namespace Brennvox10 {

struct SortEntry {
    quint64 offset; // into the texts
    quint32 length;
    quint32 position; // the row's position before the sort
};

void sortTexts(SortEntry *first, SortEntry *last, const char16_t *texts, bool descending);

// Appends the case-folded text of a cell as the list shows it under `locale`.
void appendSortText(const CellValue &cell, const QLocale &locale, BulkVector<char16_t> &texts);

// A full sort of a list's rows by one column's folded text. Rows are given in their current order;
// equal texts are kept once, so a column that repeats a few hundred values over a million rows sorts
// those few hundred and then places the rows by counting, in time linear in the rows.
class RowSort {
public:
    explicit RowSort(size_t rows);
    void add(const CellValue &cell, const QLocale &locale);
    // The current positions of the rows added, in sorted order; equal texts keep their order.
    BulkVector<quint32> sortedPositions(bool descending);

private:
    quint32 distinctOf(quint64 offset, quint32 length);

    BulkVector<char16_t> m_texts;
    BulkVector<SortEntry> m_distinct; // position: the index of the entry
    BulkVector<quint32> m_rowText; // row -> its distinct text
    BulkVector<quint32> m_slots; // open addressing over m_distinct: index + 1, 0 when free
    quint32 m_seed = 0;
    bool m_dedupe = true;
};

} // namespace Brennvox10
