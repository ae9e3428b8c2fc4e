// SPDX-License-Identifier: MIT
// Nib_test.cpp - windows from interface files, whole and damaged.
#include "tests/support/NibBundle.h"

#include <veltrano/HostWindow.h>

#include <QtCore/QCoreApplication>

#include <gtest/gtest.h>
#include <unistd.h>

namespace {

std::string Replaced(std::string text, const std::string& from, const std::string& to)
{
    const auto at = text.find(from);
    EXPECT_NE(std::string::npos, at) << from;
    return text.replace(at, from.size(), to);
}

std::string Nested(int depth)
{
    std::string open;
    std::string close;
    for (int i = 0; i < depth; ++i) {
        open += "<object class=\"IBCarbonUserPane\"><array name=\"subviews\">";
        close += "</array></object>";
    }
    return NibOf(open + close);
}

} // namespace

TEST(Nib, TheExampleBecomesAHiddenWindow)
{
    const TestWindow window(ExampleNib(), "AboutDlg");
    ASSERT_TRUE(window.ref);
    EXPECT_FALSE(IsWindowVisible(window));
    WindowClass windowClass = 0;
    GetWindowClass(window, &windowClass);
    EXPECT_EQ(UInt32 { kMovableModalWindowClass }, windowClass);
    CFStringRef title = nullptr;
    ASSERT_EQ(noErr, CopyWindowTitleAsCFString(window, &title));
    EXPECT_STREQ("About this module", CFStringGetCStringPtr(title, kCFStringEncodingUTF8));
    CFRelease(title);
    Rect content {};
    GetWindowBounds(window, kWindowContentRgn, &content);
    EXPECT_EQ(440, content.right - content.left);
    EXPECT_EQ(260, content.bottom - content.top);
    EXPECT_NE(160, content.left); // windowPosition 1: in the middle of the screen instead

    struct Row
    {
        OSType signature;
        SInt32 id;
        Rect bounds;
        UInt32 command;
        const char* text; // null: not a text
        SInt16 flags;
    };
    const Row rows[] = { { 'pict', 1, { 0, 0, 260, 440 }, 0, nullptr, 0 },
                         { 'pver', 1, { 176, 20, 192, 420 }, 0, "Version line goes here", 0x48 },
                         { 'pver', 2, { 198, 20, 211, 420 }, 0, "Extra line goes here", 0x49 },
                         { 'butn', 0, { 226, 350, 246, 420 }, 'clos', nullptr, 0 } };
    for (const Row& row : rows) {
        const ControlRef control = window.Control(row.id, row.signature);
        ASSERT_TRUE(control) << row.id;
        Rect bounds {};
        GetControlBounds(control, &bounds);
        EXPECT_EQ(row.bounds.top, bounds.top);
        EXPECT_EQ(row.bounds.left, bounds.left);
        EXPECT_EQ(row.bounds.bottom, bounds.bottom);
        EXPECT_EQ(row.bounds.right, bounds.right);
        UInt32 command = 1;
        GetControlCommandID(control, &command);
        EXPECT_EQ(row.command, command);
        EXPECT_TRUE(IsControlVisible(control));
        if (row.text) {
            char text[64] = {};
            ControlFontStyleRec style {};
            GetControlData(control, 0, 'text', 63, text, nullptr);
            GetControlData(control, 0, 'font', sizeof style, &style, nullptr);
            EXPECT_STREQ(row.text, text);
            EXPECT_EQ(row.flags, style.flags);
        }
    }
    Boolean isDefault = false;
    GetControlData(window.Control(0, 'butn'), 0, 'dflt', sizeof isDefault, &isDefault, nullptr);
    EXPECT_TRUE(isDefault);
}

TEST(Nib, NamesThatLeadToNoWindow)
{
    const NibBundle bundle(ExampleNib());
    WindowRef window = nullptr;
    EXPECT_EQ(kIBCarbonRuntimeCantFindObject, bundle.Open("Nobody", &window));
    EXPECT_EQ(kIBCarbonRuntimeObjectNotOfRequestedType, NibBundle(NibOf("")).Open("Root", &window));
    IBNibRef nib = nullptr;
    EXPECT_EQ(kIBCarbonRuntimeCantFindNibFile,
              CreateNibReferenceWithCFBundle(bundle.Bundle(), CFSTR("nothing"), &nib));
    EXPECT_EQ(paramErr, CreateNibReferenceWithCFBundle(nullptr, CFSTR("test"), &nib));
    EXPECT_EQ(paramErr, CreateNibReferenceWithCFBundle(bundle.Bundle(), nullptr, &nib));
    EXPECT_EQ(paramErr, CreateNibReferenceWithCFBundle(bundle.Bundle(), CFSTR("test"), nullptr));
    EXPECT_EQ(paramErr, CreateWindowFromNib(nullptr, CFSTR("Test"), &window));
    EXPECT_EQ(nullptr, window);
    EXPECT_EQ(nullptr, nib);
    DisposeNibReference(nullptr);
}

