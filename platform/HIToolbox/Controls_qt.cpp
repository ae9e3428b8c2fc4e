// SPDX-License-Identifier: MIT
// Controls_qt.cpp - controls: their data by tag, nesting, visibility and commands.
#include "HIToolbox/Controls_qt.h"

#include "HIToolbox/TextView_qt.h"
#include "HIToolbox/Windows_qt.h"

#include <CoreFoundation/CFString.h>
#include <CoreServices/MacErrors.h>
#include <CoreServices/MacMemory.h>

#include <QtGui/QKeyEvent>
#include <QtGui/QPainter>
#include <QtWidgets/QApplication>
#include <QtWidgets/QCheckBox>
#include <QtWidgets/QGroupBox>
#include <QtWidgets/QLineEdit>
#include <QtWidgets/QPlainTextEdit>
#include <QtWidgets/QPushButton>
#include <QtWidgets/QRadioButton>
#include <QtWidgets/QStyleOptionButton>
#include <QtWidgets/QTabWidget>

#include <algorithm>
#include <cstring>

static_assert(sizeof(ControlFontStyleRec) == 24, "the record's layout is part of the interface");

namespace {

constexpr int kEditFrame = 3; // pixels that the frame of an edit text stands around its bounds

// Return and Enter are the window's, whichever button has the focus; Space presses the button
// itself.
class PushButton : public QPushButton
{
public:
    using QPushButton::QPushButton;

protected:
    void keyPressEvent(QKeyEvent* event) override
    {
        if (event->key() == Qt::Key_Return || event->key() == Qt::Key_Enter) {
            event->ignore();
        } else {
            QPushButton::keyPressEvent(event);
        }
    }

