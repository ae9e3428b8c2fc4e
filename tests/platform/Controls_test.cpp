// SPDX-License-Identifier: MIT
// Controls_test.cpp - controls: data by tag, nesting, visibility, and what the user sees and
// copies.
#include "tests/support/NibBundle.h"
#include "tools/PictureWriter.h"
#include "tools/ResourceWriter.h"

#include <QtGui/QAccessible>
#include <QtGui/QClipboard>
#include <QtTest/QTest>
#include <QtWidgets/QApplication>
#include <QtWidgets/QToolTip>

#include <cstring>
#include <gtest/gtest.h>

namespace {

enum { kPicture = 1, kButton, kText, kColoredText, kPane, kGroupBox, kSeparator };

/// A window with one control of each kind.
struct Sample : TestWindow
{
    Sample()
        : TestWindow(NibOf(
            NibControl(kPicture, "IBCarbonPicture", "10 20 90 190 ")
                + NibControl(kButton, "IBCarbonButton", "60 100 80 180 ")
                + NibControl(kText, "IBCarbonStaticText", "20 30 36 180 ", Text("title", "plain"))
                + NibControl(kColoredText,
                             "IBCarbonStaticText",
                             "40 30 56 180 ",
                             Text("foreColor", "65535 0 0 ") + Truth("small", true)
                                 + Number("justification", 1))
                + NibControl(kPane, "IBCarbonUserPane", "5 5 95 195 ")
                + NibControl(kGroupBox, "IBCarbonGroupBox", "1 1 19 90 ")
                + NibControl(kSeparator, "IBCarbonSeparator", "95 0 96 200 "),
            Text("title", "Sample")))
    {
    }

    static QWidget* Top()
    {
        for (QWidget* widget : QApplication::topLevelWidgets()) {
            if (widget->windowTitle() == u"Sample")
                return widget;
        }
        return nullptr;
    }
    /// The widget that a screen reader knows by a name.
    static QWidget* Named(const char* name)
    {
        for (QWidget* widget : Top()->findChildren<QWidget*>()) {
            if (widget->accessibleName() == QString::fromUtf8(name))
                return widget;
        }
        return nullptr;
    }
    OSErr SetText(SInt32 id, const std::string& text) const
    {
        return SetControlData(Control(id), 0, 'text', static_cast<Size>(text.size()), text.data());
    }
    std::string GetText(SInt32 id) const
    {
        Size size = 0;
        EXPECT_EQ(noErr, GetControlDataSize(Control(id), 0, 'text', &size));
        std::string text(static_cast<std::size_t>(size), '?');
        EXPECT_EQ(noErr, GetControlData(Control(id), 0, 'text', size, text.data(), &size));
        return text;
    }
    ControlFontStyleRec GetFont(SInt32 id) const
    {
        ControlFontStyleRec style {};
        EXPECT_EQ(noErr, GetControlData(Control(id), 0, 'font', sizeof style, &style, nullptr));
        return style;
    }
};

} // namespace

TEST(Controls, EachKindKnowsItsTags)
{
    const Sample window;
    struct Row
    {
        SInt32 control;
        ResType tag;
        Size size; // 0: the tag is not known
    };
    const Row rows[] = {
        { kPicture, 'pich', sizeof(PicHandle) },
        { kPicture, 'font', 0 },
        { kPicture, 'text', 0 },
        { kButton, 'dflt', 1 },
        { kButton, 'cncl', 0 },
        { kButton, 'font', 24 },
        { kButton, 'text', 0 },
        { kButton, 'pich', 0 },
        { kText, 'text', 5 },
        { kText, 'font', 24 },
        { kText, 'dflt', 0 },
        { kPane, 'font', 0 },
        { kSeparator, 'font', 0 },
        { kGroupBox, 'font', 24 },
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(testing::Message() << row.control << " " << std::hex << row.tag);
        const ControlRef control = window.Control(row.control);
        Size size = -7;
        char buffer[64] = {};
        if (row.size == 0) {
            EXPECT_EQ(errDataNotSupported, GetControlDataSize(control, 0, row.tag, &size));
            EXPECT_EQ(errDataNotSupported, GetControlData(control, 0, row.tag, 64, buffer, &size));
            EXPECT_EQ(errDataNotSupported, SetControlData(control, 0, row.tag, 1, buffer));
            EXPECT_EQ(-7, size);
            continue;
        }
        EXPECT_EQ(noErr, GetControlDataSize(control, 6, row.tag, &size));
        EXPECT_EQ(row.size, size);
        EXPECT_EQ(noErr, GetControlData(control, 10, row.tag, 64, buffer, nullptr));
        if (row.tag != 'text') {
            EXPECT_EQ(errDataSizeMismatch,
                      SetControlData(control, 0, row.tag, row.size - 1, buffer));
            EXPECT_EQ(errDataSizeMismatch,
                      SetControlData(control, 0, row.tag, row.size + 1, buffer));
            EXPECT_EQ(errDataSizeMismatch,
                      GetControlData(control, 0, row.tag, row.size - 1, buffer, nullptr));
        }
        EXPECT_EQ(paramErr, SetControlData(control, 0, row.tag, row.size, nullptr));
    }
}

