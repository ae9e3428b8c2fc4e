// SPDX-License-Identifier: MIT
// AboutBox_test.cpp - every call that the box makes, in order.
#include "tests/support/FailingNew.h"
#include "tests/ui/ToolboxDouble.h"
#include "ui/AboutBox.h"

#include <algorithm>
#include <gtest/gtest.h>

using namespace Veltrano;

namespace {

class AboutBoxTest : public testing::Test
{
protected:
    AboutBoxTest() { gToolbox = ToolboxDouble(); }

    /// Runs a box to its end; what it wrote to standard error is in m_errors.
    int Run(ProductRecord* product, const char* text, int lightStyle, SInt16 pictureId = 128)
    {
        testing::internal::CaptureStderr();
        const int result = (new AboutBox(product, CFBundleGetMainBundle(), pictureId,
                                         ParentWindow(), text, lightStyle))
                               ->run();
        m_errors = testing::internal::GetCapturedStderr();
        return result;
    }

    bool WasCalled(const std::string& call) const
    {
        const auto& calls = gToolbox.calls;
        return std::find(calls.begin(), calls.end(), call) != calls.end();
    }

    ProductRecord m_product = { { 1, 2 }, "Product 3.2" };
    std::string m_errors;
};

TEST_F(AboutBoxTest, MakesItsCallsInOrder)
{
    char text[] = "Licensed to Ada";
    gToolbox.fontStyle.flags = 0x48;
    EXPECT_EQ(Run(&m_product, text, 1, -3), 1);
    EXPECT_EQ(gToolbox.Transcript(), R"(CreateNibReferenceWithCFBundle bundle about
CreateWindowFromNib AboutDlg
DisposeNibReference
CurResFile
CFBundleOpenBundleResourceMap host
UseResFile 9
GetPicture -3
GetControlByID box pict 1
GetControlByID box butn 0
GetControlByID box pver 1
GetControlByID box pver 2
SetThemeWindowBackground box -1 1
GetControlDataSize pver1 0 font
GetControlData pver1 0 font 24
SetControlData pver1 0 font flags 48 color BFFF BFFF BFFF
GetControlDataSize pver2 0 font
GetControlData pver2 0 font 24
SetControlData pver2 0 font flags 48 color BFFF BFFF BFFF
SetControlData pver1 0 text Product 3.2
ShowControl pver1
SetControlData pver2 0 text Licensed to Ada
ShowControl pver2
GetWindowEventTarget box
InstallEventHandler forgotten cmds1 wind73
SetControlData pict1 6 pich picture
EmbedControl butn0 pict1
EmbedControl pver1 pict1
EmbedControl pver2 pict1
SetControlData butn0 10 dflt true
DrawControls box
GetWindowClass parent
SetWindowClass box 6
SetWindowModality box 3 parent
BringToFront box
ShowWindow box
NewRgn
GetWindowRegion parent 32
GetRegionBounds
DisposeRgn
NewRgn
GetWindowRegion box 32
GetRegionBounds
DisposeRgn
MoveWindow box 278 160 1
RunAppModalLoopForWindow box
GetEventParameter hcmd
QuitAppModalLoopForWindow box
HideWindow box
HideWindow box
DisposeWindow box
GetEventParameter wind
ReleaseResource picture
UseResFile 5
CFBundleCloseBundleResourceMap host 9
BringToFront parent
disposed
)");
    EXPECT_EQ(m_errors,
              "StaticText_updateText: Product 3.2\nStaticText_updateText: Licensed to Ada\n");
}

TEST_F(AboutBoxTest, KeepsACopyOfTheTextButReadsTheVersionLate)
{
    char text[] = "first";
    testing::internal::CaptureStderr();
    auto* box = new AboutBox(&m_product, CFBundleGetMainBundle(), 128, ParentWindow(), text, 0);
    text[0] = 'X';
    m_product.versionText = "late";
    box->run();
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "StaticText_updateText: late\nStaticText_updateText: first\n");
    EXPECT_TRUE(WasCalled("SetThemeWindowBackground box -2 1"));
    EXPECT_TRUE(WasCalled("SetControlData pver1 0 font flags 0 color 0 0 0"));
}

TEST_F(AboutBoxTest, HidesTheLinesThatHaveNoText)
{
    m_product.versionText = nullptr;
    EXPECT_EQ(Run(&m_product, nullptr, 0), 1);
    EXPECT_EQ(m_errors, "StaticText_updateText: null\nStaticText_updateText: null\n");
    EXPECT_TRUE(WasCalled("HideControl pver1"));
    EXPECT_TRUE(WasCalled("HideControl pver2"));
    EXPECT_EQ(Run(nullptr, "", 0), 1); // no record at all: no version line
    EXPECT_EQ(m_errors, "StaticText_updateText: null\nStaticText_updateText: \n");
}

