// SPDX-License-Identifier: MIT
// Nib_test.cpp - windows from interface files, whole and damaged.
#include "tests/support/NibBundle.h"

#include <veltrano/HostWindow.h>

#include <QtGui/QScreen>
#include <QtWidgets/QAbstractButton>
#include <QtWidgets/QApplication>
#include <QtWidgets/QGroupBox>

#include <cstring>
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
        EXPECT_EQ(0, std::memcmp(&row.bounds, &bounds, sizeof bounds)) << row.id;
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
    const auto button = [](const char* title) {
        return NibOf(NibControl(1, "IBCarbonButton", "0 0 9 9 ", Text("title", title)));
    };
    std::string laughs = "<!DOCTYPE x [<!ENTITY a0 'haha'>";
    for (const char c : std::string("123456789")) {
        const std::string before = std::string("&a") + static_cast<char>(c - 1) + ";";
        laughs += std::string("<!ENTITY a") + c + " '" + before + before + before + before + "'>";
    }
    laughs += "]>" + Replaced(button("&a9;"), R"(<?xml version="1.0" standalone="yes"?>)", "");
    std::string wide = "\xFF\xFE";
    for (const char c : good)
        wide += std::string { c, '\0' };
    std::string attributes;
    for (int i = 0; i < 40000; ++i)
        attributes += "a" + std::to_string(i) + "='' ";
    std::string properties;
    for (int i = 0; i < 120000; ++i)
        properties += "<i name='" + std::to_string(i) + "'/>";
    struct Row
    {
        const char* name;
        std::string text;
        OSStatus result;
    };
    // clang-format off
    const Row rows[] = {
        { "whole", good, noErr },
        { "empty", "", kIBCarbonRuntimeCantFindNibFile },
        { "no XML", "bplist00\x01\x02", kIBCarbonRuntimeCantFindNibFile },
        { "cut", good.substr(0, good.size() - 20), kIBCarbonRuntimeCantFindNibFile },
        { "other root", Replaced(good, "IBCarbonFramework", "IBCocoaFramework"), kIBCarbonRuntimeCantFindNibFile },
        { "too deep", Nested(5000), kIBCarbonRuntimeCantFindNibFile },
        { "deep", Nested(20), noErr },
        { "no rectangle", Replaced(good, rectangle, "50 60 "), kIBCarbonRuntimeCantFindObject },
        { "rectangle out of range", Replaced(good, rectangle, "50 60 99999 260 "), kIBCarbonRuntimeCantFindObject },
        { "rectangle inside out", Replaced(good, rectangle, "150 60 50 260 "), kIBCarbonRuntimeCantFindObject },
        { "root missing", Replaced(good, "name=\"rootControl\"", "name=\"other\""), kIBCarbonRuntimeCantFindObject },
        { "name leads nowhere", Replaced(good, "idRef=\"10\"", "idRef=\"77\""), kIBCarbonRuntimeCantFindObject },
        { "reference in a circle", NibOf("<reference idRef=\"11\"/>"), noErr },
        { "dead reference", NibOf("<reference idRef=\"1234\"/>"), noErr },
        { "odd bounds", NibOf(NibControl(1, "IBCarbonButton", "-1 0 -1 0 ")), noErr },
        { "bad bounds", NibOf(NibControl(1, "IBCarbonButton", "one two")), noErr },
        { "raw control bytes", button("\x14"), noErr },
        { "bytes that are no text", button("\xFF"), noErr },
        { "an encoding", Replaced(button("\xE9"), "version=\"1.0\"", "version=\"1.0\" encoding=\"ISO-8859-1\""), noErr
          },
        { "a false encoding", Replaced(good, "version=\"1.0\"", "version=\"1.0\" encoding=\"UTF-16\""), noErr },
        { "byte-order mark", "\xEF\xBB\xBF" + good, noErr },
        { "two bytes a character", wide, noErr },
        { "many attributes", NibOf("<object " + attributes + "/>"), kIBCarbonRuntimeCantFindNibFile },
        { "many properties", NibOf(properties), kIBCarbonRuntimeCantFindNibFile },
        { "a window that no screen holds", Replaced(good, rectangle, "0 0 32767 32767 "), kIBCarbonRuntimeCantFindObject },
        { "entities", laughs, kIBCarbonRuntimeCantFindNibFile },
        { "a document type", Replaced(good, "<object", "<!DOCTYPE object SYSTEM 'file:///etc/passwd'><object"), noErr
          },
        { "huge numbers", NibOf("<object class=\"IBCarbonButton\" id=\"99999999999999\">" + Number("controlID", 0) +
          "</object>", Text("themeBrush", "9e99")), noErr },
        { "the same id twice", NibOf(NibControl(11, "IBCarbonUserPane", "0 0 9 9 ")), noErr },
        { "root by reference", Replaced(Replaced(good, "<object name=\"rootControl\"", "<object name=\"first\""),
          rectangle + "</string>", rectangle + "</string><reference name=\"rootControl\" idRef=\"11\"/>"), noErr },
        { "no names", Replaced(good, "nameTable", "other"), kIBCarbonRuntimeCantFindObject },
        { "a menu", Replaced(good, "IBCarbonWindow", "IBCarbonMenu"), kIBCarbonRuntimeObjectNotOfRequestedType },
    };
    // clang-format on
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

