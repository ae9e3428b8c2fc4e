// SPDX-License-Identifier: MIT
// Looks_test.cpp - what depends on fonts, looked at in pixels: texts over pictures, texts that are too long, and the
// layout of alerts. Runs at several scales.
#include "tests/support/Contrast.h"
#include "tests/support/NibBundle.h"
#include "tools/PictureWriter.h"
#include "tools/ResourceWriter.h"

#include <QtCore/QRandomGenerator>
#include <QtGui/QScreen>
#include <QtTest/QTest>
#include <QtWidgets/QApplication>
#include <QtWidgets/QLabel>
#include <QtWidgets/QPushButton>
#include <QtWidgets/QScrollArea>
#include <QtWidgets/QTextEdit>

#include <gtest/gtest.h>

namespace {

/// The window on the screen.
QWidget* Shown()
{
    for (QWidget* widget : QApplication::topLevelWidgets())
        if (widget->isVisible())
            return widget;
    return nullptr;
}

QImage Painted(const std::string& kind)
{
    QRandomGenerator random(7);
    QImage picture(200, 100, QImage::Format_RGB32);
    for (int y = 0; y < picture.height(); ++y)
        for (int x = 0; x < picture.width(); ++x) {
            const int gray = kind == "stripes" ? x / 5 % 2 * 255
                : kind == "slope"              ? x * 255 / 199
                                               : std::atoi(kind.c_str());
            picture.setPixel(x, y, kind == "noise" ? random.generate() : qRgb(gray, gray, gray));
        }
    return picture;
}

/// A grey text of a window over a picture of its own, as it is on the screen.
QImage TextOver(const QImage& picture, int gray)
{
    const std::string part = std::to_string(gray * 257) + ' ';
    const NibBundle bundle(
        NibOf("window\n+ Picture 1 0,0,100,200 contentResID=128\n"
              "++ StaticText 2 20,10,80,190 title='Letters of mine, 1852 &#8212; Wij'"
              " foreColor='"
              + part + part + part
              + "'\n"
                "+ Button 3 80,100,100,200 buttonType=1")); // takes the focus
    const QByteArray data = EncodePicture(picture, picture.rect());
    ResourceWriter file;
    file.Set({ 'PICT', 128, 0, {}, { data.begin(), data.end() } });
    const auto bytes = file.Serialize().value();
    WriteFile(bundle.Resource("Test.rsrc"), { bytes.begin(), bytes.end() });
    WindowRef window = nullptr;
    EXPECT_EQ(noErr, bundle.Open("Test", &window));
    ShowWindow(window);
    const QImage image = Shown()->grab({ 0, 0, 200, 80 }).toImage();
    DisposeWindow(window);
    return image.convertToFormat(QImage::Format_RGB32);
}

/// The least contrast between letters and what lies up to two points beside them; `suitable` has the same letters
/// without a halo.
double LeastContrast(const QImage& shown, const QImage& suitable, int gray)
{
    const int plain = qRed(suitable.pixel(0, 0));
    const auto ink = [&](int x, int y) { // 0 to 1
        return std::abs(qRed(suitable.pixel(x, y)) - plain) / double(std::abs(gray - plain));
    };
    const int near = static_cast<int>(std::ceil(2 * shown.devicePixelRatio()));
    double least = 21;
    int letters = 0;
    for (int y = near; y < shown.height() - near; ++y)
        for (int x = near; x < shown.width() - near; ++x) {
            const bool isLetter = ink(x, y) >= 0.9;
            letters += isLetter;
            for (int dy = -near; isLetter && dy <= near; ++dy)
                for (int dx = -near; dx <= near; ++dx)
                    if (dx * dx + dy * dy <= near * near && ink(x + dx, y + dy) == 0)
                        least = std::min(
                            least, Contrast(qRgb(gray, gray, gray), shown.pixel(x + dx, y + dy)));
        }
    EXPECT_GT(letters, 100);
    return least;
}

} // namespace

// In both colours of the About box.
TEST(Looks, TextIsReadableOverAnyPicture)
{
    const std::pair<int, std::vector<std::string>> colors[]
        = { { 0, { "255", "0", "40", "100", "128" } },
            { 191, { "0", "255", "191", "128", "80" } } };
    for (auto [gray, pictures] : colors) {
        const QImage suitable = TextOver(Painted(pictures[0]), gray);
        pictures.insert(pictures.end(), { "noise", "stripes", "slope" });
        for (const std::string& picture : pictures) {
            const double least = LeastContrast(TextOver(Painted(picture), gray), suitable, gray);
            EXPECT_GE(least, 4.5) << gray << " over " << picture;
            RecordProperty("c" + std::to_string(gray) + "_" + picture, std::to_string(least));
        }
        // Over a suitable picture there is nothing but the picture and the letters.
        const auto [low, high] = std::minmax({ gray, qRed(suitable.pixel(0, 0)) });
        EXPECT_NEAR(Contrast(qRgb(gray, gray, gray), suitable.pixel(0, 0)), gray ? 11.4 : 21, 0.2);
        for (int y = 0; y < suitable.height(); ++y)
            for (int x = 0; x < suitable.width(); ++x)
                EXPECT_EQ(qRed(suitable.pixel(x, y)),
                          std::clamp(qRed(suitable.pixel(x, y)), low, high));
    }
}

