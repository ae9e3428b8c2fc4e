// SPDX-License-Identifier: MIT
// WindowPlace_qt.cpp - the positions that an interface file can ask for.
#include "HIToolbox/WindowPlace_qt.h"

#include "HIToolbox/Windows_qt.h"

#include <QtGui/QGuiApplication>
#include <QtGui/QScreen>

#include <algorithm>

QRect WindowPlace_Of(QRect content, int position, bool constrained)
{
    const QScreen* screen = QGuiApplication::primaryScreen();
    if (!screen)
        return content;
    QRect room = screen->availableGeometry();
    QRect over = room;
    const auto& windows = Windows_All();
    const auto parent = std::find_if(windows.rbegin(), windows.rend(),
                                     [](const WindowPtr& window) { return window->IsVisible(); });
    const int place = position >= 1 && position <= 9 ? (position - 1) / 3 : -1;
    if (place >= 0 && position % 3 != 1 && parent != windows.rend()) {
        const QRect frame = (*parent)->Structure();
        if (const QScreen* its = QGuiApplication::screenAt(frame.center()))
            room = its->availableGeometry();
        over = position % 3 == 2 ? frame : room;
    }
    constexpr QPoint kStep(20, 22);
    if (place == 1) {
        content.moveTo(over.topLeft() + kStep);
        const auto isTaken = [&content](const WindowPtr& window) {
            return window->Content().topLeft() == content.topLeft();
        };
        while (room.contains(content) && std::any_of(windows.begin(), windows.end(), isTaken))
            content.translate(kStep);
    } else if (place >= 0) { // an alert: a third of the spare room above instead of half
        content.moveTo(over.left() + (over.width() - content.width()) / 2,
                       over.top() + (over.height() - content.height()) / (place == 2 ? 3 : 2));
    }
    if (const QScreen* its = QGuiApplication::screenAt(content.center()))
        room = its->availableGeometry();
    if (constrained) {
        content.moveLeft(
            std::max(room.left(), std::min(content.left(), room.right() + 1 - content.width())));
        content.moveTop(
            std::max(room.top(), std::min(content.top(), room.bottom() + 1 - content.height())));
    }
    return content;
}
