// SPDX-License-Identifier: MIT
#include "core/Conversions.h"

#include <Brennvox10/Failure.h>

#include <cmath>
#include <limits>

namespace Brennvox10 {

namespace {

double toNumber(const QString &text, const QLocale &locale)
{
    const QString t = text.trimmed();
    bool ok = false;
    double v = locale.toDouble(t, &ok);
    if (!ok) // the invariant form is what files written elsewhere carry
        v = QLocale::c().toDouble(t, &ok);
    if (!ok || !std::isfinite(v))
        throw failureFor(FailureNumber::TypeMismatch);
    return std::nearbyint(v); // the default rounding mode rounds a half to the even neighbour
}

template <typename T> T toWhole(const QString &text, const QLocale &locale)
{
    const double v = toNumber(text, locale);
    if (v < double(std::numeric_limits<T>::min()) || v > double(std::numeric_limits<T>::max()))
        throw failureFor(FailureNumber::Overflow);
    return T(v);
}

} // namespace

qint32 toLong(const QString &text, const QLocale &locale)
{
    return toWhole<qint32>(text, locale);
}

qint16 toInteger(const QString &text, const QLocale &locale)
{
    return toWhole<qint16>(text, locale);
}

QString formatPlainDigits(qint64 value)
{
    return value == 0 ? QString() : QString::number(value);
}

} // namespace Brennvox10
