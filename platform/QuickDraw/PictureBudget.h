// SPDX-License-Identifier: MIT
// PictureBudget.h - the limits of one picture. Work is charged before it is done; what exceeds a limit throws
// BadData, so that a hostile picture counts as missing instead of stalling or exhausting its host.
#pragma once

#include "support/ByteReader.h"

constexpr int kMaxPictureSide = 4096; // points of a frame, pixels of an image
constexpr int64_t kMaxPicturePixels = 16 << 20;
constexpr uint64_t kMaxPictureMemory = 52u << 20; // bytes held until the picture is freed
constexpr uint64_t kMaxPictureSteps = 250'000; // opcodes, points of outlines, rectangles of regions
constexpr double kMaxPaintedArea = 64 << 20; // pixels of one painting: four of the largest pictures
constexpr int kMaxPictureFonts = 32; // each unknown name makes the system search its fonts

/// What painting touches, at one pixel a point. It grows with the size that is painted at.
struct PaintedArea
{
    double area = 0; // pixels filled
    double length = 0; // pixels along outlines

    /// Pixels filled at a scale. A pixel along an outline takes as long as a dozen filled ones.
    double At(double scale) const { return area * scale * scale + 12 * length * scale; }
};

class PictureBudget
{
public:
    void SpendMemory(uint64_t bytes)
    {
        ByteReader_Require(bytes <= kMaxPictureMemory - m_memory);
        m_memory += bytes;
    }
    void SpendSteps(uint64_t steps)
    {
        ByteReader_Require(steps <= kMaxPictureSteps - m_steps);
        m_steps += steps;
    }
    void SpendArea(const PaintedArea& painted)
    {
        m_painted.area += painted.area;
        m_painted.length += painted.length;
    }

    uint64_t Memory() const { return m_memory; }
    const PaintedArea& Painted() const { return m_painted; }

private:
    uint64_t m_memory = 0;
    uint64_t m_steps = 0;
    PaintedArea m_painted;
};

/// Refuses sides below 1 or over kMaxPictureSide, and areas over kMaxPicturePixels.
inline void PictureBudget_RequireSize(int64_t width, int64_t height)
{
    ByteReader_Require(width >= 1 && width <= kMaxPictureSide && height >= 1
                       && height <= kMaxPictureSide);
    ByteReader_Require(width * height <= kMaxPicturePixels);
}