    // The style keeps drawn buttons by their palette, and each window with a brush has one of its
    // own.
    void initStyleOption(QStyleOptionButton* option) const override
    {
        QPushButton::initStyleOption(option);
        const auto group = option->palette.currentColorGroup();
        option->palette = QApplication::palette(this);
        option->palette.setCurrentColorGroup(group);
    }
};

QString Decode(const std::string& bytes)
{
    return QString::fromUtf8(bytes.data(), static_cast<qsizetype>(bytes.size()));
}

// Titles are literal: Qt would take "&" for a mnemonic.
QString Literal(QString text)
{
    return text.replace(u'&', QStringLiteral("&&"));
}

void Pressed(const std::weak_ptr<OpaqueControlRef>& weak)
{
    const ControlPtr control = weak.lock();
    if (!control || control->command == 0) {
        return;
    }
    const WindowWidget::Delivery delivery(
        control->window->Widget()); // outlives the last reference below
    const WindowPtr window = control->window->shared_from_this();
    HICommandExtended command {};
    command.attributes = kHICommandFromControl;
    command.commandID = control->command;
    command.source.control = control.get();
    Windows_SendCommand(window, &control->target, command);
}

QWidget* CreateWidget(ControlKind kind, const QRect& bounds, QWidget* parent)
{
    switch (kind) {
    case ControlKind::Image:
        return new PictureView(parent);
    case ControlKind::PushButton: {
        auto* button = new PushButton(parent);
        button->setAutoDefault(false);
        return button;
    }
    case ControlKind::CheckBox:
        return new Toggle<QCheckBox>(parent);
    case ControlKind::RadioButton:
        return new Toggle<QRadioButton>(parent);
    case ControlKind::StaticText:
        return new TextView(parent);
    case ControlKind::EditText:
        return new QLineEdit(parent);
    case ControlKind::EditLines: {
        auto* edit = new QPlainTextEdit(parent);
        edit->setTabChangesFocus(true);
        edit->document()->setDocumentMargin(1);
        edit->setVerticalScrollBarPolicy(Qt::ScrollBarAsNeeded);
        return edit;
    }
    case ControlKind::GroupBox:
        return new QGroupBox(parent);
    case ControlKind::Separator: {
        auto* line = new QFrame(parent);
        line->setFrameShape(bounds.width() >= bounds.height() ? QFrame::HLine : QFrame::VLine);
        line->setFrameShadow(QFrame::Plain); // a pixel is often all the room
        line->setForegroundRole(QPalette::Mid);
        return line;
    }
    case ControlKind::Tab:
        return new QTabWidget(parent);
    case ControlKind::Pane:
        break;
    }
    return new QWidget(parent);
}

ControlPtr Find(ControlRef control)
{
    for (const WindowPtr& window : Windows_All()) {
        if (const auto* own = dynamic_cast<const OwnWindow*>(window.get())) {
            for (const ControlPtr& known : own->controls) {
                if (known.get() == control) {
                    return known;
                }
            }
        }
    }
    return nullptr;
}

OSErr Missing(ControlRef control)
{
    return control ? controlHandleInvalidErr : paramErr;
}

// What a control keeps under a tag.
enum class Data { None, Text, CFString, FontStyle, Image, Default, Cancel };

Data DataOf(const OpaqueControlRef& control, ResType tag)
{
    const ControlKind kind = control.kind;
    const bool isText = kind == ControlKind::StaticText || kind == ControlKind::EditText
        || kind == ControlKind::EditLines;
    const bool isButton = kind == ControlKind::PushButton;
    const bool hasFont = isText || isButton || kind == ControlKind::CheckBox
        || kind == ControlKind::RadioButton || kind == ControlKind::GroupBox
        || kind == ControlKind::Tab;
    switch (tag) {
    case kControlStaticTextTextTag:
        return isText ? Data::Text : Data::None;
    case kControlStaticTextCFStringTag:
        return isText ? Data::CFString : Data::None;
    case kControlFontStyleTag:
        return hasFont ? Data::FontStyle : Data::None;
    case kControlPictureHandleTag:
        return kind == ControlKind::Image ? Data::Image : Data::None;
    case kControlPushButtonDefaultTag:
        return isButton ? Data::Default : Data::None;
    case kControlPushButtonCancelTag:
        return isButton ? Data::Cancel : Data::None;
    default:
        return Data::None;
    }
}

Size SizeOf(const OpaqueControlRef& control, Data data)
{
    switch (data) {
    case Data::Text:
        return static_cast<Size>(control.text.size());
    case Data::CFString:
        return sizeof(CFStringRef);
    case Data::FontStyle:
        return sizeof(ControlFontStyleRec);
    case Data::Image:
        return sizeof(PicHandle);
    case Data::Default:
    case Data::Cancel:
        return sizeof(Boolean);
    case Data::None:
        break;
    }
    return 0;
}

template <class T> T Take(const void* data) // which need not be aligned
{
    T value;
    std::memcpy(&value, data, sizeof value);
    return value;
}

// A user may have typed since the text was set; else it is still the bytes that were given.
void ReadBack(OpaqueControlRef& control)
{
    if (control.kind == ControlKind::EditText) {
        const auto* edit = static_cast<const QLineEdit*>(control.widget);
        control.text = edit->isModified() ? edit->text().toStdString() : control.text;
    } else if (control.kind == ControlKind::EditLines) {
        const auto* edit = static_cast<const QPlainTextEdit*>(control.widget);
        control.text
            = edit->document()->isModified() ? edit->toPlainText().toStdString() : control.text;
    }
}

OSErr SetText(OpaqueControlRef& control, CFStringRef string)
{
    if (!string) {
        return paramErr;
    }
    const CFIndex most = CFStringGetLength(string) * 3 + 1; // UTF-8 bytes of a 16-bit unit
    std::string bytes(static_cast<std::size_t>(most), '\0');
    if (!CFStringGetCString(string, bytes.data(), most, kCFStringEncodingUTF8)) {
        return paramErr;
    }
    bytes.resize(std::strlen(bytes.c_str()));
    control.SetText(std::move(bytes));
    return noErr;
}

// Decoded at once: the handle may be released while the control still shows the picture.
OSErr SetPicture(OpaqueControlRef& control, PicHandle picture)
{
    const auto handle = reinterpret_cast<Handle>(picture);
    const Size size = GetHandleSize(handle);
    auto decoded
        = size > 0 ? DecodedPicture::Decode(*handle, static_cast<std::size_t>(size)) : nullptr;
    if (!decoded) {
        return paramErr;
    }
    control.picture = picture;
    static_cast<PictureView*>(control.widget)->SetPicture(std::move(decoded));
    return noErr;
}

} // namespace

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

