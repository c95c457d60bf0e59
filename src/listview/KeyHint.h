// SPDX-License-Identifier: MIT
#pragma once
// A row about to be added by key: the list's key table warms up for it while the rows before it are
// stored.

#include <QByteArrayView>

namespace Brennvox10 {

class ListItems;

void prefetchKey(const ListItems &items, QByteArrayView keyUtf8);

} // namespace Brennvox10
