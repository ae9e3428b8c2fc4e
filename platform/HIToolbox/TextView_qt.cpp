// SPDX-License-Identifier: MIT
// TextView_qt.cpp - text that is shown as it is and can be selected.
#include "HIToolbox/TextView_qt.h"

#include <QtGui/QClipboard>
#include <QtGui/QContextMenuEvent>
#include <QtGui/QGuiApplication>
#include <QtGui/QPainter>
#include <QtWidgets/QMenu>
#include <QtWidgets/QToolTip>

#include <algorithm>
#include <cmath>

namespace {

constexpr int kSmallestFont = 9; // pixels

// The text with every kind of line end as one that a layout breaks at. The length stays, so that
// places in it are places in the text.
QString ForDisplay(QString text)
{
    for (qsizetype at = 0; at < text.size(); ++at) {
        QChar& c = text[at];
        if (c == u'\r' && at + 1 < text.size() && text[at + 1] == u'\n') {
            c = QChar(0x200B); // no width; the line feed breaks
        } else if (c == u'\r' || c == u'\n') {
            c = QChar::LineSeparator;
        } else if (c.isNull()) {
            c = QChar::ReplacementCharacter;
        }
    }
    return text;
}

// Breaks a layout into lines of a width; returns the height.
double LayOut(QTextLayout& layout, double width)
{
    double height = 0;
    layout.beginLayout();
    for (QTextLine line = layout.createLine(); line.isValid(); line = layout.createLine()) {
        line.setLineWidth(width);
        line.setPosition({ 0, height });
        height += line.height();
    }
    layout.endLayout();
    return height;
}

} // namespace

TextView::TextView(QWidget* parent)
    : QWidget(parent)
    , m_font(font())
{
    setCursor(Qt::IBeamCursor);
    setFocusPolicy(Qt::StrongFocus);
}

void TextView::SetText(const QString& text)
{
    m_text = text;
    m_anchor = m_cursor = 0;
    setAccessibleName(text);
    m_fitted = false;
    update();
}

void TextView::SetAlignment(Qt::Alignment alignment)
{
    m_alignment = alignment;
    m_fitted = false;
    update();
}

void TextView::SetFont(const QFont& font)
{
    m_font = font;
    m_fitted = false;
    update();
}

void TextView::Prepare(QTextLayout& layout, const QFont& font) const
{
    QTextOption option(m_alignment);
    option.setWrapMode(QTextOption::WrapAtWordBoundaryOrAnywhere);
    option.setTextDirection(m_text.isRightToLeft() ? Qt::RightToLeft : Qt::LeftToRight);
    layout.setText(ForDisplay(m_text));
    layout.setFont(font);
    layout.setTextOption(option);
}

int TextView::HeightForWidth(int width) const
{
    QTextLayout layout;
    Prepare(layout, m_font);
    return static_cast<int>(std::ceil(LayOut(layout, width)));
}

int TextView::NaturalWidth() const
{
    QTextLayout layout;
    Prepare(layout, m_font);
    LayOut(layout, QWIDGETSIZE_MAX);
    double width = 0;
    for (int line = 0; line < layout.lineCount(); ++line)
        width = std::max(width, layout.lineAt(line).naturalTextWidth());
    return static_cast<int>(std::ceil(width)) + 1;
}

// Boxes are drawn for the metrics of another system's fonts: what would be cut is set a little
// smaller.
void TextView::Fit()
{
    if (m_fitted)
        return;
    m_fitted = true;
    QFont font = m_font;
    Prepare(m_layout, font);
    while (LayOut(m_layout, width()) > height() && font.pixelSize() > kSmallestFont) {
        font.setPixelSize(font.pixelSize() - 1);
        m_layout.setFont(font);
    }
    m_isCut = m_layout.boundingRect().height() > height();
}

QString TextView::SelectedText() const
{
    return m_text.mid(std::min(m_anchor, m_cursor), std::abs(m_anchor - m_cursor));
}

// If the text does not fit even at the smallest size, shows it as a tooltip, unless the view has one.
bool TextView::event(QEvent* event)
{
    if (event->type() != QEvent::ToolTip || !m_isCut || !toolTip().isEmpty())
        return QWidget::event(event);
    QToolTip::showText(static_cast<QHelpEvent*>(event)->globalPos(),
                       Qt::convertFromPlainText(m_text), this);
    return true;
}

void TextView::paintEvent(QPaintEvent*)
{
    Fit();
    QPainter painter(this);
    painter.setPen(palette().color(QPalette::WindowText));
    QList<QTextLayout::FormatRange> selections;
    if (m_anchor != m_cursor) {
        QTextLayout::FormatRange range { std::min(m_anchor, m_cursor),
                                         std::abs(m_anchor - m_cursor),
                                         {} };
        range.format.setBackground(palette().brush(QPalette::Highlight));
        range.format.setForeground(palette().brush(QPalette::HighlightedText));
        selections.append(range);
    }
    m_layout.draw(&painter, {}, selections);
    if (hasFocus() && m_anchor == m_cursor)
        m_layout.drawCursor(&painter, {}, m_cursor);
}