TEST_F(AboutBoxTest, GoesOnWithoutPictureAndLeavesSmallFontDataAlone)
{
    gToolbox.hasPicture = false;
    gToolbox.fontDataSize = 23;
    EXPECT_EQ(Run(&m_product, "x", 1), 1);
    for (const std::string& call : gToolbox.calls) {
        EXPECT_EQ(call.find("pich"), std::string::npos) << call;
        EXPECT_EQ(call.find("GetControlData "), std::string::npos) << call;
    }
    EXPECT_TRUE(WasCalled("ReleaseResource null"));
}

// The copy of the text, then the font data of each line: what cannot be had is left out, the box runs on.
TEST_F(AboutBoxTest, EveryFailingAllocationLeavesOneThingOut)
{
    const char* const missing[]
        = { "SetControlData pver2 0 text x", "SetControlData pver1 0 font flags 0 color 0 0 0",
            "SetControlData pver2 0 font flags 0 color 0 0 0", nullptr };
    for (int n = 1; n <= 4; ++n) {
        gToolbox = ToolboxDouble();
        const size_t nRow = static_cast<size_t>(n - 1);
        FailingNew::Fail(n);
        EXPECT_EQ(Run(&m_product, "x", 0), 1) << n;
        EXPECT_EQ(FailingNew::Stop(), n < 4) << n;
        for (size_t i = 0; i < 3; ++i)
            EXPECT_EQ(WasCalled(missing[i]), i != nRow) << n << ": " << missing[i];
        EXPECT_TRUE(WasCalled("CFBundleCloseBundleResourceMap host 9") && WasCalled("disposed"))
            << n;
    }
}

TEST_F(AboutBoxTest, EndsWithoutAWindow)
{
    for (const bool hasNib : { false, true }) {
        gToolbox = ToolboxDouble();
        gToolbox.nibResult = hasNib ? 0 : static_cast<OSStatus>(kIBCarbonRuntimeCantFindNibFile);
        gToolbox.hasWindow = false;
        EXPECT_EQ(Run(&m_product, "x", 0), 1);
        EXPECT_EQ(
            gToolbox.Transcript(),
            hasNib ? "CreateNibReferenceWithCFBundle bundle about\nCreateWindowFromNib AboutDlg\n"
                     "DisposeNibReference\nBringToFront parent\n"
                   : "CreateNibReferenceWithCFBundle bundle about\nBringToFront parent\n");
    }
}

TEST_F(AboutBoxTest, CentresWithHalvesTowardsZero)
{
    const struct
    {
        int parentLeft, parentWidth, boxWidth, expected;
    } rows[] = {
        { 100, 447, 444, 101 }, // 3 wider: 1 right of the parent's edge
        { 100, 441, 444, 99 }, // 3 narrower: 1 left of it
        { -50, 440, 444, -52 },
    };
    for (const auto& row : rows) {
        gToolbox = ToolboxDouble();
        const auto left = static_cast<SInt16>(row.parentLeft);
        gToolbox.parentBounds
            = { 0, left, 100, static_cast<SInt16>(row.parentLeft + row.parentWidth) };
        gToolbox.boxBounds = { 0, 0, 100, static_cast<SInt16>(row.boxWidth) };
        Run(&m_product, nullptr, 0);
        EXPECT_TRUE(WasCalled("MoveWindow box " + std::to_string(row.expected) + " 0 1"))
            << row.parentWidth << "\n"
            << gToolbox.Transcript();
    }
}

TEST_F(AboutBoxTest, LeavesOtherEventsToThePlatform)
{
    gToolbox.modalLoop = [] {
        const size_t before = gToolbox.calls.size();
        EXPECT_EQ(gToolbox.Send('cmds', 1, 'ok  '), eventNotHandledErr);
        EXPECT_EQ(gToolbox.Send('cmds', 2, 'clos'), eventNotHandledErr);
        EXPECT_EQ(gToolbox.Send('wind', 72), eventNotHandledErr);
        EXPECT_EQ(gToolbox.Send('wind', 1), eventNotHandledErr);
        EXPECT_EQ(gToolbox.Send('mous', 73), eventNotHandledErr);
        for (size_t i = before; i < gToolbox.calls.size(); ++i)
            EXPECT_EQ(gToolbox.calls[i].find("GetEventParameter"), 0u) << gToolbox.calls[i];
        EXPECT_EQ(gToolbox.Send('cmds', 1, 'clos'), noErr);
        EXPECT_EQ(gToolbox.calls.back(), "HideWindow box");
        // The handler for the hiding event is the box's, but nobody has installed it.
        gToolbox.handler = AboutBox::HidingEventHandler;
        EXPECT_EQ(gToolbox.Send('wind', 25), eventNotHandledErr);
        EXPECT_EQ(gToolbox.Send('cmds', 23), eventNotHandledErr);
        EXPECT_EQ(gToolbox.Send('wind', 23), noErr);
        gToolbox.handler = AboutBoxEventHandler;
    };
    EXPECT_EQ(Run(&m_product, "x", 0), 1);
}

} // namespace
