// SPDX-License-Identifier: MIT
#pragma once
// A date picker: a date field with a calendar drop-down, shown as "dd/MM/yyyy".

#include <QDateEdit>

namespace Brennvox10 {

class DatePicker : public QDateEdit {
public:
    explicit DatePicker(QWidget *parent = nullptr);
};

} // namespace Brennvox10
