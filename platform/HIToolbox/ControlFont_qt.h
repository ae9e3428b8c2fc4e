// SPDX-License-Identifier: MIT
// ControlFont_qt.h - what a control's font style means in Qt's terms.
#pragma once

#include <Carbon/Controls.h>

#include <QtGui/QFont>

/// The font of a style, over a widget's own. Sizes are pixels of the original's 72 dpi screen.
QFont ControlFont_Of(const ControlFontStyleRec& style, QFont font);
Qt::Alignment ControlFont_Alignment(const ControlFontStyleRec& style);
