// SPDX-License-Identifier: MIT
// Accessibility_qt.cpp - roles for screen readers. Names are the widgets' accessible names and
// titles.
#include "HIToolbox/Accessibility_qt.h"

#include "HIToolbox/OwnWindow_qt.h"
#include "HIToolbox/PictureView_qt.h"

#include <QtGui/QAccessible>
#include <QtWidgets/QAccessibleWidget>

namespace {

QAccessibleInterface* Describe(const QString&, QObject* object)
try {
    if (auto* picture = dynamic_cast<PictureView*>(object))
        return new QAccessibleWidget(picture, QAccessible::Graphic);
    if (auto* window = dynamic_cast<WindowWidget*>(object))
        return new QAccessibleWidget(window, QAccessible::Dialog);
    return nullptr;
} catch (...) { // Qt would lose what it holds
    return nullptr;
}

} // namespace

void Accessibility_Install()
{
    QAccessible::installFactory(Describe); // Qt keeps one entry of each
}