namespace {

QWidget* WidgetOf(WindowRef window)
{
    CFStringRef title = nullptr;
    CopyWindowTitleAsCFString(window, &title);
    QWidget* found = nullptr;
    for (QWidget* widget : QApplication::topLevelWidgets()) {
        const bool is
            = widget->windowTitle() == CFStringGetCStringPtr(title, kCFStringEncodingUTF8);
        found = is && !widget->parent() ? widget : found;
    }
    CFRelease(title);
    return found;
}

/// What a user sees of a window's first control, and its font record: kind, text, pixels; flags, font, just.
std::string Described(const TestWindow& window)
{
    const auto* control
        = WidgetOf(window)->findChild<QWidget*>(QString(), Qt::FindDirectChildrenOnly);
    QStringList words { QString::fromLatin1(control->metaObject()->className()) };
    if (const auto* button = qobject_cast<const QAbstractButton*>(control))
        words << button->text();
    else if (const auto* box = qobject_cast<const QGroupBox*>(control))
        words << box->title();
    else
        words << control->accessibleName();
    ControlFontStyleRec style {};
    const bool hasFont
        = GetControlData(window.Control(1), 0, 'font', sizeof style, &style, nullptr) == noErr;
    words << (hasFont ? QString::number(control->font().pixelSize()) : QString());
    words << (control->isEnabled() ? "" : "disabled") << (control->isHidden() ? "hidden" : "");
    words << control->toolTip().remove(QStringLiteral("<p>")).remove(QStringLiteral("</p>"));
    if (hasFont && style.flags != 0)
        words << QStringLiteral("%1/%2/%3").arg(style.flags).arg(style.font).arg(style.just);
    words.removeAll(QString());
    return words.join(u' ').toStdString();
}

} // namespace

TEST(Nib, EveryClassOfControlWithItsProperties)
{
    const std::string title = Text("title", "A &amp; B");
    // clang-format off
    const struct
    {
        const char* className; // after IBCarbon
        std::string properties;
        const char* seen;
        const char* bounds = "10 10 30 90 ";
    } rows[] = {
        { "Button", title, "QPushButton A && B 13" },
        { "Button", Truth("enabled", false) + Truth("small", true), "QPushButton 11 disabled 1/-2/0" },
        { "Button", Truth("hidden", true) + Number("contentType", 4) + Number("contentResID", 9),
          "QPushButton 13 hidden" },
        { "Button", Number("controlSize", 2) + Text("helpTagText", "what"), "QPushButton 13 what" },
        { "StaticText", title, "QTextEdit A & B 13" },
        { "StaticText", Text("title", "<![CDATA[a<b]]> &#10;"), "QTextEdit a<b \n 13" },
        { "StaticText", Number("controlSize", 3) + Number("justification", -1), "QTextEdit 9 65/-5/-1" },
        { "StaticText", Number("controlSize", 0) + Truth("small", true), "QTextEdit 13" },
        { "StaticText", Number("fontStyle", 2) + Number("justification", 1), "QTextEdit 11 192/2/1" },
        { "StaticText", Number("fontStyle", -3) + Text("foreColor", "1 2 3 "), "QTextEdit 11 9/-3/0" },
        { "StaticText", Text("helpTagExtendedText", "more") + Truth("enabled", false), "QTextEdit 13 disabled more" },
        { "GroupBox", title + Truth("primary", false), "QGroupBox A && B 13" },
        { "GroupBox", Number("titleType", 1) + Number("initialState", 1), "QGroupBox 13" },
        { "Separator", "", "QFrame" },
        { "Picture", Number("contentResID", 9) + Truth("dontTrack", false), "QWidget" },
        { "Icon", Number("contentType", 1) + Number("contentResID", -9), "QWidget" },
        { "ImageView", Text("image", "none.png") + "<float name=\"alpha\">0.5</float>", "QWidget" },
        { "UserPane", Number("featureBits", 2), "QWidget" },
        { "CheckBox", title + Number("initialState", 1), "QWidget A & B" }, // nobody could read what is chosen
        { "HIView", Text("classID", "x") + "<dictionary name=\"auxiliaryDictionary\"/>", "QWidget" },
        { "SomethingNew", title, "QWidget A & B" },
        { "Button", Text("viewFrame", "1.5 2 3 4 ") + Number("helpTagDisplaySide", 5), "QPushButton 13", "-1 0 -1 0 "
          },
    };
    // clang-format on
    for (const auto& row : rows) {
        const TestWindow window(NibOf(
            NibControl(1, std::string("IBCarbon") + row.className, row.bounds, row.properties),
            Text("title", "Test")));
        ASSERT_TRUE(window.ref) << row.className;
        EXPECT_EQ(row.seen, Described(window)) << row.className << row.properties;
    }
}

