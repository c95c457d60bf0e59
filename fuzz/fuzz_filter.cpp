// SPDX-License-Identifier: MIT
// The filter text from any inputs the four conditions can hold: it matches a plain reference, a
// condition without operator fails alone and leaves nothing of itself, and no value keeps its "||".
//
// Input: one byte of check flags (bit n: condition n+1), one byte per condition's operator, then
// the page 1 field, page 2 field and the four value texts, separated by '\n', as UTF-8 (any bytes).
#include "controls/filter/FilterText.h"

#include <QByteArrayList>
#include <QStringList>

#include <array>
#include <climits>
#include <cstdlib>

namespace {

using namespace Brennvox10;

const std::array<QString, 6> Operators { QStringLiteral("="), QStringLiteral("<"), QStringLiteral("<="),
    QStringLiteral(">"), QStringLiteral(">="), QStringLiteral("<>") };

// Mostly a chosen item or none (-1 to 6, 6 just past the table); with the top bit set, far outside.
int operatorFrom(uint8_t b)
{
    if (b & 0x80)
        return b & 1 ? INT_MAX - (b >> 1 & 0x3f) : INT_MIN + (b >> 1 & 0x3f);
    return b % 8 - 1;
}

bool hasOperator(const FilterCondition &c)
{
    return c.op >= 0 && c.op < int(Operators.size());
}

// The value before the first "||", found without QString's search.
QString cut(const QString &v)
{
    for (qsizetype i = 0; i + 1 < v.size(); ++i)
        if (v[i] == u'|' && v[i + 1] == u'|')
            return v.first(i);
    return v;
}

QString piece(const FilterCondition &c, const char *ending)
{
    return c.field + Operators[size_t(c.op)] + u'\'' + cut(c.value) + QLatin1String(ending);
}

// Which conditions count: a page's second only with its first.
std::array<bool, 4> counted(const FilterConditions &c)
{
    return { c[0].checked, c[0].checked && c[1].checked, c[2].checked, c[2].checked && c[3].checked };
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    if (size < 5)
        return 0;
    FilterConditions c;
    for (size_t i = 0; i < 4; ++i) {
        c[i].checked = data[0] >> i & 1;
        c[i].op = operatorFrom(data[1 + i]);
    }
    const QByteArrayList texts
        = QByteArray::fromRawData(reinterpret_cast<const char *>(data + 5), qsizetype(size - 5)).split('\n');
    const auto text = [&](qsizetype i) { return i < texts.size() ? QString::fromUtf8(texts[i]) : QString(); };
    for (size_t i = 0; i < 4; ++i) {
        c[i].field = text(qsizetype(i / 2));
        c[i].value = text(qsizetype(2 + i));
    }

    for (const FilterCondition &one : c) {
        const QString v = valueOf(one.value);
        if (v != cut(one.value) || v.contains(QLatin1String("||")))
            std::abort(); // the value is what comes before the first "||"
    }

    int steps = 0, failures = 0;
    const QString skipped = filterText(c, Operators, [&](const std::function<bool()> &run) {
        ++steps;
        if (!run())
            ++failures;
    });
    // The control's retry answer runs a failed piece again: it fails again and still adds nothing.
    const QString retried = filterText(c, Operators, [&](const std::function<bool()> &run) {
        if (!run() && run())
            std::abort(); // a piece that failed succeeded on its second run
    });
    if (retried != skipped)
        std::abort(); // a failed piece left part of itself in the text

    const std::array<bool, 4> counts = counted(c);
    int expectedSteps = 0, expectedFailures = 0;
    for (size_t i = 0; i < 4; ++i) {
        expectedSteps += counts[i] ? (i % 2 == 0 ? 2 : 1) : 0; // a page's first comes with its joint
        expectedFailures += counts[i] && !hasOperator(c[i]);
    }
    if (steps != expectedSteps || failures != expectedFailures)
        std::abort(); // each counted condition is one piece, and only those without operator fail

    // The rules as the control's users read them: a page's second condition joined to its first,
    // page 2 joined to page 1 only when that left something.
    QString reference;
    for (size_t page = 0; page < 2; ++page) {
        const FilterCondition &first = c[2 * page], &second = c[2 * page + 1];
        if (!first.checked)
            continue;
        if (!reference.isEmpty())
            reference += QLatin1String(" and ");
        if (hasOperator(first))
            reference += piece(first, "' ");
        if (second.checked && hasOperator(second))
            reference += QLatin1String(" and ") + piece(second, "'");
    }
    if (skipped != reference)
        std::abort();

    // With nothing failing, simply every counted condition joined with " and ".
    if (failures == 0) {
        QStringList parts;
        for (size_t i = 0; i < 4; ++i)
            if (counts[i])
                parts << piece(c[i], i % 2 == 0 ? "' " : "'");
        if (skipped != parts.join(QLatin1String(" and ")))
            std::abort();
    }

    // Only a field name can bring "||" into the text, never a value.
    if (!c[0].field.contains(QLatin1String("||")) && !c[2].field.contains(QLatin1String("||"))
        && skipped.contains(QLatin1String("||")))
        std::abort();
    return 0;
}
