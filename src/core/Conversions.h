// SPDX-License-Identifier: MIT
#pragma once
// Text to number as the host platform converts it: locale-aware, surrounding blanks allowed, a
// fraction rounded to the nearest whole number and a half to the even one. Not a number is
// Failure 13; out of range is Failure 6.

#include <QLocale>
#include <QString>

namespace Brennvox10 {

qint32 toLong(const QString &text, const QLocale &locale = QLocale());
qint16 toInteger(const QString &text, const QLocale &locale = QLocale());

// "#######": decimal digits, no grouping, no leading zeros; 0 gives empty text.
QString formatPlainDigits(qint64 value);

} // namespace Brennvox10
