// SPDX-License-Identifier: MIT
// PictureView_qt.cpp - a widget that shows a picture.
#include "HIToolbox/PictureView_qt.h"

#include <QtGui/QPainter>

void PictureView::SetPicture(std::shared_ptr<const DecodedPicture> picture,
                             bool scaled,
                             double opacity)
{
    m_picture = std::move(picture);
    m_scaled = scaled;
    m_opacity = opacity;
    update();
}

void PictureView::paintEvent(QPaintEvent*)
{
    if (m_picture) {
        QPainter painter(this);
        painter.setOpacity(m_opacity);
        QRect target(QPoint(), m_scaled ? size() : m_picture->FrameSize().toSize());
        target.moveCenter(rect().center());
        m_picture->Paint(painter, target);
    }
}
