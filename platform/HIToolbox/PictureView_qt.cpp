// SPDX-License-Identifier: MIT
// PictureView_qt.cpp - a widget that shows a picture or an image.
#include "HIToolbox/PictureView_qt.h"

#include <QtGui/QPainter>

void PictureView::SetPicture(std::shared_ptr<const DecodedPicture> picture)
{
    m_picture = std::move(picture);
    update();
}

void PictureView::SetImage(const QImage& image, bool scaled, double opacity)
{
    m_image = image;
    m_scaled = scaled;
    m_opacity = opacity;
}

void PictureView::paintEvent(QPaintEvent*)
{
    QPainter painter(this);
    if (m_picture) {
        m_picture->Paint(painter, rect());
        return;
    }
    QRect target(QPoint(), m_scaled ? size() : m_image.size());
    target.moveCenter(rect().center());
    painter.setOpacity(m_opacity);
    painter.setRenderHint(QPainter::SmoothPixmapTransform);
    painter.drawImage(target, m_image);
}
