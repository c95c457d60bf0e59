#pragma once
// The failure number an action throws, or 0 when it throws none.

#include <Brennvox10/Failure.h>

template <typename F> int failureOf(F &&f)
{
    try {
        f();
    } catch (const Brennvox10::Failure &e) {
        return e.number();
    }
    return 0;
}
