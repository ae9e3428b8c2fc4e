// SPDX-License-Identifier: MIT
// TextView_qt.h - read-only text: no markup, no mnemonics. It can be selected and copied exactly as it was given.
#pragma once

#include <QtGui/QPainterPath>
#include <QtGui/QWheelEvent>
#include <QtWidgets/QTextEdit>

class TextView : public QTextEdit
{
public:
    /// Pixels around the text on each side, in which a halo fades out.
    static constexpr int kMargin = 4;

    explicit TextView(QWidget* parent);

    void SetText(const QString& text, Qt::Alignment alignment);
    /// The size that the text takes without margins, wrapped to a width.
    QSize SizeFor(int width);
    /// Lays the text out in the view's size. False if lines had to be dropped; the last visible line then ends in
    /// an ellipsis, and the whole text becomes the help tag, unless the view has one.
    bool Fit();

protected:
    QMimeData* createMimeDataFromSelection() const override;
    void paintEvent(QPaintEvent* event) override;
    void wheelEvent(QWheelEvent* event) override { event->ignore(); }

private:
    void Draw(QPainter& painter, const QColor& color, bool withSelection) const;
    bool IsOverPicture() const;
    double MeasureHalo(const QPainter& painter, bool isWhite) const;
    QImage MakeHalo(const QPainter& painter) const;

    QString m_text;
    QPainterPath
        m_kept; // the visible lines, the last one up to the ellipsis; empty if no line is dropped
    QPointF m_ellipsisAt;
    QImage m_halo; // a pixel per point
};
