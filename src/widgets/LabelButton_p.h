// SPDX-License-Identifier: MIT
#pragma once
// A label the user clicks to act, offered to assistive technology as the button it behaves as: role
// Button, its text as name, and a Press action that clicks it.

class QLabel;

namespace Brennvox10::accessible {

void offerAsButton(QLabel *label);

} // namespace Brennvox10::accessible
