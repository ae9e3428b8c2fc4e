// SPDX-License-Identifier: MIT
// ImageFile.h - what the tools with pictures share: image files, errors in Qt's strings.
#pragma once

#include "QuickDraw/PictureWriter_qt.h"
#include "tools/CommandLine.h"

#include <QtCore/QFileInfo>
#include <QtGui/QImageReader>
#include <QtGui/QImageWriter>

[[noreturn]] inline void Fail(const QString& message)
{
    Fail(message.toStdString());
}

[[noreturn]] inline void FailUsage(const QString& message)
{
    FailUsage(message.toStdString());
}

/// The picture of an image file with `density` pixels a point. An SVG image, which has points alone, is drawn
/// at that density.
inline QByteArray EncodeImageFile(const QString& path, double density)
{
    QImageReader reader(path);
    reader.setAutoTransform(true);
    if (reader.format().startsWith("svg"))
        reader.setScaledSize((QSizeF(reader.size()) * density).toSize());
    const QImage image = reader.read();
    if (image.isNull()) {
        const bool needsPlugin = QFileInfo(path).suffix().startsWith(QLatin1String("svg"))
            && !QImageReader::supportedImageFormats().contains("svg");
        Fail(QStringLiteral("cannot read %1: %2")
                 .arg(path,
                      needsPlugin ? QStringLiteral("for SVG images install the package libqt6svg6")
                                  : reader.errorString()));
    }
    const QSize points = (QSizeF(image.size()) / density).toSize();
    const QByteArray picture = EncodePicture(image, QRect(QPoint(0, 0), points));
    if (picture.isEmpty())
        Fail(QStringLiteral("%1 is too large: 4096 pixels a side").arg(path));
    return picture;
}

inline void SaveImage(const QImage& image, const QString& path)
{
    QImageWriter writer(path);
    if (!writer.write(image))
        Fail(QStringLiteral("cannot write %1: %2").arg(path, writer.errorString()));
}