void TextView::resizeEvent(QResizeEvent*)
{
    m_fitted = false;
}

int TextView::PositionAt(QPointF point) const
{
    for (int at = 0; at < m_layout.lineCount(); ++at) {
        const QTextLine line = m_layout.lineAt(at);
        if (point.y() < line.y() + line.height() || at + 1 == m_layout.lineCount())
            return line.xToCursor(point.x());
    }
    return 0;
}

void TextView::Select(int anchor, int cursor)
{
    m_anchor = anchor;
    m_cursor = cursor;
    update();
}

void TextView::mousePressEvent(QMouseEvent* event)
{
    if (event->button() == Qt::LeftButton) {
        Fit();
        const int at = PositionAt(event->position());
        Select(event->modifiers() & Qt::ShiftModifier ? m_anchor : at, at);
    } else {
        event->ignore();
    }
}

void TextView::mouseMoveEvent(QMouseEvent* event)
{
    if (event->buttons() & Qt::LeftButton)
        Select(m_anchor, PositionAt(event->position()));
}

void TextView::mouseReleaseEvent(QMouseEvent* event)
{
    if (event->button() == Qt::LeftButton)
        Copy(true);
}

void TextView::mouseDoubleClickEvent(QMouseEvent* event)
{
    if (event->button() == Qt::LeftButton) {
        Fit();
        const int at = PositionAt(event->position());
        const int start = at < m_text.size()
            ? m_layout.previousCursorPosition(at + 1, QTextLayout::SkipWords)
            : at;
        int end = m_layout.nextCursorPosition(start, QTextLayout::SkipWords);
        while (end > start && m_text[end - 1].isSpace())
            --end;
        Select(start, end);
    }
}

void TextView::MoveCursor(const QKeyEvent& event, int to)
{
    Select(event.modifiers() & Qt::ShiftModifier ? m_anchor : to, to);
}

void TextView::keyPressEvent(QKeyEvent* event)
{
    Fit();
    const auto mode = event->modifiers() & Qt::ControlModifier ? QTextLayout::SkipWords
                                                               : QTextLayout::SkipCharacters;
    const QTextLine line = m_layout.lineForTextPosition(m_cursor);
    const auto lineAway = [&](double up) {
        return line.isValid() ? PositionAt({ line.cursorToX(m_cursor), line.y() + up }) : m_cursor;
    };
    if (event->matches(QKeySequence::Copy)) {
        Copy(false);
    } else if (event->matches(QKeySequence::SelectAll)) {
        Select(0, static_cast<int>(m_text.size()));
    } else if (event->key() == Qt::Key_Left) {
        MoveCursor(*event, m_layout.previousCursorPosition(m_cursor, mode));
    } else if (event->key() == Qt::Key_Right) {
        MoveCursor(*event, m_layout.nextCursorPosition(m_cursor, mode));
    } else if (event->key() == Qt::Key_Up) {
        MoveCursor(*event, lineAway(-1));
    } else if (event->key() == Qt::Key_Down) {
        MoveCursor(*event, lineAway(line.isValid() ? line.height() + 1 : 0));
    } else if (event->key() == Qt::Key_Home) {
        MoveCursor(*event, 0);
    } else if (event->key() == Qt::Key_End) {
        MoveCursor(*event, static_cast<int>(m_text.size()));
    } else {
        event->ignore(); // Return and Escape are the window's
    }
}

void TextView::focusInEvent(QFocusEvent* event)
{
    if (event->reason() == Qt::TabFocusReason || event->reason() == Qt::BacktabFocusReason)
        Select(0, static_cast<int>(m_text.size()));
    update();
}

void TextView::focusOutEvent(QFocusEvent* event)
{
    if (event->reason() != Qt::PopupFocusReason && event->reason() != Qt::ActiveWindowFocusReason)
        Select(m_cursor, m_cursor);
    update();
}

void TextView::contextMenuEvent(QContextMenuEvent* event)
{
    auto* menu = new QMenu(this); // not on the stack: the window may end while the menu is up
    menu->setAttribute(Qt::WA_DeleteOnClose);
    QAction* copy = menu->addAction(QMenu::tr("&Copy"), this, [this] { Copy(false); });
    copy->setEnabled(m_anchor != m_cursor);
    menu->addAction(QMenu::tr("Select &All"), this,
                    [this] { Select(0, static_cast<int>(m_text.size())); });
    menu->popup(event->globalPos());
}

void TextView::Copy(bool primary) const
{
    QClipboard* clipboard = QGuiApplication::clipboard();
    if (m_anchor != m_cursor && (!primary || clipboard->supportsSelection()))
        clipboard->setText(SelectedText(), primary ? QClipboard::Selection : QClipboard::Clipboard);
}
