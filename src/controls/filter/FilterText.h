// SPDX-License-Identifier: MIT
#pragma once
// The text "Aceptar" hands over, made from what the four conditions' inputs hold. Plain text work
// on QtCore alone, so it can be exercised without any widget.

#include <QString>

#include <array>
#include <functional>
#include <span>

namespace Brennvox10 {

// One condition as its inputs show it.
struct FilterCondition {
    bool checked = false;
    QString field; // the page's chosen field name
    int op = -1; // the chosen item of its operator list; outside the table when nothing is chosen
    QString value; // the value box's text ("value||description" for a listed item), or the picked date
};

// Conditions 1 and 2 are page 1's, 3 and 4 page 2's.
using FilterConditions = std::array<FilterCondition, 4>;

// What a value box's text stands for: an item reads "value||description", a typed value has no "||".
QString valueOf(const QString &boxText);

// Runs one piece of the text. A piece returns false, having added nothing, when its condition has
// no operator; the caller decides what that means (the control reports it, and a skipped piece
// leaves the text so far as it is).
using FilterStep = std::function<void(const std::function<bool()> &piece)>;

// The whole text: each condition as field, operator and quoted value (Zona>='7'), joined with
// " and ". A page's second condition counts only with its first; page 2 is joined on only to a text
// that is not empty.
QString filterText(
    const FilterConditions &conditions, std::span<const QString> operators, const FilterStep &step);

} // namespace Brennvox10
