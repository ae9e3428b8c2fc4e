// SPDX-License-Identifier: MIT
// TextView_qt.h - text that is shown as it is: no markup, no mnemonics. It can be selected and
// copied. Qt's label would do but for copying: it replaces some characters and knows no wrap inside
// long words.
#pragma once

#include <QtGui/QTextLayout>
#include <QtWidgets/QWidget>

class TextView : public QWidget
{
public:
    explicit TextView(QWidget* parent);

    const QString& Text() const { return m_text; }
    void SetText(const QString& text);
    void SetAlignment(Qt::Alignment alignment);
    /// The base font, in pixels. Text too tall for the view is set smaller, but not below 9 pixels;
    /// what is cut even so can be read in a help tag.
    void SetFont(const QFont& font);
    int HeightForWidth(int width) const;
    int NaturalWidth() const; // of the longest line
    QString SelectedText() const;

protected:
    bool event(QEvent* event) override;
    void paintEvent(QPaintEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    void mouseDoubleClickEvent(QMouseEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    void focusInEvent(QFocusEvent* event) override;
    void focusOutEvent(QFocusEvent* event) override;
    void contextMenuEvent(QContextMenuEvent* event) override;

private:
    void Prepare(QTextLayout& layout, const QFont& font) const;
    void Fit();
    int PositionAt(QPointF point) const;
    void Select(int anchor, int cursor);
    void MoveCursor(const QKeyEvent& event, int to);
    void Copy(bool primary) const;

    QString m_text;
    Qt::Alignment m_alignment = Qt::AlignLeading;
    QFont m_font;
    mutable QTextLayout m_layout; // of the view's size; laid out when needed
    bool m_fitted = false;
    bool m_isCut = false; // even in the smallest font, since it was fitted
    int m_anchor = 0; // the selection lies between anchor and cursor
    int m_cursor = 0;
};
