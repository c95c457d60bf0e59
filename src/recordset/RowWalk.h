// SPDX-License-Identifier: MIT
#pragma once
// Walking a recordset under the failure convention, as every reader of rows does it.

#include "core/Guard.h"
#include "core/BusyCursor.h"
#include "recordset/Recordset.h"

namespace Brennvox10 {

// A recordset that was never opened (its Open was skipped) cannot be read.
inline void requireOpen(const data::Recordset &rs)
{
    if (rs.State() == 0)
        throw failureFor(FailureNumber::ObjectClosed);
}

inline void closeIfOpen(data::Recordset &rs)
{
    if (rs.State() != 0)
        rs.Close();
}

// Steps a recordset forward, one guarded step for the end test and one for the move: row() runs for
// each row and returns false to stop early. A failing end test that is skipped ends the walk, as
// there is no row to go on with.
template <class Row> void forEachRow(Guard &g, data::Recordset &rs, Row &&row)
{
    for (;;) {
        busy::tick();
        bool more = false;
        if (!g.step([&] {
                requireOpen(rs);
                more = !rs.Eof();
            })
            || !more)
            break;
        if (!row())
            break;
        g.step([&] {
            requireOpen(rs);
            rs.MoveNext();
        });
    }
}

} // namespace Brennvox10