// 16 pixels are room for one line.
TEST(Looks, TextThatDoesNotFitLosesWholeLinesAndIsReadInATag)
{
    const std::pair<std::string, bool> rows[]
        = { { "short", false },
            { "line feeds \r\n\n\r", false },
            { "some words that take more than one line of this view", true },
            { "two\nlines", true },
            { "two\rlines", true },
            { std::string(2000, 'x'), true },
            { "\xD7\xA9\xD7\x9C\xD7\x95\xD7\x9D\n\xD7\x90", true } };
    const TestWindow window("window\n+ StaticText 1 20,30,36,180 title=plain");
    ShowWindow(window);
    auto* view = Shown()->findChild<QTextEdit*>();
    const int full = view->font().pixelSize();
    for (const auto& [text, isCut] : rows) {
        SCOPED_TRACE(text);
        SetControlData(window.Control(1), 0, 'text', static_cast<Size>(text.size()), text.data());
        QCoreApplication::sendPostedEvents(Shown(), QEvent::LayoutRequest);
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

namespace {

/// Shows an alert with the buttons No, Yes (the default) and perhaps Other, and does `look`, which ends it.
void ShowAlert(
    const std::string& message,
    const std::string& explanation,
    std::string no,
    const char* other,
    const std::function<void(QWidget*, QPushButton* no, QPushButton* yes, QPushButton* other)>&
        look)
{
    const auto pascal = [](const std::string& text) { return char(text.size()) + text; };
    const auto bytes
        = [](const std::string& text) { return reinterpret_cast<ConstStringPtr>(text.data()); };
    no = pascal(no);
    const std::string texts[] = { pascal(message), pascal(explanation) };
    AlertStdAlertParamRec param {};
    param.defaultText = bytes(no);
    param.cancelText = reinterpret_cast<ConstStringPtr>("\3Yes");
    param.otherText = reinterpret_cast<ConstStringPtr>(other);
    param.defaultButton = kAlertStdAlertCancelButton;
    Later(0, [&] {
        const auto buttons = Shown()->findChildren<QPushButton*>(); // No last
        const auto last = buttons.size() - 1;
        look(Shown(), buttons[last], buttons[last - 1], buttons[0]);
        QTest::keyClick(Shown()->windowHandle(), Qt::Key_Return);
    });
    SInt16 item = 0;
    EXPECT_EQ(noErr,
              StandardAlert(kAlertCautionAlert, bytes(texts[0]), bytes(texts[1]), &param, &item));
    EXPECT_EQ(2, item);
}

} // namespace

TEST(Looks, ButtonsOfAlertsStandInOrderAndOnTheScreen)
{
    const std::string sentence = "The quick & <b>brown</b> fox jumps over the lazy dog. ";
    std::string lines;
    for (int i = 0; i < 127; ++i)
        lines += "x\n";
    const std::tuple<const char*, std::string, std::string, std::string> rows[] = {
        { "short", "Message", "Explanation", "No" },
        { "empty", "", "", "No" },
        { "long", sentence + sentence, sentence + sentence + sentence, "No" },
        { "one word", std::string(120, 'M'), std::string(120, 'm'), "No" },
        { "too high", lines, lines, "No" },
        { "endless button", "Message", "Explanation", std::string(255, 'W') },
    };
    for (const auto& [name, message, explanation, text] : rows) {
        SCOPED_TRACE(name);
        ShowAlert(message, explanation, text, "\5Other",
                  [&](QWidget* alert, auto* no, auto* yes, auto* other) {
                      EXPECT_TRUE(
                          alert->screen()->availableGeometry().contains(alert->frameGeometry()));
                      for (const QPushButton* button : { no, yes, other })
                          EXPECT_TRUE(alert->rect().contains(button->geometry()));
                      EXPECT_EQ(alert->width() - 20, no->geometry().right() + 1);
                      EXPECT_EQ(no->x() - 12, yes->geometry().right() + 1);
                      EXPECT_GT(yes->x(), other->geometry().right());
                      EXPECT_EQ(20, other->x());
                      const auto* scroll = alert->findChild<QScrollArea*>();
                      EXPECT_EQ(name == std::string("too high"),
                                scroll->widget()->height() > scroll->height());
                      EXPECT_LE(scroll->geometry().bottom(), no->y());
                  });
    }
}

TEST(Looks, RightToLeftAlertsAreMirrored)
{
    ShowAlert("\xD7\x9C\xD7\xA9\xD7\x9E\xD7\x95\xD7\xA8?", "", "No", nullptr,
              [](QWidget* alert, auto* no, auto* yes, auto*) {
                  EXPECT_GT(yes->x(), no->geometry().right());
                  EXPECT_EQ(20, no->x());
                  EXPECT_EQ(alert->width() - 20,
                            alert->findChild<QLabel*>()->geometry().right() + 1);
                  QTest::keyClick(alert->windowHandle(), Qt::Key_Left);
                  EXPECT_TRUE(no->hasFocus());
              });
}

// Return presses the default button, Space the focused one: all four look different.
TEST(Looks, DefaultAndFocusedButtonsAreToldApart)
{
    ShowAlert("Message", "Explanation", "No", nullptr,
              [](QWidget* alert, auto* no, auto* yes, auto*) {
                  EXPECT_TRUE(QTest::qWaitForWindowActive(alert));
                  const QImage before[] = { yes->grab().toImage(), no->grab().toImage() };
                  QTest::keyClick(alert->windowHandle(), Qt::Key_Right);
                  EXPECT_NE(before[0], yes->grab().toImage());
                  EXPECT_NE(before[1], no->grab().toImage());
                  EXPECT_NE(before[0], no->grab().toImage());
              });
}
