// SPDX-License-Identifier: MIT
#pragma once
// The kinds of value a cell holds and the type codes fields report, the same for every provider.

#include <QtGlobal>

namespace Brennvox10::data {

// ADO type codes reported by Field::Type.
namespace AdoType {
constexpr int SmallInt = 2, Integer = 3, Single = 4, Double = 5, Currency = 6, Date = 7, Boolean = 11,
              Decimal = 131, BigInt = 20, Text = 202, Binary = 205;
}

enum class Storage : quint8 { Null, Integer, Real, Text, Blob };

struct DateTimeValue {
    qint64 julianDay = 0;
    qint32 msecs = 0; // since midnight
    bool hasTime = false; // the stored text carried a time part
};

} // namespace Brennvox10::data
