// SPDX-License-Identifier: MIT
// TextView_qt.cpp - read-only text over any background.
#include "HIToolbox/TextView_qt.h"

#include "HIToolbox/PictureView_qt.h"

#include <QtCore/QMimeData>
#include <QtGui/QAbstractTextDocumentLayout>
#include <QtGui/QPaintEngine>
#include <QtGui/QPainter>
#include <QtGui/QTextBlock>
#include <QtWidgets/QScrollBar>

#include <array>
#include <cmath>

namespace {

constexpr QChar kEllipsis(0x2026);
constexpr double kLeastContrast = 4.5;
constexpr double kHaloContrast = 7; // where a halo is needed

// The text as one paragraph of the same length. Line ends after the last visible character become zero-width spaces.
QString ForDisplay(QString text)
{
    bool isTail = true;
    for (qsizetype at = text.size() - 1; at >= 0; --at) {
        QChar& c = text[at];
        const bool isPair = c == u'\r' && at + 1 < text.size()
            && (text[at + 1] == QChar::LineSeparator || text[at + 1] == QChar(0x200B));
        if (c == u'\n' || c == u'\r' || c == QChar::LineSeparator || c == QChar::ParagraphSeparator
            || c == QChar(0xFDD0) || c == QChar(0xFDD1)) { // the last two are Qt's ends of frames
            c = isTail || isPair ? QChar(0x200B) : QChar(QChar::LineSeparator);
        } else {
            c = c.isNull() ? QChar(QChar::ReplacementCharacter) : c;
            isTail = false;
        }
    }
    return text;
}

// Relative luminance, 0 to 1, and contrast, 1 to 21, of the Web Content Accessibility Guidelines.
double Luminance(QRgb color)
{
    static const auto linear = [] {
        std::array<double, 256> values {};
        for (std::size_t i = 0; i < values.size(); ++i) {
            const double part = static_cast<double>(i) / 255;
            values[i] = part <= 0.03928 ? part / 12.92 : std::pow((part + 0.055) / 1.055, 2.4);
        }
        return values;
    }();
    const auto part = [](int value) { return linear[static_cast<std::size_t>(value)]; };
    return 0.2126 * part(qRed(color)) + 0.7152 * part(qGreen(color)) + 0.0722 * part(qBlue(color));
}

double Contrast(double light, double dark) { return (light + 0.05) / (dark + 0.05); }

} // namespace

TextView::TextView(QWidget* parent)
    : QTextEdit(parent)
{
    setReadOnly(true);
    setTextInteractionFlags(Qt::TextSelectableByMouse | Qt::TextSelectableByKeyboard);
    setTabChangesFocus(true);
    setFocusPolicy(Qt::StrongFocus);
    setFrameShape(NoFrame);
    setWordWrapMode(QTextOption::WrapAtWordBoundaryOrAnywhere);
    setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    setVerticalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    connect(verticalScrollBar(), &QScrollBar::rangeChanged, this, // nothing moves under the cursor
            [this] { verticalScrollBar()->setRange(0, 0); });
    viewport()->setAutoFillBackground(false);
    document()->setDocumentMargin(kMargin);
    document()->setUndoRedoEnabled(false);
}

void TextView::SetText(const QString& text, Qt::Alignment alignment)
{
    m_text = text;
    m_kept.clear();
    const bool isRightToLeft = text.isRightToLeft();
    QTextOption option = document()->defaultTextOption();
    option.setTextDirection(isRightToLeft ? Qt::RightToLeft : Qt::LeftToRight);
    const bool isMirrored
        = alignment == Qt::AlignLeading && this->isRightToLeft(); // the application
    option.setAlignment(isMirrored ? Qt::AlignRight | Qt::AlignAbsolute : alignment);
    document()->setDefaultTextOption(option);
    setPlainText(ForDisplay(text));
}

QSize TextView::SizeFor(int width)
{
    constexpr int kMargins = 2 * kMargin;
    document()->setTextWidth(width + kMargins);
    return { static_cast<int>(std::ceil(document()->idealWidth())) - kMargins,
             static_cast<int>(std::ceil(document()->size().height())) - kMargins };
}

bool TextView::Fit()
{
    document()->setTextWidth(width());
    const QTextLayout& layout = *document()->firstBlock().layout();
    const bool fits = document()->size().height() <= height();
    m_kept.clear();
    QTextLine last;
    for (int at = 0; !fits && at < layout.lineCount(); ++at) {
        const QTextLine line = layout.lineAt(at);
        if (at == 0 || layout.position().y() + line.rect().bottom() <= height() - kMargin)
            last = line;
    }
    if (last.isValid()) {
        const double dots = QFontMetricsF(font()).horizontalAdvance(kEllipsis);
        const bool isRightToLeft = m_text.isRightToLeft();
        const double end = isRightToLeft ? dots : last.width() - dots;
        const double x = layout.position().x()
            + last.cursorToX(last.xToCursor(end, QTextLine::CursorOnCharacter));
        const QRectF line = last.rect().translated(layout.position());
        m_kept.addRect(0, 0, width(), line.top());
        m_kept.addRect(isRightToLeft ? x : 0, line.top(), isRightToLeft ? width() - x : x,
                       line.height());
        m_ellipsisAt = { isRightToLeft ? x - dots : x, line.top() + last.ascent() };
    }
    viewport()->setToolTip(fits || !toolTip().isEmpty() ? QString()
                                                        : Qt::convertFromPlainText(m_text));
    viewport()->update();
    return fits;
}

