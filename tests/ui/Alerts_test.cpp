// SPDX-License-Identifier: MIT
// Alerts_test.cpp - what the two forms of alert ask of the toolbox, and what they make of its answer. This
// program's StandardAlert stands in front of the platform's.
#include "ui/Alerts.h"

#include <cstring>
#include <gtest/gtest.h>
#include <string>

using namespace Veltrano;

namespace {

std::string sCall; // the last one
AlertStdAlertParamRec sParam = {};
OSErr sResult = noErr;
SInt16 sItem = 0; // 0: left as the caller preset it

std::string TextOf(ConstStringPtr pascal)
{
    return pascal == nullptr ? "null"
                             : std::string(reinterpret_cast<const char*>(pascal + 1), pascal[0]);
}

} // namespace

OSErr StandardAlert(AlertType type,
                    ConstStr255Param message,
                    ConstStr255Param explanation,
                    const AlertStdAlertParamRec* param,
                    SInt16* itemHit)
{
    sCall = std::to_string(type) + " '" + TextOf(message) + "' '" + TextOf(explanation)
        + "' ok=" + TextOf(param->defaultText) + " cancel=" + TextOf(param->cancelText)
        + " preset=" + std::to_string(*itemHit);
    sParam = *param;
    if (sResult == noErr && sItem != 0)
        *itemHit = sItem;
    return sResult;
}

namespace {

TEST(AlertsTest, LengthByteWrapsAt256)
{
    unsigned char buffer[512] = {};
    const std::pair<size_t, int> rows[]
        = { { 0, 0 }, { 5, 5 }, { 255, 255 }, { 256, 0 }, { 300, 44 } };
    for (const auto& [characters, length] : rows) {
        memset(buffer, 0, sizeof buffer);
        memset(buffer + 1, 'x', characters);
        EXPECT_EQ(SetPascalLength(buffer), buffer);
        EXPECT_EQ(buffer[0], length) << characters;
    }
}

TEST(AlertsTest, AsksAndAnswers)
{
    const char kYesNo[] = "2 'Close?' 'Lost.' ok=No cancel=Yes preset=2";
    const char kOk[] = "2 'Close?' 'Lost.' ok=Ok cancel=null preset=2";
    const struct
    {
        int askYesNo;
        OSErr status;
        SInt16 item;
        int result;
        const char* call;
        SInt16 defaultButton;
    } rows[] = {
        { 1, noErr, 2, 1, kYesNo, 2 }, // Yes
        { 1, noErr, 1, 0, kYesNo, 2 }, // No
        { 7, noErr, 2, 1, kYesNo, 2 },
        { 1, memFullErr, 0, 0, kYesNo, 2 }, // nothing shown: not the preset item
        { 0, noErr, 1, 0, kOk, 1 },
        { 0, memFullErr, 0, 0, kOk, 1 },
    };
    for (const auto& row : rows) {
        sResult = row.status;
        sItem = row.item;
        EXPECT_EQ(ShowAlert("Lost.", "Close?", row.askYesNo), row.result) << row.call << row.item;
        EXPECT_EQ(sCall, row.call);
        EXPECT_EQ(sParam.defaultButton, row.defaultButton);
        EXPECT_EQ(sParam.cancelButton, 0);
        EXPECT_TRUE(!sParam.movable && !sParam.helpButton && sParam.position == 0);
        EXPECT_TRUE(sParam.filterProc == nullptr && sParam.otherText == nullptr);
    }
}

TEST(AlertsTest, CutsTextsToTheirBuffers)
{
    ShowAlert(std::string(5000, 'e').c_str(), std::string(5000, 'm').c_str(), 0);
    // Of 510 characters, 510 modulo 256 are shown.
    EXPECT_EQ(sCall,
              "2 '" + std::string(126, 'm') + "' '" + std::string(254, 'e')
                  + "' ok=Ok cancel=null preset=2");
    ShowAlert(nullptr, "", 0);
    EXPECT_EQ(sCall, "2 '' '' ok=Ok cancel=null preset=2");
}

} // namespace
