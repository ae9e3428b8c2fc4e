// SPDX-License-Identifier: MIT
// Alerts_test.cpp - what the two forms of alert ask of the toolbox, and what they make of its answer. This
// program's StandardAlert stands in front of the platform's.
#include "ui/Alerts.h"

#include <cstring>
#include <gtest/gtest.h>
#include <string>

static std::string sCall; // the last one
static OSErr sResult = noErr;
static SInt16 sItem = 0;

static std::string TextOf(ConstStringPtr pascal)
{
    return pascal ? std::string(reinterpret_cast<const char*>(pascal + 1), pascal[0]) : "null";
}

OSErr StandardAlert(AlertType type,
                    ConstStr255Param message,
                    ConstStr255Param explanation,
                    const AlertStdAlertParamRec* param,
                    SInt16* itemHit)
{
    AlertStdAlertParamRec rest = *param; // must be empty
    rest.defaultText = rest.cancelText = nullptr;
    rest.defaultButton = 0;
    const AlertStdAlertParamRec empty {};
    EXPECT_EQ(0, std::memcmp(&rest, &empty, sizeof rest));
    sCall = std::to_string(type) + " '" + TextOf(message) + "' '" + TextOf(explanation) + "' ok="
        + TextOf(param->defaultText) + " cancel=" + TextOf(param->cancelText) + " default="
        + std::to_string(param->defaultButton) + " preset=" + std::to_string(*itemHit);
    if (sResult == noErr)
        *itemHit = sItem;
    return sResult;
}

TEST(AlertsTest, AsksAndAnswers)
{
    const struct
    {
        int askYesNo;
        OSErr status;
        SInt16 item;
        int result;
    } rows[] = {
        { 1, noErr, 2, 1 }, // Yes
        { 1, noErr, 1, 0 }, // No
        { 7, noErr, 2, 1 }, { 1, memFullErr, 0, 0 }, // nothing shown: not the preset item
        { 0, noErr, 1, 0 }, { 0, memFullErr, 0, 0 },
    };
    for (const auto& row : rows) {
        sResult = row.status;
        sItem = row.item;
        EXPECT_EQ(Veltrano::ShowAlert("Lost.", "Close?", row.askYesNo), row.result);
        EXPECT_EQ(sCall,
                  row.askYesNo ? "2 'Close?' 'Lost.' ok=No cancel=Yes default=2 preset=2"
                               : "2 'Close?' 'Lost.' ok=Ok cancel=null default=1 preset=2");
    }
    // Texts are cut to their buffers: of 510 characters, 510 modulo 256 are shown.
    Veltrano::ShowAlert(std::string(5000, 'e').c_str(), std::string(5000, 'm').c_str(), 0);
    EXPECT_EQ(sCall.find(std::string(126, 'm') + "' '" + std::string(254, 'e') + "' ok"), 3u);
    Veltrano::ShowAlert(nullptr, "", 0);
    EXPECT_EQ(sCall, "2 '' '' ok=Ok cancel=null default=1 preset=2");
}
