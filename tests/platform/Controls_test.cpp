// SPDX-License-Identifier: MIT
// Controls_test.cpp - controls: data by tag, nesting, visibility, and what the user sees and
// copies.
#include "tests/support/Contrast.h"
#include "tests/support/NibBundle.h"
#include "tools/PictureWriter.h"
#include "tools/ResourceWriter.h"

#include <QtCore/QRandomGenerator>
#include <QtGui/QClipboard>
#include <QtTest/QTest>
#include <QtWidgets/QApplication>
#include <QtWidgets/QTextEdit>

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
    /// The static text that a screen reader knows by a name.
    static QTextEdit* Named(const char* name)
    {
        for (QTextEdit* view : Top()->findChildren<QTextEdit*>()) {
            if (view->accessibleName() == QString::fromUtf8(name))
                return view;
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
        QTextEdit* view = Sample::Named(text);
        ASSERT_TRUE(view);
        view->setFocus();
        QTest::keyClick(view, Qt::Key_A, Qt::ControlModifier);
        QTest::keyClick(view, Qt::Key_C, Qt::ControlModifier);
        EXPECT_EQ(QString::fromUtf8(text), clipboard->text());
    }
    window.SetText(kText, "one two three");
    QTextEdit* view = Sample::Named("one two three");
    QTest::keyClick(view, Qt::Key_Right, Qt::ControlModifier);
    QTest::keyClick(view, Qt::Key_Right, Qt::ControlModifier | Qt::ShiftModifier);
    QTest::keyClick(view, Qt::Key_C, Qt::ControlModifier);
    EXPECT_EQ(QStringLiteral("two "), clipboard->text());
    QTest::mouseDClick(view->viewport(), Qt::LeftButton, {}, QPoint(8, 10));
    QTest::keyClick(view, Qt::Key_C, Qt::ControlModifier);
    EXPECT_EQ(QStringLiteral("one"), clipboard->text());
    QTest::mousePress(view->viewport(), Qt::LeftButton, {}, QPoint(0, 10));
    QTest::mouseMove(view->viewport(), QPoint(149, 10));
    QTest::mouseRelease(view->viewport(), Qt::LeftButton, {}, QPoint(149, 10));
    QTest::keyClick(view, Qt::Key_C, Qt::ControlModifier);
    EXPECT_EQ(QStringLiteral("one two three"), clipboard->text());
}

// 16 pixels are room for one line.
TEST(Controls, TextThatDoesNotFitLosesWholeLinesAndIsReadInATag)
{
    const Sample window;
    HideControl(window.Control(kPicture)); // which would bring a halo
    ShowWindow(window);
    const std::string words = "some words that take more than one line of this view";
    const std::tuple<std::string, bool> rows[]
        = { { "short", false },
            { "line feeds \r\n\n\r", false },
            { words, true },
            { "two\nlines", true },
            { std::string(2000, 'x'), true },
            { "\xD7\xA9\xD7\x9C\xD7\x95\xD7\x9D\n\xD7\x90", true } };
    const int full = Sample::Named("plain")->font().pixelSize();
    for (const auto& [text, isCut] : rows) {
        SCOPED_TRACE(text);
        window.SetText(kText, text);
        QTextEdit* view = Sample::Named(text.c_str());
        QCoreApplication::sendPostedEvents(Sample::Top(), QEvent::LayoutRequest);
        EXPECT_EQ(isCut, !view->viewport()->toolTip().isEmpty());
        EXPECT_EQ(full, view->font().pixelSize()); // smaller letters would not help
        QImage image(view->size(), QImage::Format_ARGB32_Premultiplied);
        image.fill(Qt::transparent);
        view->render(&image, {}, {}, QWidget::DrawChildren);
        for (int x = 0; x < image.width(); ++x)
            EXPECT_LT(qAlpha(image.pixel(x, image.height() - 4)), 40); // no second line's letters
        EXPECT_EQ(text, view->accessibleName().toStdString());
    }
}

