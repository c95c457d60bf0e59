// SPDX-License-Identifier: MIT
#pragma once
// The list view as assistive technology meets it: a table of the shown rows and the visible columns,
// with header cells, the selected row and the focused cell, and the notices Qt's own item views send.
// Nothing here walks the rows: a cell is made when it is asked for and kept only while it names a row,
// and every notice is one flag test while no assistive technology listens.

namespace Brennvox10 {

class ListView;

namespace accessible {

// Registers the table with Qt's accessibility and makes the list announce its changes.
void attach(ListView *list);

} // namespace accessible
} // namespace Brennvox10
