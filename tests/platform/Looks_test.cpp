// SPDX-License-Identifier: MIT
// Looks_test.cpp - texts over pictures, looked at in pixels. Runs at several scales.
#include "tests/support/Contrast.h"
#include "tests/support/NibBundle.h"
#include "tools/PictureWriter.h"

#include <QtCore/QRandomGenerator>
#include <QtWidgets/QApplication>
#include <QtWidgets/QWidget>

#include <gtest/gtest.h>

namespace {

QImage Painted(const std::string& kind)
{
    QRandomGenerator random(7);
    QImage picture(200, 100, QImage::Format_RGB32);
    for (int at = 0; at < 200 * 100; ++at) {
        const int x = at % 200;
        const int gray = kind == "stripes" ? x / 5 % 2 * 255
            : kind == "slope"              ? x * 255 / 199
                                           : std::atoi(kind.c_str());
        picture.setPixel(x, at / 200, kind == "noise" ? random.generate() : qRgb(gray, gray, gray));
    }
    return picture;
}

// A grey text of a window over a picture of its own, as it is on the screen.
QImage TextOver(const std::string& kind, int gray)
{
    const std::string part = std::to_string(gray * 257) + ' ';
    const NibBundle bundle(
        NibOf("window\n+ Picture 1 0,0,100,200 contentResID=128\n"
              "++ StaticText 2 20,10,80,190 title='Letters of mine, 1852 &#8212; Wij'"
              " foreColor='"
              + part + part + part
              + "'\n"
                "+ Button 3 80,100,100,200 buttonType=1")); // takes the focus
    const QImage picture = Painted(kind);
    const QByteArray data = EncodePicture(picture, picture.rect());
    ResourceWriter file;
    file.Set({ 'PICT', 128, 0, {}, { data.begin(), data.end() } });
    bundle.Put(file);
    WindowRef window = nullptr;
    EXPECT_EQ(noErr, bundle.Open("Test", &window));
    ShowWindow(window);
    QImage image;
    for (QWidget* widget : QApplication::topLevelWidgets())
        if (widget->isVisible())
            image = widget->grab({ 0, 0, 200, 80 }).toImage();
    DisposeWindow(window);
    return image.convertToFormat(QImage::Format_RGB32);
}

// The least contrast between letters and what lies up to two points beside them; `suitable` has the same letters
// without a halo.
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
        = { { 0, { "255", "0", "40", "100", "128", "noise", "stripes", "slope" } },
            { 191, { "0", "255", "191", "128", "80", "noise", "stripes", "slope" } } };
    for (const auto& [gray, pictures] : colors) {
        const QImage suitable = TextOver(pictures[0], gray);
        for (const std::string& picture : pictures) {
            const double least = LeastContrast(TextOver(picture, gray), suitable, gray);
            EXPECT_GE(least, 4.5) << gray << " over " << picture;
        }
        // Over a suitable picture there is nothing but the picture and the letters.
        const int plain = qRed(suitable.pixel(0, 0));
        EXPECT_NEAR(Contrast(qRgb(gray, gray, gray), suitable.pixel(0, 0)), gray ? 11.4 : 21, 0.2);
        for (int at = 0; at < suitable.width() * suitable.height(); ++at) {
            const int its = qRed(suitable.pixel(at % suitable.width(), at / suitable.width()));
            EXPECT_EQ(its, std::clamp(its, std::min(gray, plain), std::max(gray, plain)));
        }
    }
}
