// SPDX-License-Identifier: MIT
// ControlFont_qt.cpp - the system's fonts by their numbers.
#include "HIToolbox/ControlFont_qt.h"

#include <algorithm>
#include <iterator>

namespace {

struct SystemFont
{
    int pixels;
    bool bold;
};

// By kControlFontBigSystemFont (-1) and the numbers below it.
constexpr SystemFont kMetaFonts[]
    = { { 13, false }, { 11, false }, { 11, true }, { 12, false }, { 9, false } };
// By theme font id.
constexpr SystemFont kThemeFonts[] = { { 13, false }, { 11, false }, { 11, true }, { 12, false },
                                       { 13, true },  { 13, false }, { 10, false } };

SystemFont SystemFontOf(const ControlFontStyleRec& style)
{
    const bool isTheme = (style.flags & kControlUseThemeFontIDMask) != 0;
    const auto index = static_cast<std::size_t>(isTheme ? style.font : -1 - style.font);
    if (isTheme && index < std::size(kThemeFonts))
        return kThemeFonts[index];
    if ((style.flags & kControlUseFontMask) != 0 && index < std::size(kMetaFonts))
        return kMetaFonts[index];
    return kMetaFonts[0];
}

} // namespace

QFont ControlFont_Of(const ControlFontStyleRec& style, QFont font)
{
    const auto [systemPixels, bold] = SystemFontOf(style);
    const int pixels = (style.flags & kControlAddFontSizeMask) != 0 ? systemPixels + style.size
        : (style.flags & kControlUseSizeMask) != 0                  ? style.size
                                                                    : systemPixels;
    font.setPixelSize(std::clamp(pixels, 6, 200));
    const int face = (style.flags & kControlUseFaceMask) != 0 ? style.style : int { bold };
    font.setBold((face & 1) != 0);
    font.setItalic((face & 2) != 0);
    font.setUnderline((face & 4) != 0);
    return font;
}

Qt::Alignment ControlFont_Alignment(const ControlFontStyleRec& style)
{
    if ((style.flags & kControlUseJustMask) == 0)
        return Qt::AlignLeading;
    switch (style.just) {
    case 1:
        return Qt::AlignHCenter;
    case -1:
        return Qt::AlignRight | Qt::AlignAbsolute;
    case -2:
        return Qt::AlignLeft | Qt::AlignAbsolute;
    default:
        return Qt::AlignLeading;
    }
}
