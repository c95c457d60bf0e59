// SPDX-License-Identifier: MIT
#pragma once
// The choice of provider by the connection text's Provider= key.

#include "sql/cursor/Cursor.h"

namespace Brennvox10::data {

// Prepares sql on the provider the connection names; Failure 3706 for a provider we do not have.
// A provider that must adapt the text to its dialect shows the query observer the text it runs.
std::unique_ptr<Cursor> openCursor(const ConnectionText &connection, const QString &sql);

} // namespace Brennvox10::data
