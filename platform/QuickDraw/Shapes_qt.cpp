// SPDX-License-Identifier: MIT
// Shapes_qt.cpp - outlines of QuickDraw's shapes.
#include "QuickDraw/Shapes_qt.h"

#include <QtGui/QPolygonF>

#include <algorithm>

namespace {

bool HasArea(const QRectF& rect) { return rect.width() > 0 && rect.height() > 0; }

} // namespace

QPainterPath Shapes_RoundRect(const QRectF& rect, QSizeF oval)
{
    QPainterPath path;
    if (HasArea(rect)) {
        path.addRoundedRect(rect, std::clamp(oval.width(), 0.0, rect.width()) / 2,
                            std::clamp(oval.height(), 0.0, rect.height()) / 2);
    }
    return path;
}

QPainterPath Shapes_Wedge(const QRectF& rect, int start, int sweep)
{
    QPainterPath path;
    if (HasArea(rect)) {
        path.moveTo(rect.center());
        path.arcTo(rect, 90 - start, -sweep);
        path.closeSubpath();
    }
    return path;
}

QPainterPath Shapes_Arc(const QRectF& outer, const QRectF& inner, int start, int sweep)
{
    if (!HasArea(inner) || outer.isEmpty())
        return Shapes_Wedge(outer, start, sweep);
    QPainterPath path;
    path.arcMoveTo(outer, 90 - start);
    path.arcTo(outer, 90 - start, -sweep);
    path.arcTo(inner, 90 - start - sweep, sweep);
    path.closeSubpath();
    return path;
}

QPainterPath Shapes_Line(QPointF from, QPointF to, QSizeF pen)
{
    if (to.x() < from.x() || (to.x() == from.x() && to.y() < from.y()))
        std::swap(from, to);
    const double w = pen.width();
    const double h = pen.height();
    QPolygonF hull;
    if (to.y() >= from.y()) {
        hull << from << from + QPointF(w, 0) << to + QPointF(w, 0) << to + QPointF(w, h)
             << to + QPointF(0, h) << from + QPointF(0, h);
    } else {
        hull << from << to << to + QPointF(w, 0) << to + QPointF(w, h) << from + QPointF(w, h)
             << from + QPointF(0, h);
    }
    QPainterPath path;
    path.addPolygon(hull);
    path.closeSubpath();
    path.setFillRule(Qt::WindingFill);
    return path;
}

QPainterPath Shapes_Region(const QRegion& region)
{
    QPainterPath path;
    path.addRegion(region);
    return path;
}

QPainterPath Shapes_Ring(QPainterPath outer, const QPainterPath& inner)
{
    outer.addPath(inner);
    outer.setFillRule(Qt::OddEvenFill);
    return outer;
}

QRegion Shapes_RegionFrame(const QRegion& region, QSize pen)
{
    const int w = pen.width();
    const int h = pen.height();
    return region
        - (region.translated(w, h) & region.translated(-w, h) & region.translated(w, -h)
           & region.translated(-w, -h));
}
