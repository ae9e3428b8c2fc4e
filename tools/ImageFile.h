// SPDX-License-Identifier: MIT
// ImageFile.h - what the tools with pictures share: image files, and files written as a whole.
#pragma once

#include "tools/CommandLine.h"
#include "tools/PictureWriter.h"

#include <QtCore/QBuffer>
#include <QtCore/QFileInfo>
#include <QtCore/QSaveFile>
#include <QtGui/QImageReader>
#include <QtGui/QImageWriter>

#include <iostream>

/// Replaces a file as a whole, or writes to standard output for "-".
inline void WriteOutput(const char* path, QByteArrayView bytes)
{
    if (path == QByteArrayView("-")) {
        std::cout.write(bytes.data(), bytes.size()); // RunTool looks for errors
        return;
    }
    QSaveFile file(QFile::decodeName(path));
    if (!file.open(QIODevice::WriteOnly) || file.write(bytes.data(), bytes.size()) != bytes.size()
        || !file.commit())
        Fail("cannot write " + std::string(path) + ": " + file.errorString().toStdString());
}

/// The picture of an image file's bytes with `density` pixels a point. An SVG image, which has points alone,
/// is drawn at that density.
///   path  of the file, for errors
inline QByteArray EncodeImage(const std::string& bytes, const char* path, double density)
{
    QByteArray data = QByteArray::fromStdString(bytes);
    QBuffer buffer(&data);
    QImageReader reader(&buffer);
    reader.setAutoTransform(true);
    if (reader.format().startsWith("svg"))
        reader.setScaledSize((QSizeF(reader.size()) * density).toSize());
    const QImage image = reader.read();
    if (image.isNull()) {
        const bool needsPlugin
            = data.contains("<svg") && !QImageReader::supportedImageFormats().contains("svg");
        Fail("cannot read " + std::string(path) + ": "
             + (needsPlugin ? "for SVG images install the package libqt6svg6"
                            : reader.errorString().toStdString()));
    }
    const QSize points = (QSizeF(image.size()) / density).toSize();
    const QByteArray picture = EncodePicture(image, QRect(QPoint(0, 0), points));
    if (picture.isEmpty())
        Fail(std::string(path) + " is too large: 4096 pixels a side");
    return picture;
}

/// Writes an image in the format of the path's suffix; as PNG for "-".
inline void SaveImage(const QImage& image, const char* path)
{
    QByteArray bytes;
    QBuffer buffer(&bytes);
    const QString suffix = QFileInfo(QFile::decodeName(path)).suffix();
    QImageWriter writer(&buffer, suffix.isEmpty() ? "png" : suffix.toLatin1());
    if (!writer.write(image))
        Fail("cannot write " + std::string(path) + ": " + writer.errorString().toStdString());
    WriteOutput(path, bytes);
}
