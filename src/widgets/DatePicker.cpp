// SPDX-License-Identifier: MIT
#include "widgets/DatePicker.h"

namespace Brennvox10 {

DatePicker::DatePicker(QWidget *parent)
    : QDateEdit(parent)
{
    setCalendarPopup(true);
    setDisplayFormat(QStringLiteral("dd/MM/yyyy"));
    // A business program filters back to the 19th century and forward past 2099.
    setDateRange(QDate(1753, 1, 1), QDate(9999, 12, 31));
}

} // namespace Brennvox10