// Between the letters and what lies up to two points beside them, in both colours of the About box.
TEST(Controls, TextIsReadableOverAnyPicture)
{
    QRandomGenerator random(7);
    const auto paint = [&random](const char* name, QPoint at) {
        const int value = name == std::string("noise") ? random.bounded(256)
            : name == std::string("stripes")           ? (at.x() / 5 % 2) * 255
            : name == std::string("slope")             ? at.x() * 255 / 199
                                                       : std::atoi(name);
        return name == std::string("noise") ? qRgb(value, random.bounded(256), random.bounded(256))
                                            : qRgb(value, value, value);
    };
    const std::tuple<QRgb, std::vector<const char*>> styles[]
        = { { qRgb(0, 0, 0), { "255", "0", "40", "100", "128", "noise", "stripes", "slope" } },
            { qRgb(191, 191, 191),
              { "0", "255", "191", "128", "80", "noise", "stripes", "slope" } } };
    for (const auto& [color, pictures] : styles) {
        QImage suitable; // the first picture: letters as they are drawn without a halo
        for (const char* name : pictures) {
            SCOPED_TRACE(testing::Message() << qRed(color) << " over " << name);
            QImage picture(200, 100, QImage::Format_RGB32);
            for (int y = 0; y < picture.height(); ++y)
                for (int x = 0; x < picture.width(); ++x)
                    picture.setPixel(x, y, paint(name, { x, y }));
            const int value = qRed(color) * 257;
            const std::string rgb = std::to_string(value) + ' ';
            NibBundle bundle(
                NibOf(NibControl(
                          kPicture, "IBCarbonPicture", "0 0 100 200 ",
                          Number("contentResID", 128)
                              + Inside(NibControl(kText, "IBCarbonStaticText", "20 10 80 190 ",
                                                  Text("title", "Letters of mine, 1852 &#8212; Wij")
                                                      + Text("foreColor", rgb + rgb + rgb))))
                          + NibControl(kButton, "IBCarbonButton", "80 100 100 200 ",
                                       Number("buttonType", 1)), // takes the focus
                      Text("title", "Sample")));
            ResourceWriter file;
            const QByteArray data = EncodePicture(picture, picture.rect());
            file.Set({ 'PICT', 128, 0, {}, { data.begin(), data.end() } });
            const auto bytes = file.Serialize().value();
            WriteFile(bundle.Resource("Test.rsrc"), { bytes.begin(), bytes.end() });
            WindowRef window = nullptr;
            ASSERT_EQ(noErr, bundle.Open("Test", &window));
            ShowWindow(window);
            const QImage shown = Sample::Top()
                                     ->grab({ 0, 0, 200, 80 })
                                     .toImage()
                                     .convertToFormat(QImage::Format_RGB32);
            DisposeWindow(window);
            const QRgb plain = suitable.isNull() ? shown.pixel(0, 0) : suitable.pixel(0, 0);
            if (suitable.isNull())
                suitable = shown;
            const auto ink = [&](int x, int y) { // 0 to 1
                return std::abs(qRed(suitable.pixel(x, y)) - qRed(plain))
                    / double(std::abs(qRed(color) - qRed(plain)));
            };
            const int near = static_cast<int>(std::ceil(2 * shown.devicePixelRatio()));
            double least = 21;
            int letters = 0;
            for (int y = near; y < shown.height() - near; ++y)
                for (int x = near; x < shown.width() - near; ++x) {
                    if (ink(x, y) < 0.9)
                        continue;
                    ++letters;
                    for (int dy = -near; dy <= near; ++dy)
                        for (int dx = -near; dx <= near; ++dx)
                            if (dx * dx + dy * dy <= near * near && ink(x + dx, y + dy) == 0)
                                least
                                    = std::min(least, Contrast(color, shown.pixel(x + dx, y + dy)));
                }
            EXPECT_GT(letters, 100);
            EXPECT_GE(least, 4.5);
            RecordProperty(std::string("c") + std::to_string(qRed(color)) + "_" + name,
                           std::to_string(least));
        }
        // Over a suitable picture there is nothing but the picture and the letters.
        EXPECT_NEAR(Contrast(color, suitable.pixel(0, 0)), qRed(color) ? 11.4 : 21, 0.2);
        for (int y = 0; y < suitable.height(); ++y)
            for (int x = 0; x < suitable.width(); ++x) {
                const int its = qRed(suitable.pixel(x, y));
                EXPECT_TRUE(its >= std::min(qRed(color), qRed(suitable.pixel(0, 0)))
                            && its <= std::max(qRed(color), qRed(suitable.pixel(0, 0))));
            }
    }
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
    QTextEdit* view = Sample::Named("embedded");
    const auto place = [&] { return view->mapTo(Sample::Top(), QPoint(4, 4)); };
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
