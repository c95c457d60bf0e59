// SPDX-License-Identifier: MIT
#pragma once
// What the keyed collections of the list view and the tab strip share: 1-based positions and unique
// non-empty keys, with the failures hosts know for each.

#include <Brennvox10/Failure.h>

#include <QString>

#include <memory>
#include <vector>

namespace Brennvox10::keyed {

template <typename T> using Items = std::vector<std::unique_ptr<T>>;

// Failure 35600 outside 1..size.
template <typename T> T *at(const Items<T> &items, int index)
{
    if (index < 1 || size_t(index) > items.size())
        throw failureFor(FailureNumber::IndexOutOfBounds);
    return items[size_t(index - 1)].get();
}

// nullptr when no element has the key; an empty key names none.
template <typename T> T *find(const Items<T> &items, const QString &key)
{
    if (!key.isEmpty()) {
        for (const auto &item : items) {
            if (item->Key() == key)
                return item.get();
        }
    }
    return nullptr;
}

// Failure 35601 when no element has the key.
template <typename T> T *byKey(const Items<T> &items, const QString &key)
{
    if (T *found = find(items, key))
        return found;
    throw failureFor(FailureNumber::ElementNotFound);
}

// Failure 35602 when another element already has the (non-empty) key.
template <typename T> void checkUnique(const Items<T> &items, const QString &key)
{
    if (find(items, key))
        throw failureFor(FailureNumber::KeyNotUnique);
}

} // namespace Brennvox10::keyed