TEST(Nib, WhatHoldsOthersShowsAndHidesThem)
{
    const std::string button = NibControl(2, "IBCarbonButton", "20 20 40 80 ",
                                          "<ostype name=\"command\">\xE2\x80\xA2ok </ostype>");
    const TestWindow window(NibOf(
        NibControl(1, "IBCarbonGroupBox", "10 10 90 190 ", Truth("hidden", true) + Inside(button))
        + NibControl(6, "IBCarbonSomethingNew", "0 0 9 9 ",
                     Inside(NibControl(7, "IBCarbonRadioButton", "1 1 8 8 ")))));
    EXPECT_FALSE(IsControlVisible(window.Control(2))); // in the hidden box
    ShowControl(window.Control(1));
    EXPECT_TRUE(IsControlVisible(window.Control(2)));
    Rect bounds {};
    EXPECT_EQ(20,
              GetControlBounds(window.Control(2), &bounds)->left); // of the window, at any depth
    UInt32 command = 0;
    GetControlCommandID(window.Control(2), &command);
    EXPECT_EQ(0xA56F6B20u, command); // MacRoman
    EXPECT_TRUE(window.Control(7)); // inside an unknown one
}

TEST(Nib, WindowsStandWhereTheyAskInTheFrameOfTheirClass)
{
    StartToolbox();
    const QRect room = QGuiApplication::primaryScreen()->availableGeometry();
    const QPoint own(60, 50);
    const QPoint middle((room.width() - 200) / 2, (room.height() - 100) / 2);
    const char* const far = "20000 -900 20100 -700 ";
    const struct
    {
        std::string properties;
        QPoint at;
        bool hasTitle = true;
        const char* rectangle = "50 60 150 260 ";
    } rows[] = {
        { Truth("hasCollapseBox", true) + Truth("isResizable", true), own },
        { Number("windowPosition", 1), middle },
        { Number("windowPosition", 3) + Number("themeBrush", 49), middle },
        { Number("windowPosition", 7), { middle.x(), (room.height() - 100) / 3 } },
        { Number("windowPosition", 4), { 20, 22 } },
        { Number("windowPosition", 77), own },
        { "", { 0, room.height() - 100 }, true, far },
        { Truth("isConstrained", false), { -900, 20000 }, true, far },
        { Number("carbonWindowClass", 4), own },
        { Number("carbonWindowClass", 13) + Truth("compositing", true), own, false },
    };
    Rect content {};
    for (const auto& row : rows) {
        SCOPED_TRACE(row.properties + row.rectangle);
        const TestWindow window(Replaced(NibOf("", row.properties + Text("title", "Frame")),
                                         "50 60 150 260 ", row.rectangle));
        GetWindowBounds(window, kWindowContentRgn, &content);
        EXPECT_EQ(row.at, QPoint(content.left, content.top));
        const QWidget* widget = WidgetOf(window);
        EXPECT_EQ(row.hasTitle, widget->windowFlags().testFlag(Qt::WindowTitleHint));
        EXPECT_FALSE(widget->windowFlags() & Qt::WindowMinMaxButtonsHint);
        EXPECT_EQ(widget->minimumSize(), widget->maximumSize());
    }
    const TestWindow first(NibOf("", Number("windowPosition", 4)));
    const TestWindow second(NibOf("", Number("windowPosition", 4)));
    GetWindowBounds(second, kWindowContentRgn, &content);
    EXPECT_EQ(QPoint(40, 44), QPoint(content.left, content.top));
    ShowWindow(second);
    GetWindowBounds(second, kWindowContentRgn, &content);
    const TestWindow over(NibOf("", Number("windowPosition", 2)));
    Rect centred {};
    GetWindowBounds(over, kWindowContentRgn, &centred);
    EXPECT_EQ(0, std::memcmp(&content, &centred, sizeof centred)); // as large as its parent
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
