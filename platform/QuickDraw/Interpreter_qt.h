// SPDX-License-Identifier: MIT
// Interpreter_qt.h - walks a picture's opcodes once, checks all of them and leaves what they draw.
#pragma once

#include "QuickDraw/Drawing_qt.h"

struct InterpretedPicture
{
    QSize frame; // points
    QRect space; // the part of the drawing's coordinates that the frame shows
    std::deque<DrawingStep> steps;
    PaintedArea painted; // at one pixel a point
    uint64_t memory; // bytes that the steps hold
};

/// Reads a picture. Throws BadData if the data is damaged, unsupported or over the budget.
InterpretedPicture Interpreter_Run(const uint8_t* data, size_t size);