TEST(Nib, DamagedFilesGiveAnErrorAndNoWindow)
{
    const std::string good = NibOf("");
    const std::string rectangle = "50 60 150 260 ";
    struct Row
    {
        const char* name;
        std::string text;
        OSStatus result;
    };
    const Row rows[] = {
        { "whole", good, noErr },
        { "empty", "", kIBCarbonRuntimeCantFindNibFile },
        { "no XML", "bplist00\x01\x02", kIBCarbonRuntimeCantFindNibFile },
        { "cut", good.substr(0, good.size() - 20), kIBCarbonRuntimeCantFindNibFile },
        { "other root", Replaced(good, "IBCarbonFramework", "IBCocoaFramework"),
          kIBCarbonRuntimeCantFindNibFile },
        { "too deep", Nested(5000), kIBCarbonRuntimeCantFindNibFile },
        { "deep", Nested(20), noErr },
        { "no rectangle", Replaced(good, rectangle, "50 60 "), kIBCarbonRuntimeCantFindObject },
        { "rectangle out of range", Replaced(good, rectangle, "50 60 99999 260 "),
          kIBCarbonRuntimeCantFindObject },
        { "rectangle inside out", Replaced(good, rectangle, "150 60 50 260 "),
          kIBCarbonRuntimeCantFindObject },
        { "root missing", Replaced(good, "name=\"rootControl\"", "name=\"other\""),
          kIBCarbonRuntimeCantFindObject },
        { "name leads nowhere", Replaced(good, "idRef=\"10\"", "idRef=\"77\""),
          kIBCarbonRuntimeCantFindObject },
        { "reference in a circle", NibOf("<reference idRef=\"11\"/>"), noErr },
        { "dead reference", NibOf("<reference idRef=\"1234\"/>"), noErr },
        { "odd bounds", NibOf(NibControl(1, "IBCarbonButton", "-1 0 -1 0 ")), noErr },
        { "bad bounds", NibOf(NibControl(1, "IBCarbonButton", "one two")), noErr },
        { "raw control bytes",
          NibOf(
              NibControl(1, "IBCarbonButton", "0 0 9 9 ", "<string name=\"title\">\x14</string>")),
          noErr },
        { "bytes that are no text",
          NibOf(
              NibControl(1, "IBCarbonButton", "0 0 9 9 ", "<string name=\"title\">\xFF</string>")),
          noErr },
    };
    for (const Row& row : rows) {
        WindowRef window = nullptr;
        EXPECT_EQ(row.result, NibBundle(row.text).Open("Test", &window)) << row.name;
        EXPECT_EQ(row.result == noErr, window != nullptr) << row.name;
        DisposeWindow(window);
    }
}

TEST(Nib, EveryPrefixOfAFileIsRefusedOrRead)
{
    const std::string good = ExampleNib();
    for (std::size_t size = 0; size < good.size(); size += 37) {
        WindowRef window = nullptr;
        EXPECT_NE(noErr, NibBundle(good.substr(0, size)).Open("AboutDlg", &window));
        EXPECT_EQ(nullptr, window);
    }
}

