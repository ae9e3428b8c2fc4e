// SPDX-License-Identifier: MIT
// picture_fuzz.cpp - any bytes as a picture, painted small.
#include "QuickDraw/Picture_qt.h"

#include <QtGui/QGuiApplication>
#include <QtGui/QImage>
#include <QtGui/QPainter>

extern "C" int LLVMFuzzerInitialize(int*, char***)
{
    static int argc = 1;
    static char name[] = "picture_fuzz";
    static char* argv[] = { name, nullptr };
    qputenv("QT_QPA_PLATFORM", "offscreen");
    new QGuiApplication(argc, argv);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const auto picture = DecodedPicture::Decode(data, size);
    if (picture == nullptr)
        return 0;
    QImage image(64, 48, QImage::Format_RGB32);
    QPainter painter(&image);
    picture->Paint(painter, QRectF(image.rect()));
    return 0;
}
