// SPDX-License-Identifier: MIT
#include "controls/filter/FilterText.h"

namespace Brennvox10 {

namespace {

const QString Separator = QStringLiteral("||");
constexpr QStringView And = u" and ";
// A page's first condition ends in a space after its quote, the second does not.
constexpr QStringView FirstEnding = u"' ";
constexpr QStringView SecondEnding = u"'";

// Adds `lead` and one condition to `text`, or nothing at all when the condition has no operator: a
// piece that fails must not leave half of itself behind.
bool add(QString &text, QStringView lead, const FilterCondition &c, std::span<const QString> operators,
    QStringView ending)
{
    if (c.op < 0 || size_t(c.op) >= operators.size())
        return false;
    text.append(lead)
        .append(c.field)
        .append(operators[size_t(c.op)])
        .append(QLatin1Char('\''))
        .append(valueOf(c.value))
        .append(ending);
    return true;
}

} // namespace

QString valueOf(const QString &boxText)
{
    const qsizetype cut = boxText.indexOf(Separator);
    return cut < 0 ? boxText : boxText.left(cut);
}

QString filterText(
    const FilterConditions &conditions, std::span<const QString> operators, const FilterStep &step)
{
    QString text;
    for (size_t page = 0; page < 2; ++page) {
        const FilterCondition &first = conditions[2 * page];
        const FilterCondition &second = conditions[2 * page + 1];
        if (!first.checked)
            continue;
        // The joint comes before the first condition on its own: it stays when that condition fails.
        step([&] {
            if (!text.isEmpty())
                text += And;
            return true;
        });
        step([&] { return add(text, {}, first, operators, FirstEnding); });
        if (second.checked)
            step([&] { return add(text, And, second, operators, SecondEnding); });
    }
    return text;
}

} // namespace Brennvox10
