// SPDX-License-Identifier: MIT
#pragma once
// The Failure an action throws; number 0 when it throws none.

#include <Brennvox10/Failure.h>

template <typename F> Brennvox10::Failure failureOf(F &&f)
{
    try {
        f();
    } catch (const Brennvox10::Failure &e) {
        return e;
    }
    return Brennvox10::Failure(0, QString());
}
