// SPDX-License-Identifier: MIT
#pragma once
// The list's mouse gestures by keyboard, routed through the same handlers as the mouse: Enter or
// Return opens the current row as a double click does, the Menu key or Shift+F10 is a right-button
// release on the current row, Ctrl+1 ... Ctrl+9 clicks the header of the column shown in that place.
// Moving along the rows picks a row as an item click does (the list view raises ItemClick itself).

namespace Brennvox10 {

class ListControlPrivate;

// Watches the control's list for these keys and puts the control's children in tab order: the tab
// strips (which narrow the list), the list, the command bar, then the line-limit and filter labels.
void installListKeys(ListControlPrivate &d);

} // namespace Brennvox10
