// SPDX-License-Identifier: MIT
// Drawing_qt.h - what a picture draws: the state that its opcodes set, and a list of drawing steps with
// everything resolved, which can be replayed at any size. All work is charged to the picture's budget.
#pragma once

#include "QuickDraw/Opcodes.h"
#include "QuickDraw/PictureBits_qt.h"
#include "QuickDraw/PictureBudget.h"
#include "QuickDraw/PictureCanvas_qt.h"
#include "QuickDraw/PictureText_qt.h"

#include <deque>
#include <functional>

/// The graphics port's fields that opcodes set.
struct DrawingState
{
    DrawingColors colors;
    QSizeF pen = { 1, 1 };
    int penMode = kPatCopy;
    DrawingPattern penPattern = DrawingPattern::Solid(true);
    DrawingPattern fillPattern = DrawingPattern::Solid(true);
    DrawingPattern backPattern = DrawingPattern::Solid(false);
    TextStyle text;
    bool hiliteNext = false; // the next inversion exchanges background and hilite colour
};

/// One act of drawing, in the coordinates of the picture.
struct DrawingStep
{
    QRectF bounds; // what it can touch
    std::function<void(QPainter&)> draw;
};

class Drawing
{
public:
    explicit Drawing(PictureBudget& budget)
        : m_budget(budget)
    {
    }

    /// The frame in points, and the part of the drawing's coordinates that it shows. Resets the clip.
    void SetFrame(QSize frame, const QRect& space);
    const QRect& Space() const { return m_space; }
    void SetClip(const QRegion& clip);
    void MoveOrigin(QPoint by);

    /// Does one of the verbs with a shape; reserved ones draw nothing.
    ///   frameOf  gives what the pen covers; called for kFrame only
    void
    DrawShape(int verb, const QPainterPath& shape, const std::function<QPainterPath()>& frameOf);
    void DrawLine(QPointF from, QPointF to);
    /// MacRoman text with its base line from `at`.
    void DrawText(const uint8_t* text, size_t count, QPointF at);
    void DrawBits(PictureBits bits);

    std::deque<DrawingStep> TakeSteps() { return std::move(m_steps); }

    DrawingState state;

private:
    double SeenArea(const QRectF& bounds) const;
    void
    AddPath(const QPainterPath& shape, const DrawingPattern& pattern, int mode, double area = 1e9);
    template <class Draw>
    void AddStep(const QRectF& bounds, PaintedArea painted, uint64_t bytes, Draw draw);
    template <class Draw> void Keep(const QRectF& bounds, uint64_t bytes, Draw draw);

    PictureBudget& m_budget;
    std::deque<DrawingStep> m_steps;
    QSize m_frame;
    QRect m_space;
    QRegion m_clip; // in drawing coordinates, before the origin is taken off
    bool m_clipChanged = true; // since the last step
    double m_clipRows = 0; // of the clip's rectangles, if there is more than one
    QPoint m_origin;
};
