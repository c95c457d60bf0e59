// SPDX-License-Identifier: MIT
#pragma once
// A cursor stepped on a thread of its own into batches of typed cells, so that the engine reads the
// next rows while the caller stores the current ones: two cores instead of one for a long load.
// The caller sees exactly what the inner cursor gives (the same rows, then its end or its Failure,
// in the same order), only sooner. Waiting for a batch keeps the window alive; Esc seen there or
// between batches, and the end of the wrapper, ask the inner cursor to stop. The inner cursor must
// be one that may be stepped on another thread (each provider's connection belongs to its cursor).

#include "sql/cursor/Cursor.h"

namespace Brennvox10::data {

// Reads at most maxRows rows (a negative number for all), then reports the end without stepping
// further: a line limit reads no more rows than it shows. A shaper, when given, runs on the reader
// thread for every row, so that the caller's own work on a row can be done there too.
std::unique_ptr<Cursor> readAhead(std::unique_ptr<Cursor> inner, qint64 maxRows = -1, RowShaper shaper = {});

} // namespace Brennvox10::data