OpaqueControlRef::OpaqueControlRef(OwnWindow& owner,
                                   OpaqueControlRef* in,
                                   ControlKind what,
                                   const QRect& where)
    : window(&owner)
    , kind(what)
    , widget(CreateWidget(what, where, in ? in->widget : owner.widget.data()))
    , bounds(where)
    , firstBounds(where)
    , target(in ? &in->target : &owner.target)
    , container(in)
{
    Place();
    ApplyFont();
}

void OpaqueControlRef::Place()
{
    QRect place = bounds.translated(container ? -container->bounds.topLeft() : QPoint());
    if (kind == ControlKind::EditText || kind == ControlKind::EditLines) {
        place.adjust(-kEditFrame, -kEditFrame, kEditFrame, kEditFrame);
    }
    widget->setGeometry(place);
}

// How far out each edge has moved. An edge that follows nothing keeps its distance to the opposite
// one.
QMargins OpaqueControlRef::Growth() const
{
    const QRect first = container ? container->firstBounds : QRect({}, window->firstSize);
    const QRect now = container ? container->bounds : QRect({}, window->widget->size());
    const auto edges = [](Binding low, Binding high, int moved, int grown) {
        const auto follow
            = [=](Binding edge) { return moved + (edge == Binding::BottomRight ? grown : 0); };
        return std::pair(follow(low == Binding::None ? high : low),
                         follow(high == Binding::None ? low : high));
    };
    const auto [left, right] = edges(bindings.left, bindings.right, now.left() - first.left(),
                                     now.width() - first.width());
    const auto [top, bottom] = edges(bindings.top, bindings.bottom, now.top() - first.top(),
                                     now.height() - first.height());
    return { -left, -top, right, bottom };
}

void OpaqueControlRef::Arrange()
{
    if (container) {
        container->Arrange();
    }
    QRect arranged = firstBounds.marginsAdded(Growth());
    arranged.setSize(arranged.size().expandedTo({ 0, 0 }));
    if (arranged != bounds) {
        bounds = arranged;
        Place();
    }
}

void OpaqueControlRef::EmbedIn(OpaqueControlRef& other)
{
    container = &other;
    target.next = &other.target;
    firstBounds = bounds.marginsRemoved(Growth());
    widget->setParent(other.widget); // keeps the numbers of its place, and hides it
    Place();
    widget->setVisible(!hidden);
}

OpaqueControlRef& Controls_Create(OwnWindow& window,
                                  OpaqueControlRef* container,
                                  ControlKind kind,
                                  const QRect& bounds)
{
    auto control = std::make_shared<OpaqueControlRef>(window, container, kind, bounds);
    if (auto* button = qobject_cast<QAbstractButton*>(control->widget)) {
        QObject::connect(button, &QAbstractButton::clicked,
                         [weak = control->weak_from_this()] { Pressed(weak); });
    } else if (auto* box = qobject_cast<QGroupBox*>(control->widget)) {
        QObject::connect(box, &QGroupBox::clicked,
                         [weak = control->weak_from_this()] { Pressed(weak); });
    }
    window.controls.push_back(control);
    return *control;
}