TEST(Controls, WhatIsNoControlIsRefused)
{
    const Sample window;
    EXPECT_EQ(errMessageNotSupported, HIViewSimulateClick(window.Control(kText), 0, 0, nullptr));
    EXPECT_EQ(noErr, HIViewSimulateClick(window.Control(kButton), 0, 0, nullptr)); // no command
    char other[64] = {};
    const std::pair<ControlRef, OSErr> rows[]
        = { { nullptr, paramErr },
            { reinterpret_cast<ControlRef>(other), controlHandleInvalidErr } };
    for (const auto& [control, error] : rows) {
        Size size = 0;
        EXPECT_EQ(error, SetControlData(control, 0, 'text', 1, "x"));
        EXPECT_EQ(error, GetControlData(control, 0, 'text', 0, nullptr, &size));
        EXPECT_EQ(error, GetControlDataSize(control, 0, 'text', &size));
        EXPECT_EQ(error, EmbedControl(control, window.Control(kPane)));
        EXPECT_EQ(error, EmbedControl(window.Control(kText), control));
        EXPECT_EQ(error, HIViewSimulateClick(control, 0, 0, nullptr));
        EXPECT_FALSE(IsControlVisible(control));
        HideControl(control);
        ShowControl(control);
    }
    ControlRef found = reinterpret_cast<ControlRef>(other);
    const ControlID unknown { 'test', 99 };
    EXPECT_EQ(errUnknownControl, GetControlByID(window, &unknown, &found));
    EXPECT_EQ(nullptr, found);
    found = reinterpret_cast<ControlRef>(other);
    EXPECT_EQ(errInvalidWindowRef, GetControlByID(nullptr, &unknown, &found));
    EXPECT_EQ(nullptr, found);
}

TEST(Controls, TextGoesInAndOutByteForByte)
{
    const Sample window;
    const std::string rows[] = { "",
                                 "Version 1.2",
                                 "caf\xC3\xA9 \xE6\x97\xA5",
                                 "bad \xFF\xFE bytes \xC3",
                                 std::string("zero\0inside", 11),
                                 "<b>no markup</b> &amp; no && mnemonics",
                                 "lines\r\nof\revery\nkind",
                                 std::string(100000, 'x') };
    for (const std::string& text : rows) {
        EXPECT_EQ(noErr, window.SetText(kText, text));
        EXPECT_EQ(text, window.GetText(kText));
    }
    window.SetText(kText, "a\xFF z");
    EXPECT_TRUE(Sample::Named("a\xEF\xBF\xBD z")); // bytes that are no text are shown as such
    window.SetText(kText, "abcdef");
    char cut[] = "......";
    Size actual = 0;
    EXPECT_EQ(noErr, GetControlData(window.Control(kText), 0, 'text', 3, cut, &actual));
    EXPECT_STREQ("abc...", cut);
    EXPECT_EQ(6, actual);
    EXPECT_EQ(errDataSizeMismatch, SetControlData(window.Control(kText), 0, 'text', -1, cut));
    EXPECT_EQ("abcdef", window.GetText(kText));
}

// What the user selects is copied as it was given, whatever has to be done to show it.
TEST(Controls, CopyingGivesExactlyTheText)
{
    const Sample window;
    ShowWindow(window);
    QClipboard* clipboard = QGuiApplication::clipboard();
    const char* rows[] = { "plain", "no\xC2\xA0-break", "<b>1</b> & 2", "a\r\nb\rc\nd",
                           "tab\tand \xE2\x80\xA8 separator" };
    for (const char* text : rows) {
        SCOPED_TRACE(text);
        window.SetText(kText, text);
        QWidget* view = Sample::Named(text);
        ASSERT_TRUE(view);
        view->setFocus();
        QTest::keyClick(view, Qt::Key_A, Qt::ControlModifier);
        QTest::keyClick(view, Qt::Key_C, Qt::ControlModifier);
        EXPECT_EQ(QString::fromUtf8(text), clipboard->text());
    }
    window.SetText(kText, "one two three");
    QWidget* view = Sample::Named("one two three");
    QTest::keyClick(view, Qt::Key_Right, Qt::ControlModifier);
    QTest::keyClick(view, Qt::Key_Right, Qt::ControlModifier | Qt::ShiftModifier);
    QTest::keyClick(view, Qt::Key_C, Qt::ControlModifier);
    EXPECT_EQ(QStringLiteral("two "), clipboard->text());
    QTest::mouseDClick(view, Qt::LeftButton, {}, QPoint(3, 5));
    QTest::keyClick(view, Qt::Key_C, Qt::ControlModifier);
    EXPECT_EQ(QStringLiteral("one"), clipboard->text());
    QTest::mousePress(view, Qt::LeftButton, {}, QPoint(0, 5));
    QTest::mouseMove(view, QPoint(149, 5));
    QTest::mouseRelease(view, Qt::LeftButton, {}, QPoint(149, 5));
    QTest::keyClick(view, Qt::Key_C, Qt::ControlModifier);
    EXPECT_EQ(QStringLiteral("one two three"), clipboard->text());
}

