// SPDX-License-Identifier: MIT
// Alerts.cpp - the two forms of alert over StandardAlert.
#include "ui/Alerts.h"

#include <cstring>

namespace Veltrano {

namespace {

const unsigned char kOkText[] = "\x02Ok";
const unsigned char kYesText[] = "\x03Yes";
const unsigned char kNoText[] = "\x02No";

// strcpy to byte 1 of a Pascal buffer of `size` bytes, cut to what it holds.
void CopyToPascalBuffer(unsigned char* buffer, size_t size, const char* text)
{
    const size_t length = strnlen(text != nullptr ? text : "", size - 2);
    if (length != 0)
        memcpy(buffer + 1, text, length);
    buffer[1 + length] = 0;
}

} // namespace

unsigned char* SetPascalLength(unsigned char* buffer)
{
    // KEPT: no clamping; a text of 256 characters gets length 0.
    buffer[0] = static_cast<unsigned char>(strlen(reinterpret_cast<const char*>(buffer + 1)));
    return buffer;
}

int ShowStandardAlert(unsigned char* message,
                      unsigned char* explanation,
                      const unsigned char* cancelText,
                      const unsigned char* defaultText,
                      AlertType type,
                      int okIsDefault)
{
    SInt16 itemHit = kAlertStdAlertCancelButton;

    AlertStdAlertParamRec param = {}; // KEPT: no cancel button, so that Escape chooses nothing
    param.defaultText = defaultText;
    param.cancelText = cancelText;
    param.defaultButton = okIsDefault != 0 ? kAlertStdAlertOKButton : kAlertStdAlertCancelButton;
    param.position = kWindowDefaultPosition;

    SetPascalLength(message);
    SetPascalLength(explanation);
    if (StandardAlert(type, message, explanation, &param, &itemHit) != noErr)
        return 0;
    return itemHit == kAlertStdAlertCancelButton ? 1 : 0;
}

int ShowAlert(const char* explanation, const char* message, int askYesNo)
{
    unsigned char messageBuffer[128];
    unsigned char explanationBuffer[512];
    CopyToPascalBuffer(messageBuffer, sizeof messageBuffer, message);
    CopyToPascalBuffer(explanationBuffer, sizeof explanationBuffer, explanation);

    // KEPT: "Yes" stands at the cancel position and is the default.
    if (askYesNo != 0)
        return ShowStandardAlert(messageBuffer, explanationBuffer, kYesText, kNoText,
                                 kAlertCautionAlert, 0);
    return ShowStandardAlert(messageBuffer, explanationBuffer, nullptr, kOkText, kAlertCautionAlert,
                             1);
}

} // namespace Veltrano