void OpaqueControlRef::SetText(std::string bytes)
{
    text = std::move(bytes);
    const QString shown = Decode(text);
    switch (kind) {
    case ControlKind::StaticText:
        static_cast<TextView*>(widget)->SetText(shown);
        return;
    case ControlKind::EditText:
        static_cast<QLineEdit*>(widget)->setText(shown);
        return;
    case ControlKind::EditLines:
        static_cast<QPlainTextEdit*>(widget)->setPlainText(shown);
        return;
    case ControlKind::GroupBox:
        static_cast<QGroupBox*>(widget)->setTitle(Literal(shown));
        break;
    case ControlKind::PushButton:
    case ControlKind::CheckBox:
    case ControlKind::RadioButton:
        static_cast<QAbstractButton*>(widget)->setText(Literal(shown));
        ApplyFont();
        break;
    default:
        break;
    }
    widget->setAccessibleName(shown);
}

void OpaqueControlRef::SetFontStyle(const ControlFontStyleRec& style)
{
    fontStyle = style;
    ApplyFont();
}

// Sizes are pixels of the original's 72 dpi screen, because the bounds are. Only static text has
// colours.
void OpaqueControlRef::ApplyFont()
{
    struct FontChoice
    {
        int pixels;
        bool bold;
    };
    static constexpr FontChoice kMetaFonts[] // by kControlFontBigSystemFont (-1) and the like
        = { { 13, false }, { 11, false }, { 11, true }, { 12, false }, { 9, false } };
    static constexpr FontChoice kThemeFonts[]
        = { { 13, false }, { 11, false }, { 11, true }, { 12, false },
            { 13, true },  { 13, false }, { 10, false } };

    const auto has = [this](int mask) { return (fontStyle.flags & mask) != 0; };
    FontChoice choice = kMetaFonts[0];
    const auto index = static_cast<std::size_t>(
        has(kControlUseThemeFontIDMask) ? fontStyle.font : -1 - fontStyle.font);
    if (has(kControlUseThemeFontIDMask) && index < std::size(kThemeFonts)) {
        choice = kThemeFonts[index];
    } else if (has(kControlUseFontMask) && index < std::size(kMetaFonts)) {
        choice = kMetaFonts[index];
    }
    int pixels = choice.pixels;
    if (has(kControlAddFontSizeMask)) {
        pixels += fontStyle.size;
    } else if (has(kControlUseSizeMask)) {
        pixels = fontStyle.size;
    }
    QFont font = widget->font();
    font.setPixelSize(std::clamp(pixels, 6, 200));
    font.setBold(choice.bold);
    if (has(kControlUseFaceMask)) {
        font.setBold((fontStyle.style & 1) != 0);
        font.setItalic((fontStyle.style & 2) != 0);
        font.setUnderline((fontStyle.style & 4) != 0);
    }
    if (kind == ControlKind::PushButton) { // a title that is cut tells nobody what will happen
        const int room = bounds.width() - 12;
        while (font.pixelSize() > 9 && QFontMetrics(font).horizontalAdvance(Decode(text)) > room) {
            font.setPixelSize(font.pixelSize() - 1);
        }
    }
    const Qt::Alignment alignment = !has(kControlUseJustMask) ? Qt::AlignLeading
        : fontStyle.just == 1                                 ? Qt::AlignHCenter
        : fontStyle.just == -1                                ? Qt::AlignRight | Qt::AlignAbsolute
        : fontStyle.just == -2                                ? Qt::AlignLeft | Qt::AlignAbsolute
                                                              : Qt::AlignLeading;
    widget->setFont(font);
    if (kind != ControlKind::StaticText) {
        if (kind == ControlKind::EditText) {
            static_cast<QLineEdit*>(widget)->setAlignment(alignment);
        } else if (kind == ControlKind::EditLines) {
            auto* document = static_cast<QPlainTextEdit*>(widget)->document();
            QTextOption option = document->defaultTextOption();
            option.setAlignment(alignment);
            document->setDefaultTextOption(option);
        }
        return;
    }

    auto* view = static_cast<TextView*>(widget);
    view->SetFont(font);
    view->SetAlignment(alignment);
    const auto color
        = [](const RGBColor& rgb) { return QColor::fromRgba64(rgb.red, rgb.green, rgb.blue); };
    QPalette palette;
    if (has(kControlUseForeColorMask)) {
        palette.setColor(QPalette::WindowText, color(fontStyle.foreColor));
    }
    if (has(kControlUseBackColorMask)) {
        palette.setColor(QPalette::Window, color(fontStyle.backColor));
    }
    view->setAutoFillBackground(has(kControlUseBackColorMask));
    view->setPalette(palette); // roles that are not set stay the window's
}

