// SPDX-License-Identifier: MIT
// Controls_qt.h - what stands behind ControlRef.
#pragma once

#include "HIToolbox/Events.h"
#include "QuickDraw/Picture_qt.h"

#include <Carbon/Controls.h>

#include <QtCore/QMargins>
#include <QtCore/QRect>
#include <QtWidgets/QWidget>

#include <memory>
#include <string>

struct OwnWindow;

enum class ControlKind {
    Pane, // holds others and draws nothing: also what stands for kinds that are not known
    Image,
    PushButton,
    CheckBox,
    RadioButton,
    StaticText,
    EditText,
    EditLines, // several lines
    GroupBox,
    Separator,
    Tab
};

/// What an edge of a control follows when its container changes size.
enum class Binding { None, TopLeft, BottomRight };

struct Bindings
{
    Binding left = Binding::None;
    Binding top = Binding::None;
    Binding right = Binding::None;
    Binding bottom = Binding::None;
};

struct OpaqueControlRef : std::enable_shared_from_this<OpaqueControlRef>
{
    OwnWindow* const window; // which owns it
    const ControlKind kind;
    QWidget* const widget; // belongs to the window's widget
    QRect bounds; // relative to the window's content, at any depth
    QRect firstBounds; // in the window as it was made
    Bindings bindings;
    OpaqueEventTargetRef target;
    OpaqueControlRef* container; // null in the window itself
    ControlID id {};
    UInt32 command = 0; // 0: none
    bool hidden = false; // by itself; its container may be hidden too
    std::string text; // the bytes as given
    ControlFontStyleRec fontStyle {};
    Boolean isDefault = false;
    Boolean isCancel = false;
    PicHandle picture = nullptr; // as given, never looked into later

    OpaqueControlRef(OwnWindow& owner, OpaqueControlRef* in, ControlKind what, const QRect& where);
    OpaqueControlRef(const OpaqueControlRef&) = delete;
    OpaqueControlRef& operator=(const OpaqueControlRef&) = delete;

    void SetText(std::string bytes);
    void SetFontStyle(const ControlFontStyleRec& style);
    void SetDefault(bool on);
    void SetCancel(bool on);
    void SetHidden(bool on);
    bool CanEmbed() const;
    void EmbedIn(OpaqueControlRef& other);
    /// Brings the bounds up to date with the container's.
    void Arrange();

private:
    QMargins Growth() const;
    void Place();
    void ApplyFont();
};

using ControlPtr = std::shared_ptr<OpaqueControlRef>;

/// Adds a control to a window, in a container of it or (null) in the window itself.
OpaqueControlRef& Controls_Create(OwnWindow& window,
                                  OpaqueControlRef* container,
                                  ControlKind kind,
                                  const QRect& bounds);

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

/// A check box or radio button that the user switches on and off, or only the program.
template <class Button> class Toggle : public Button
{
public:
    using Button::Button;
    bool automatic = true;

protected:
    void nextCheckState() override
    {
        if (automatic) {
            Button::setChecked(!Button::isChecked() || Button::autoExclusive());
        }
    }
};