TEST(Controls, WhatIsCutIsReadInATag)
{
    const Sample window;
    for (const auto& [text, isCut] :
         { std::pair { std::string("short"), false }, { std::string(2000, 'x'), true } }) {
        window.SetText(kText, text.c_str());
        QWidget* view = Sample::Named(text.c_str());
        view->grab(); // fits the text
        QHelpEvent help(QEvent::ToolTip, {}, view->mapToGlobal(QPoint()));
        QApplication::sendEvent(view, &help);
        EXPECT_EQ(isCut, QToolTip::text().contains(QString::fromStdString(text))) << text;
    }
    QToolTip::hideText();
}

TEST(Controls, ScreenReadersGetRolesAndNames)
{
    const Sample window;
    window.SetText(kText, "Version 1");
    const auto roleOf = [](QWidget* widget) {
        return widget ? QAccessible::queryAccessibleInterface(widget)->role() : QAccessible::NoRole;
    };
    EXPECT_EQ(QAccessible::StaticText, roleOf(Sample::Named("Version 1")));
    EXPECT_EQ(QAccessible::Graphic, roleOf(Sample::Named("Sample")));
    EXPECT_EQ(QAccessible::Dialog, roleOf(Sample::Top()));
    EXPECT_EQ(
        QStringLiteral("Version 1"),
        QAccessible::queryAccessibleInterface(Sample::Named("Version 1"))->text(QAccessible::Name));
}

TEST(Controls, AColourShowsOnlyWhereTheFlagAsksForIt)
{
    const Sample window;
    window.SetText(kText, "plain");
    window.SetText(kColoredText, "coloured");
    const auto shown = [](const char* name) {
        return Sample::Named(name)->palette().color(QPalette::WindowText);
    };
    ControlFontStyleRec style = window.GetFont(kColoredText);
    EXPECT_EQ(kControlUseForeColorMask | kControlUseFontMask | kControlUseJustMask, style.flags);
    EXPECT_EQ(kControlFontSmallSystemFont, style.font);
    EXPECT_EQ(1, style.just);
    EXPECT_EQ(QColor(Qt::red), shown("coloured"));
    EXPECT_EQ(0, window.GetFont(kText).flags);
    const QColor before = shown("plain");
    for (const SInt32 id : { kText, kColoredText }) {
        style = window.GetFont(id);
        style.foreColor = { 0xBFFF, 0xBFFF, 0xBFFF };
        EXPECT_EQ(noErr, SetControlData(window.Control(id), 0, 'font', sizeof style, &style));
        EXPECT_EQ(0xBFFF, window.GetFont(id).foreColor.green);
    }
    EXPECT_EQ(QColor::fromRgba64(0xBFFF, 0xBFFF, 0xBFFF), shown("coloured"));
    EXPECT_EQ(before, shown("plain"));
}

TEST(Controls, EmbeddingKeepsThePlaceAndFollowsTheContainer)
{
    const Sample window;
    window.SetText(kText, "embedded");
    ShowWindow(window);
    QWidget* view = Sample::Named("embedded");
    const auto place = [&] { return view->mapTo(Sample::Top(), QPoint()); };
    const ControlRef text = window.Control(kText);
    const ControlRef picture = window.Control(kPicture);
    Rect before {};
    Rect after {};
    GetControlBounds(text, &before);
    EXPECT_EQ(QPoint(30, 20), place());
    EXPECT_EQ(noErr, EmbedControl(text, picture));
    EXPECT_EQ(noErr, EmbedControl(text, picture)); // again: nothing
    EXPECT_EQ(noErr, EmbedControl(picture, window.Control(kPane)));
    EXPECT_EQ(QPoint(30, 20), place());
    EXPECT_EQ(&after, GetControlBounds(text, &after));
    EXPECT_EQ(0, std::memcmp(&before, &after, sizeof before));
    EXPECT_TRUE(view->isVisible());
    EXPECT_EQ(text, window.Control(kText)); // found at any depth

    EXPECT_EQ(errControlIsNotEmbedder, EmbedControl(picture, text));
    EXPECT_EQ(errCantEmbedIntoSelf, EmbedControl(picture, picture));
    EXPECT_EQ(errCantEmbedIntoSelf, EmbedControl(window.Control(kPane), picture));

    HideControl(text);
    HideControl(picture);
    EXPECT_FALSE(IsControlVisible(text));
    ShowControl(text);
    EXPECT_FALSE(IsControlVisible(text)); // its container is hidden
    EXPECT_FALSE(view->isVisible());
    ShowControl(picture);
    EXPECT_TRUE(IsControlVisible(text));
    EXPECT_TRUE(view->isVisible());
    HideControl(text);
    EXPECT_EQ(noErr, EmbedControl(text, window.Control(kPane)));
    EXPECT_FALSE(view->isVisible()); // stays hidden by itself
    DrawControls(window);
}