void OpaqueControlRef::SetDefault(bool on)
{
    isDefault = on;
    auto* button = static_cast<QPushButton*>(widget);
    QPointer<QAbstractButton>& current = window->Widget()->defaultButton;
    if (on) {
        for (const ControlPtr& other : window->controls) {
            if (other.get() != this && other->isDefault) {
                other->SetDefault(false);
            }
        }
        current = button;
    } else if (current == button) {
        current = nullptr;
    }
    button->setDefault(on);
}

void OpaqueControlRef::SetCancel(bool on)
{
    isCancel = on;
    QPointer<QAbstractButton>& current = window->Widget()->cancelButton;
    auto* button = static_cast<QAbstractButton*>(widget);
    if (on) {
        current = button;
    } else if (current == button) {
        current = nullptr;
    }
}

void OpaqueControlRef::SetHidden(bool on)
{
    hidden = on;
    widget->setVisible(!on);
}

bool OpaqueControlRef::CanEmbed() const
{
    return kind == ControlKind::Image || kind == ControlKind::Pane || kind == ControlKind::GroupBox
        || kind == ControlKind::Tab;
}

// --- The API

EventTargetRef GetControlEventTarget(ControlRef ref)
{
    const ControlPtr control = Find(ref);
    return control ? &control->target : nullptr;
}

OSStatus GetControlByID(WindowRef ref, const ControlID* id, ControlRef* control)
{
    if (!control) {
        return paramErr;
    }
    *control = nullptr;
    const auto window = Windows_FindOwn(ref);
    if (!window) {
        return Windows_Find(ref) ? errNoRootControl : errInvalidWindowRef;
    }
    if (!id) {
        return paramErr;
    }
    for (const ControlPtr& known : window->controls) {
        if (known->id.signature == id->signature && known->id.id == id->id) {
            *control = known.get();
            return noErr;
        }
    }
    return errUnknownControl;
}

OSErr EmbedControl(ControlRef ref, ControlRef containerRef)
{
    const ControlPtr control = Find(ref);
    const ControlPtr container = Find(containerRef);
    if (!control || !container) {
        return Missing(control ? containerRef : ref);
    }
    if (!container->CanEmbed() || container->window != control->window) {
        return errControlIsNotEmbedder;
    }
    for (const OpaqueControlRef* at = container.get(); at; at = at->container) {
        if (at == control.get()) {
            return errCantEmbedIntoSelf;
        }
    }
    if (control->container == container.get()) {
        return noErr;
    }
    control->EmbedIn(*container);
    return noErr;
}

OSErr SetControlData(ControlRef ref, ControlPartCode, ResType tag, Size size, const void* data)
{
    const ControlPtr control = Find(ref);
    if (!control) {
        return Missing(ref);
    }
    const Data kind = DataOf(*control, tag);
    if (kind == Data::None) {
        return errDataNotSupported;
    }
    if (size < 0 || (kind != Data::Text && size != SizeOf(*control, kind))) {
        return errDataSizeMismatch;
    }
    if (!data && size) {
        return paramErr;
    }
    switch (kind) {
    case Data::Text:
        control->SetText({ static_cast<const char*>(data), static_cast<std::size_t>(size) });
        return noErr;
    case Data::CFString:
        return SetText(*control, Take<CFStringRef>(data));
    case Data::FontStyle:
        control->SetFontStyle(Take<ControlFontStyleRec>(data));
        return noErr;
    case Data::Image:
        return SetPicture(*control, Take<PicHandle>(data));
    case Data::Default:
        control->SetDefault(Take<Boolean>(data) != 0);
        return noErr;
    case Data::Cancel:
        control->SetCancel(Take<Boolean>(data) != 0);
        return noErr;
    case Data::None:
        break;
    }
    return errDataNotSupported;
}

