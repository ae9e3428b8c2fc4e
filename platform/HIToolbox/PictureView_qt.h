// SPDX-License-Identifier: MIT
// PictureView_qt.h - a widget that shows a picture.
#pragma once

#include "QuickDraw/Picture_qt.h"

#include <QtWidgets/QWidget>

/// Paints a picture over its whole area or, unless scaled, in the middle; nothing without one.
class PictureView : public QWidget
{
public:
    using QWidget::QWidget;
    void SetPicture(std::shared_ptr<const DecodedPicture> picture,
                    bool scaled = true,
                    double opacity = 1);

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    std::shared_ptr<const DecodedPicture> m_picture;
    bool m_scaled = true;
    double m_opacity = 1;
};
