// SPDX-License-Identifier: MIT
// Shapes_qt.h - outlines of QuickDraw's shapes. The pen hangs down and to the right of its point. Empty
// rectangles give empty paths.
#pragma once

#include <QtCore/QRectF>
#include <QtGui/QPainterPath>
#include <QtGui/QRegion>

/// A rectangle whose corners are quarters of an oval. Size 0 gives square corners, the rectangle's own size an oval.
QPainterPath Shapes_RoundRect(const QRectF& rect, QSizeF oval);
/// A wedge of the oval in a rectangle; angles in degrees, clockwise from the top.
QPainterPath Shapes_Wedge(const QRectF& rect, int start, int sweep);
/// The part of a wedge's rim that lies between the ovals of two rectangles.
QPainterPath Shapes_Arc(const QRectF& outer, const QRectF& inner, int start, int sweep);
/// What a pen covers on its way.
QPainterPath Shapes_Line(QPointF from, QPointF to, QSizeF pen);
QPainterPath Shapes_Region(const QRegion& region);
/// What lies in `outer` but not in `inner`.
QPainterPath Shapes_Ring(QPainterPath outer, const QPainterPath& inner);
/// What lies in a region but not in the region inset by a pen.
QRegion Shapes_RegionFrame(const QRegion& region, QSize pen);
