// SPDX-License-Identifier: MIT
#pragma once
// What the library's own dialogs share with the default services.

namespace Brennvox10 {

// Whether someone can answer a dialog: a widget application on a platform that shows windows. On
// headless platforms (offscreen, minimal) a modal box would wait forever.
bool interactive();

} // namespace Brennvox10
