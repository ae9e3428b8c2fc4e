// SPDX-License-Identifier: MIT
// PictureView_qt.h - a widget that shows a picture or an image.
#pragma once

#include "QuickDraw/Picture_qt.h"

#include <QtWidgets/QWidget>

class PictureView : public QWidget
{
public:
    using QWidget::QWidget;
    /// Shows a picture over the whole area.
    void SetPicture(std::shared_ptr<const DecodedPicture> picture);
    /// Shows an image over the whole area or, unless scaled, in the middle.
    void SetImage(const QImage& image, bool scaled = true, double opacity = 1);

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    std::shared_ptr<const DecodedPicture> m_picture; // null: the image counts
    QImage m_image;
    bool m_scaled = true;
    double m_opacity = 1;
};
