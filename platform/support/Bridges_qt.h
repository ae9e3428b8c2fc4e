// SPDX-License-Identifier: MIT
// Bridges_qt.h - strings and rectangles of the API as Qt's, and the other way round.
#pragma once

#include "support/Ref.h"

#include <CoreFoundation/CFString.h>
#include <CoreServices/MacTypes.h>

#include <QtCore/QByteArray>
#include <QtCore/QRect>
#include <QtCore/QString>

#include <algorithm>
#include <cstdint>
#include <new>

/// A string up to its first zero character.
inline QString Bridges_FromCFString(CFStringRef string)
{
    QByteArray utf8(CFStringGetLength(string) * 3 + 1, '\0'); // 3 bytes at most a 16-bit unit
    return CFStringGetCString(string, utf8.data(), utf8.size(), kCFStringEncodingUTF8)
        ? QString::fromUtf8(utf8.constData())
        : QString();
}

/// Never null. Throws bad_alloc.
inline Ref<CFStringRef> Bridges_CreateCFString(const QString& text)
{
    const QByteArray utf8 = text.toUtf8();
    Ref<CFStringRef> string(CFStringCreateWithBytes(
        kCFAllocatorDefault, reinterpret_cast<const UInt8*>(utf8.constData()), utf8.size(),
        kCFStringEncodingUTF8, false));
    return string ? std::move(string) : throw std::bad_alloc();
}

/// A rectangle with its right and bottom edges, clamped to the API's 16-bit coordinates.
inline Rect Bridges_ToRect(const QRect& rect)
{
    const auto clamped = [](int value) {
        return static_cast<SInt16>(std::clamp<int>(value, INT16_MIN, INT16_MAX));
    };
    return { clamped(rect.top()), clamped(rect.left()), clamped(rect.top() + rect.height()),
             clamped(rect.left() + rect.width()) };
}