OSErr GetControlDataSize(ControlRef ref, ControlPartCode, ResType tag, Size* size)
{
    const ControlPtr control = Find(ref);
    if (!control) {
        return Missing(ref);
    }
    const Data kind = DataOf(*control, tag);
    if (kind == Data::None) {
        return errDataNotSupported;
    }
    if (!size) {
        return paramErr;
    }
    ReadBack(*control);
    *size = SizeOf(*control, kind);
    return noErr;
}

OSErr GetControlData(
    ControlRef ref, ControlPartCode part, ResType tag, Size size, void* data, Size* actualSize)
{
    Size full = 0;
    if (const OSErr error = GetControlDataSize(ref, part, tag, &full)) {
        return error;
    }
    const ControlPtr control = Find(ref);
    const Data kind = DataOf(*control, tag);
    if (size < 0 || (data && kind != Data::Text && size < full)) {
        return errDataSizeMismatch;
    }
    if (actualSize) {
        *actualSize = full;
    }
    if (!data) {
        return noErr; // asks for the size
    }
    const auto give = [&](const auto& value) { std::memcpy(data, &value, sizeof value); };
    switch (kind) {
    case Data::Text:
        std::memcpy(data, control->text.data(), static_cast<std::size_t>(std::min(size, full)));
        break;
    case Data::CFString: {
        const QByteArray valid = Decode(control->text).toUtf8();
        give(CFStringCreateWithBytes(kCFAllocatorDefault,
                                     reinterpret_cast<const UInt8*>(valid.constData()),
                                     valid.size(), kCFStringEncodingUTF8, false));
        break;
    }
    case Data::FontStyle:
        give(control->fontStyle);
        break;
    case Data::Image:
        give(control->picture);
        break;
    case Data::Default:
        give(control->isDefault);
        break;
    case Data::Cancel:
        give(control->isCancel);
        break;
    case Data::None:
        break;
    }
    return noErr;
}

void HideControl(ControlRef ref)
{
    if (const ControlPtr control = Find(ref)) {
        control->SetHidden(true);
    }
}

void ShowControl(ControlRef ref)
{
    if (const ControlPtr control = Find(ref)) {
        control->SetHidden(false);
    }
}

Boolean IsControlVisible(ControlRef ref)
{
    const ControlPtr control = Find(ref);
    for (const OpaqueControlRef* at = control.get(); at; at = at->container) {
        if (at->hidden) {
            return false;
        }
    }
    return control != nullptr;
}

Rect* GetControlBounds(ControlRef ref, Rect* bounds)
{
    if (bounds) {
        const ControlPtr control = Find(ref);
        const QRect rect = control ? control->bounds : QRect();
        *bounds = { static_cast<SInt16>(rect.top()), static_cast<SInt16>(rect.left()),
                    static_cast<SInt16>(rect.top() + rect.height()),
                    static_cast<SInt16>(rect.left() + rect.width()) };
    }
    return bounds;
}

OSStatus GetControlCommandID(ControlRef ref, UInt32* command)
{
    const ControlPtr control = Find(ref);
    if (!control) {
        return Missing(ref);
    }
    if (!command) {
        return paramErr;
    }
    *command = control->command;
    return noErr;
}

void DrawControls(WindowRef ref)
{
    if (const auto window = Windows_FindOwn(ref)) {
        window->widget->repaint(); // nothing in a hidden window
    }
}

OSStatus HIViewSimulateClick(HIViewRef view, HIViewPartCode, UInt32, HIViewPartCode* part)
{
    const ControlPtr control = Find(view);
    if (!control) {
        return Missing(view);
    }
    auto* button = qobject_cast<QAbstractButton*>(control->widget);
    if (!button) {
        return errMessageNotSupported;
    }
    if (part) {
        *part = button->isEnabled() ? HIViewPartCode { kControlButtonPart } : HIViewPartCode {};
    }
    button->click();
    return noErr;
}
