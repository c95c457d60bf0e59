// SPDX-License-Identifier: MIT
#pragma once
// QtTest data rows with less ceremony: a _data() function's columns in one call, and a row's values
// in one declaration.

#include <QTest>

#include <tuple>

// columns<int, QString>("count", "name") adds both columns, in order.
template <typename... T, typename... Name> void columns(Name... names)
{
    static_assert(sizeof...(T) == sizeof...(Name));
    (QTest::addColumn<T>(names), ...);
}

// const auto [count, name] = fetch<int, QString>("count", "name"): QFETCH for several columns.
template <typename... T, typename... Name> std::tuple<T...> fetch(Name... names)
{
    static_assert(sizeof...(T) == sizeof...(Name));
    return { *static_cast<T *>(QTest::qData(names, qMetaTypeId<T>()))... };
}
