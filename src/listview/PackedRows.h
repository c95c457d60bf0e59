// SPDX-License-Identifier: MIT
#pragma once
// Rows packed whole on a reader thread, for a bulk load that adds each in one step instead of a
// cell at a time.

#include <Brennvox10/ListView.h>

#include <vector>

namespace Brennvox10 {

// Clear(), for a load that follows at once: it reuses the rows' memory, until loadDone().
void clearForLoad(ListItems &items);
void loadDone(ListItems &items);

// Appends to out the row that Add(key, cells[0]) and setSubItems(i, cells[i]) for the others would
// make. Safe on any thread. Failure 7 for a row too big for a list.
void packRow(QByteArrayView keyUtf8, const CellValue *cells, int count, std::vector<char> &out);
// Adds a packed row, as those calls would; a null item, and nothing changed, when its key is taken
// or memory runs out, so that the caller's cell-by-cell way meets that failure in its own order.
ListItem addPackedRow(ListItems &items, QByteArrayView packed);
// The key and cells of a packed row, viewing its bytes.
void unpackRow(QByteArrayView packed, QByteArrayView &keyUtf8, std::vector<CellValue> &cells);
// Warms the key table for a row to be added a few rows later.
void prefetchPackedRow(const ListItems &items, QByteArrayView packed);

} // namespace Brennvox10
