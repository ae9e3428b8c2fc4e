// SPDX-License-Identifier: MIT
// Controls_qt.h - what stands behind ControlRef.
#pragma once

#include "HIToolbox/Events.h"
#include "QuickDraw/Picture_qt.h"

#include <Carbon/Controls.h>

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
    GroupBox,
    Separator,
    Tab
};

struct OpaqueControlRef : std::enable_shared_from_this<OpaqueControlRef>
{
    OwnWindow* const window; // which owns it
    const ControlKind kind;
    QWidget* const widget; // belongs to the window's widget
    const QRect bounds; // relative to the window's content, at any depth
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

private:
    void ApplyFont();
};

using ControlPtr = std::shared_ptr<OpaqueControlRef>;

/// Adds a control to a window, in a container of it or (null) in the window itself.
OpaqueControlRef& Controls_Create(OwnWindow& window,
                                  OpaqueControlRef* container,
                                  ControlKind kind,
                                  const QRect& bounds);

/// Paints a picture over its whole area, and nothing without one.
class PictureView : public QWidget
{
public:
    using QWidget::QWidget;
    void SetPicture(std::shared_ptr<const DecodedPicture> picture);

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    std::shared_ptr<const DecodedPicture> m_picture;
};
