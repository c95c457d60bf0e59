// SPDX-License-Identifier: MIT
#pragma once
// Prints a list as it is shown: its columns in their order, with their captions, alignments and
// relative widths, and its rows in their shown order, page by page.

#include <QString>

class QPrinter;

namespace Brennvox10 {
class ListView;
}

struct PrintOutcome {
    bool ok = false;
    int pages = 0;
    int rowsPrinted = 0;
    int rowsShown = 0;
};

// Pages beyond maxPages are left out and the last page says so: a list of a million rows would take
// some twenty thousand pages and minutes to write, which nobody wants on paper; the tabs and the
// filter narrow the list to what is worth printing. Rows are read and drawn one page at a time, so the
// cost follows the pages printed, not the length of the list.
PrintOutcome printList(
    Brennvox10::ListView &list, QPrinter &printer, const QString &title, int maxPages = 200);
