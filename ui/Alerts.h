// SPDX-License-Identifier: MIT
// Alerts.h - modal caution alerts with one button or with a question.
// Main thread; each call runs until the user has chosen. A text is cut to what its buffer holds; of a
// character that is cut nothing is shown.
#pragma once

#include <Carbon/Carbon.h>

namespace Veltrano {

/// Makes a Pascal string of a buffer whose text starts at byte 1 and is zero-terminated: byte 0 becomes
/// the length modulo 256. Returns the buffer.
///   example  300 characters: byte 0 is 44
unsigned char* SetPascalLength(unsigned char* buffer);

/// Shows an alert.
///   message      [in,out]  the bold first text, as SetPascalLength takes it; its length byte is set
///   explanation  [in,out]  the smaller second text, likewise
///   cancelText   [in]      Pascal string of the button at the cancel position (item 2); null for none
///   defaultText  [in]      Pascal string of the button at the OK position (item 1)
///   okIsDefault  [in]      not 0: Return presses item 1; 0: item 2. No button answers Escape
///   returns  1 when item 2 was chosen; 0 for item 1 and when no alert could be shown
int ShowStandardAlert(unsigned char* message,
                      unsigned char* explanation,
                      const unsigned char* cancelText,
                      const unsigned char* defaultText,
                      AlertType type,
                      int okIsDefault);

/// Shows a caution alert, the explanation being the first argument.
///   explanation  at most 510 characters
///   message      at most 126 characters
///   askYesNo     not 0: "Yes" (which Return presses) and "No"; 0: "Ok"
///   returns      1 for "Yes", else 0
///   example      ShowAlert("Your changes will be lost.", "Close without saving?", 1)
int ShowAlert(const char* explanation, const char* message, int askYesNo);

} // namespace Veltrano
