// SPDX-License-Identifier: MIT
// WindowPlace_qt.h - where a window from an interface file opens.
#pragma once

#include <QtCore/QRect>

/// The place for a window's content.
///   content      the file's rectangle, in screen coordinates
///   position     0: there; 1 to 3 in the middle, 4 to 6 cascaded, 7 to 9 as an alert: on the main screen, over
///                the parent window or on its screen
///   constrained  moved so that it lies on a screen
QRect WindowPlace_Of(QRect content, int position, bool constrained);
