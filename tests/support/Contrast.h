// SPDX-License-Identifier: MIT
// Contrast.h - contrast of colours, 1 to 21, as the Web Content Accessibility Guidelines count it.
#pragma once

#include <QtGui/QColor>

#include <algorithm>
#include <cmath>

inline double Luminance(QRgb color)
{
    const auto linear = [](int value) {
        const double part = value / 255.0;
        return part <= 0.03928 ? part / 12.92 : std::pow((part + 0.055) / 1.055, 2.4);
    };
    return 0.2126 * linear(qRed(color)) + 0.7152 * linear(qGreen(color))
        + 0.0722 * linear(qBlue(color));
}

inline double Contrast(QRgb one, QRgb other)
{
    const double a = Luminance(one);
    const double b = Luminance(other);
    return (std::max(a, b) + 0.05) / (std::min(a, b) + 0.05);
}
