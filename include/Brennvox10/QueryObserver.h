// SPDX-License-Identifier: MIT
#pragma once
/// \file
/// A seam for hosts and tests that want to see the SQL the controls run.

#include <Brennvox10/brennvox10_export.h>

#include <QString>

#include <functional>

namespace Brennvox10 {

/// Sees every SQL text the data layer is about to run, in order. An empty function removes it.
BRENNVOX10_EXPORT void setQueryObserver(std::function<void(const QString &sql)> observer);

} // namespace Brennvox10
