// SPDX-License-Identifier: MIT
// Alerts_test.cpp - what the two forms of alert ask of the toolbox, and what they make of its
// answer.
#include "tests/ui/ToolboxDouble.h"
#include "ui/Alerts.h"

#include <cstring>
#include <gtest/gtest.h>

using namespace Veltrano;

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
    const char kYesNo[] = "StandardAlert 2 'Close?' 'Lost.' ok=No cancel=Yes preset=2\n";
    const char kOk[] = "StandardAlert 2 'Close?' 'Lost.' ok=Ok cancel=null preset=2\n";
    const struct
    {
        int askYesNo;
        OSStatus status;
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
        gToolbox = ToolboxDouble();
        gToolbox.alertResult = row.status;
        gToolbox.alertItem = row.item;
        EXPECT_EQ(ShowAlert("Lost.", "Close?", row.askYesNo), row.result) << row.call << row.item;
        EXPECT_EQ(gToolbox.Transcript(), row.call);
        const AlertStdAlertParamRec& param = gToolbox.alertParam;
        EXPECT_EQ(param.defaultButton, row.defaultButton);
        EXPECT_EQ(param.cancelButton, 0);
        EXPECT_EQ(param.movable, 0);
        EXPECT_EQ(param.helpButton, 0);
        EXPECT_EQ(param.filterProc, nullptr);
        EXPECT_EQ(param.otherText, nullptr);
        EXPECT_EQ(param.position, 0);
    }
}

TEST(AlertsTest, CutsTextsToTheirBuffers)
{
    gToolbox = ToolboxDouble();
    ShowAlert(std::string(5000, 'e').c_str(), std::string(5000, 'm').c_str(), 0);
    // Of 510 characters, 510 modulo 256 are shown.
    EXPECT_EQ(gToolbox.calls.at(0),
              "StandardAlert 2 '" + std::string(126, 'm') + "' '" + std::string(254, 'e')
                  + "' ok=Ok cancel=null preset=2");

    gToolbox = ToolboxDouble();
    ShowAlert(nullptr, "", 0);
    EXPECT_EQ(gToolbox.Transcript(), "StandardAlert 2 '' '' ok=Ok cancel=null preset=2\n");
}

} // namespace