QMimeData* TextView::createMimeDataFromSelection() const
{
    const QTextCursor cursor = textCursor();
    auto* copied = new QMimeData;
    const int length = cursor.selectionEnd() - cursor.selectionStart();
    copied->setText(m_text.mid(cursor.selectionStart(), length));
    return copied;
}

void TextView::paintEvent(QPaintEvent* event)
{
    QPainter painter(viewport());
    // A part is repainted over what surrounds it, which contains older text.
    if (event->rect() == viewport()->rect())
        m_halo = IsOverPicture() ? MakeHalo(painter) : QImage();
    painter.setRenderHint(QPainter::SmoothPixmapTransform);
    painter.drawImage(QPoint(), m_halo);
    Draw(painter, palette().color(QPalette::WindowText), true);
}

void TextView::Draw(QPainter& painter, const QColor& color, bool withSelection) const
{
    QAbstractTextDocumentLayout::PaintContext context;
    context.palette = palette();
    context.palette.setColor(QPalette::Text, color);
    if (withSelection) {
        QTextCharFormat selected;
        selected.setBackground(palette().brush(QPalette::Highlight));
        selected.setForeground(palette().brush(QPalette::HighlightedText));
        context.selections.append({ textCursor(), selected });
        context.cursorPosition = hasFocus() ? textCursor().position() : -1;
    }
    painter.save();
    if (!m_kept.isEmpty()) {
        painter.setPen(color);
        painter.setFont(font());
        painter.drawText(m_ellipsisAt, kEllipsis);
        painter.setClipPath(m_kept, Qt::IntersectClip);
    }
    document()->documentLayout()->draw(&painter, context);
    painter.restore();
}

bool TextView::IsOverPicture() const
{
    if (autoFillBackground())
        return false;
    for (const QObject* object : parentWidget()->children()) { // those behind come first
        const auto* picture = dynamic_cast<const PictureView*>(object);
        if (object == this)
            break;
        if (picture && picture->isVisible() && picture->geometry().intersects(geometry()))
            return true;
    }
    return dynamic_cast<const PictureView*>(parentWidget()) != nullptr;
}

// The opacity, 0 to 1, of a rim that gives the text enough contrast with the pixel behind it whose tone is closest.
double TextView::MeasureHalo(const QPainter& painter, bool isWhite) const
{
    const QPaintDevice* device = painter.paintEngine()->paintDevice();
    const auto* pixmap = dynamic_cast<const QPixmap*>(device); // of QWidget::grab
    const auto* image = dynamic_cast<const QImage*>(device);
    QRegion letters;
    const QTextLayout& layout = *document()->firstBlock().layout();
    for (int at = 0; at < layout.lineCount(); ++at)
        letters
            += layout.lineAt(at).naturalTextRect().translated(layout.position()).toAlignedRect();
    const QRect place = painter.deviceTransform().mapRect(
        letters.boundingRect().adjusted(-2, -2, 2, 2).intersected(rect()));
    const QImage behind = (pixmap      ? pixmap->toImage().copy(place)
                               : image ? image->copy(place)
                                       : QImage())
                              .convertToFormat(QImage::Format_RGB32);

    const double text = Luminance(palette().color(QPalette::WindowText).rgb());
    const auto contrast = [&](QRgb pixel) {
        return isWhite ? Contrast(Luminance(pixel), text) : Contrast(text, Luminance(pixel));
    };
    const int tone = isWhite ? 255 : 0;
    QRgb closest = qRgb(tone, tone, tone);
    double least = contrast(closest);
    for (int y = 0; y < behind.height(); ++y) {
        const auto* row = reinterpret_cast<const QRgb*>(behind.constScanLine(y));
        for (int x = 0; x < behind.width(); ++x) {
            const double its = row[x] == closest ? least : contrast(row[x]);
            closest = its < least ? row[x] : closest;
            least = std::min(its, least);
        }
    }
    if (least >= kLeastContrast)
        return 0;
    double strength = 0;
    const auto mix = [&](int from) { return static_cast<int>(from + (tone - from) * strength); };
    while (strength < 0.95 && least < kHaloContrast) {
        strength += 0.05;
        least = contrast(qRgb(mix(qRed(closest)), mix(qGreen(closest)), mix(qBlue(closest))));
    }
    return strength;
}

// A soft rim around the letters, black or white. Null if none is needed.
QImage TextView::MakeHalo(const QPainter& painter) const
{
    const double text = Luminance(palette().color(QPalette::WindowText).rgb());
    const bool isWhite = Contrast(1, text) > Contrast(text, 0);
    const double strength = MeasureHalo(painter, isWhite);
    if (strength == 0)
        return {};
    QImage glyphs(size(), QImage::Format_ARGB32_Premultiplied);
    glyphs.fill(Qt::transparent);
    QImage halo = glyphs;
    QPainter ofGlyphs(&glyphs);
    Draw(ofGlyphs, isWhite ? Qt::white : Qt::black, false);
    ofGlyphs.end();
    QPainter ofHalo(&halo);
    for (int y = -kMargin; y <= kMargin; ++y) {
        for (int x = -kMargin; x <= kMargin; ++x) {
            constexpr double kReach = (kMargin + 0.5) * (kMargin + 0.5);
            ofHalo.setOpacity(std::clamp(1.1 * (1 - (x * x + y * y) / kReach), 0.0, 1.0));
            ofHalo.drawImage(x, y, glyphs);
        }
    }
    ofHalo.setOpacity(1);
    ofHalo.setCompositionMode(QPainter::CompositionMode_DestinationIn);
    ofHalo.fillRect(rect(), QColor(0, 0, 0, static_cast<int>(strength * 255)));
    return halo;
}