TEST(Nib, PropertiesOfControls)
{
    const std::string inner = NibControl(2, "IBCarbonButton", "20 20 40 80 ");
    const TestWindow window(NibOf(
        NibControl(
            1, "IBCarbonGroupBox", "10 10 90 190 ",
            "<string name=\"title\">A &amp; B</string><boolean name=\"hidden\">TRUE</boolean>"
            "<array name=\"subviews\">"
                + inner + "</array>")
        + NibControl(
            3, "IBCarbonButton", "0 0 20 50 ",
            "<ostype name=\"command\">what</ostype><boolean name=\"enabled\">FALSE</boolean>")
        + NibControl(4, "IBCarbonStaticText", "0 60 20 99 ", "<int name=\"controlSize\">3</int>")
        + NibControl(5, "IBCarbonStaticText", "0 60 20 99 ", "<int name=\"fontStyle\">2</int>")
        + NibControl(6, "IBCarbonSomethingNew", "0 0 9 9 ",
                     "<array name=\"subviews\">" + NibControl(7, "IBCarbonRadioButton", "1 1 8 8 ")
                         + "</array>")
        + "<object class=\"IBCarbonTab\"><string name=\"bounds\">0 0 90 90 </string>"
          "<array name=\"tabItems\"><object class=\"IBCarbonTabItem\"/>"
          "<object class=\"IBCarbonTabItem\"/></array><array name=\"subviews\">"
        + NibControl(8, "IBCarbonUserPane", "20 0 90 90 ")
        + NibControl(9, "IBCarbonUserPane", "20 0 90 90 ") + "</array></object>"));
    EXPECT_FALSE(IsControlVisible(window.Control(1)));
    EXPECT_FALSE(IsControlVisible(window.Control(2))); // in the hidden box
    ShowControl(window.Control(1));
    EXPECT_TRUE(IsControlVisible(window.Control(2)));
    Rect bounds {};
    GetControlBounds(window.Control(2), &bounds);
    EXPECT_EQ(20, bounds.left); // of the window, at any depth

    int commands = 0;
    const Handler handler(GetWindowEventTarget(window),
                          { { kEventClassCommand, kEventCommandProcess } }, [&](EventRef) {
                              ++commands;
                              return noErr;
                          });
    HIViewPartCode part = 1;
    EXPECT_EQ(noErr, HIViewSimulateClick(window.Control(3), 0, 0, &part));
    EXPECT_EQ(0, part);
    EXPECT_EQ(0, commands); // disabled

    ControlFontStyleRec style {};
    GetControlData(window.Control(4), 0, 'font', sizeof style, &style, nullptr);
    EXPECT_EQ(kControlUseFontMask, style.flags);
    EXPECT_EQ(kControlFontMiniSystemFont, style.font);
    GetControlData(window.Control(5), 0, 'font', sizeof style, &style, nullptr);
    EXPECT_EQ(kControlUseThemeFontIDMask, style.flags);
    EXPECT_EQ(2, style.font);
    EXPECT_TRUE(window.Control(7)); // inside what is not known
    EXPECT_TRUE(IsControlVisible(window.Control(8)));
    EXPECT_FALSE(IsControlVisible(window.Control(9))); // behind the other tab
}

// Qt would end the process where it cannot start; the API says so instead. Each row is a process of its own.
TEST(NibDeathTest, AProcessThatCanShowNothing)
{
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    const auto attempt = [](const char* platform, const char* display) {
        unsetenv("WAYLAND_DISPLAY");
        platform ? setenv("QT_QPA_PLATFORM", platform, 1) : unsetenv("QT_QPA_PLATFORM");
        display ? setenv("DISPLAY", display, 1) : unsetenv("DISPLAY");
        WindowRef window = nullptr;
        SInt16 hit = 77;
        const unsigned char text[] = "\4Text";
        const bool ok = NibBundle(NibOf("")).Open("Test", &window) == windowWrongStateErr && !window
            && StandardAlert(kAlertCautionAlert, text, text, nullptr, &hit) == windowWrongStateErr
            && hit == 77 && !CreateWindowRefWithX11Window(1)
            && InstallEventLoopTimer(
                   GetMainEventLoop(), 0, 0, [](EventLoopTimerRef, void*) {}, nullptr, nullptr)
                == windowWrongStateErr;
        _exit(ok ? 0 : 1);
    };
    const auto done = testing::ExitedWithCode(0);
    EXPECT_EXIT(attempt(nullptr, nullptr), done, "");
    EXPECT_EXIT(attempt(nullptr, ":987"), done, "");
    EXPECT_EXIT(attempt("wayland", nullptr), done, "");
    EXPECT_EXIT(attempt("nonsense", nullptr), done, "");
    const auto otherKind = [&] {
        static int count = 1;
        static char name[] = "host";
        static char* arguments[] = { name, nullptr };
        const QCoreApplication application(count, arguments);
        attempt("offscreen", nullptr);
    };
    EXPECT_EXIT(otherKind(), done, "");
}