TEST(Controls, TheDefaultMarkMovesAlong)
{
    const auto command = [](const char* code) {
        return std::string("<ostype name=\"command\">") + code + "</ostype>";
    };
    const TestWindow window(NibOf(
        NibControl(1, "IBCarbonButton", "10 10 30 90 ", command("ok  ") + Number("buttonType", 1))
        + NibControl(2, "IBCarbonButton", "40 10 60 90 ", command("not!"))));
    const auto isDefault = [&](SInt32 id) {
        Boolean on = false;
        GetControlData(window.Control(id), kControlButtonPart, 'dflt', sizeof on, &on, nullptr);
        return on != 0;
    };
    EXPECT_TRUE(isDefault(1));
    const Boolean on = 200; // any value but zero
    EXPECT_EQ(noErr, SetControlData(window.Control(2), kControlButtonPart, 'dflt', sizeof on, &on));
    EXPECT_FALSE(isDefault(1));
    EXPECT_TRUE(isDefault(2));
    UInt32 id = 0;
    EXPECT_EQ(noErr, GetControlCommandID(window.Control(1), &id));
    EXPECT_EQ(UInt32 { kHICommandOK }, id); // blanks count
}

// The box releases its picture while the control still shows it, and repaints come at any time.
TEST(Controls, PicturesOutliveTheirHandles)
{
    NibBundle bundle(
        NibOf(NibControl(kPicture, "IBCarbonPicture", "0 0 100 200 ", Number("contentResID", -5)),
              Text("title", "Sample")));
    ResourceWriter file;
    const auto add = [&file](SInt16 id, Qt::GlobalColor color) {
        QImage image(4, 4, QImage::Format_RGB32);
        image.fill(color);
        const QByteArray data = EncodePicture(image, image.rect());
        file.Set({ 'PICT', id, 0, {}, { data.begin(), data.end() } });
    };
    add(-5, Qt::green);
    add(7, Qt::blue);
    file.Set({ 'PICT', 8, 0, {}, std::vector<uint8_t>(40, 1) }); // no picture
    const auto bytes = file.Serialize().value();
    WriteFile(bundle.Resource("Test.rsrc"), { bytes.begin(), bytes.end() });

    WindowRef window = nullptr;
    const SInt16 before = CurResFile();
    ASSERT_EQ(noErr, bundle.Open("Test", &window));
    EXPECT_EQ(before, CurResFile());
    EXPECT_EQ(nullptr, GetPicture(-5)); // the nib's own file is closed again
    const ControlID id { 'test', kPicture };
    ControlRef control = nullptr;
    GetControlByID(window, &id, &control);
    ShowWindow(window);
    const auto color = [] { return Sample::Top()->grab().toImage().pixelColor(190, 90); };
    EXPECT_EQ(QColor(Qt::green), color());

    const CFBundleRefNum map = CFBundleOpenBundleResourceMap(bundle.Bundle());
    PicHandle picture = GetPicture(7);
    PicHandle broken = GetPicture(8);
    ASSERT_TRUE(picture && broken);
    EXPECT_EQ(noErr,
              SetControlData(control, kControlPicturePart, 'pich', sizeof picture, &picture));
    PicHandle kept = nullptr;
    GetControlData(control, 0, 'pich', sizeof kept, &kept, nullptr);
    EXPECT_EQ(picture, kept);
    EXPECT_EQ(paramErr,
              SetControlData(control, kControlPicturePart, 'pich', sizeof broken, &broken));
    PicHandle none = nullptr;
    EXPECT_EQ(paramErr, SetControlData(control, kControlPicturePart, 'pich', sizeof none, &none));
    ReleaseResource(reinterpret_cast<Handle>(picture));
    CFBundleCloseBundleResourceMap(bundle.Bundle(), map);
    EXPECT_EQ(QColor(Qt::blue), color());
    DisposeWindow(window);
}
