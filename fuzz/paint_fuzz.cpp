// SPDX-License-Identifier: MIT
// paint_fuzz.cpp - any bytes as a picture, painted into one small image at many scales, shapes and densities. The first
// four bytes choose them; nothing may be painted outside the target.
#include "QuickDraw/Picture_qt.h"

#include <QtGui/QGuiApplication>
#include <QtGui/QImage>
#include <QtGui/QPainter>

#include <cmath>
#include <cstdlib>

extern "C" int LLVMFuzzerInitialize(int*, char***)
{
    static int argc = 1;
    static char name[] = "paint_fuzz";
    static char* argv[] = { name, nullptr };
    qputenv("QT_QPA_PLATFORM", "offscreen");
    new QGuiApplication(argc, argv);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    constexpr int kSide = 96;
    constexpr int kMargin = 32;
    const auto picture = size < 4 ? nullptr : DecodedPicture::Decode(data + 4, size - 4);
    if (picture == nullptr)
        return 0;
    QImage image(kSide, kSide, QImage::Format_RGB32);
    image.fill(0x123456);
    const QImage before = image;
    QPainter painter(&image);
    const double scale = std::exp2(data[2] / 16.0 - 6); // 1/64 to 980
    const bool isWithin = data[0] % 2 != 0; // else as large as the scale makes it
    painter.translate(kMargin + data[3] / 256.0, kMargin);
    painter.scale(scale, scale);
    picture->Paint(
        painter,
        { {}, isWithin ? QSizeF(data[0] % 33, data[1] % 33) / scale : picture->FrameSize() });
    painter.end();
    QPainter(&image).fillRect(kMargin - 1, kMargin - 1, 40, 36, QColor(0x123456));
    return isWithin && image != before ? abort(), 0 : 0;
}
