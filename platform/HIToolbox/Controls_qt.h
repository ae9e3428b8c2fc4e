// SPDX-License-Identifier: MIT
// Controls_qt.h - the objects behind ControlRef: a class for each kind of control that About boxes and alerts need.
#pragma once

#include "HIToolbox/OwnWindow_qt.h"
#include "HIToolbox/PictureView_qt.h"
#include "HIToolbox/TextView_qt.h"

#include <Carbon/Controls.h>

#include <QtWidgets/QGroupBox>

#include <string>
#include <string_view>

/// Base of all controls. Owned by its window; the widget is owned by the window's widget.
struct OpaqueControlRef : std::enable_shared_from_this<OpaqueControlRef>
{
    OwnWindow* const window;
    QWidget* const widget;
    QRect bounds; // relative to the window's content, at any depth
    const int margin; // of the widget around the bounds
    OpaqueControlRef* container = nullptr; // null in the window itself
    ControlID id {};
    UInt32 command = 0; // 0: none
    bool hidden = false; // by itself; its container may be hidden too

    OpaqueControlRef(OwnWindow& owner, QWidget* own, const QRect& where, int ownMargin = 0);
    virtual ~OpaqueControlRef() = default;
    OpaqueControlRef(const OpaqueControlRef&) = delete;
    OpaqueControlRef& operator=(const OpaqueControlRef&) = delete;

    void SetBounds(const QRect& where);
    void SetHidden(bool on);
    void EmbedIn(OpaqueControlRef& other);
    /// Sends the control's command to the window.
    void SendCommand();

    virtual bool CanEmbed() const { return false; }
    virtual void SetTitle(const std::string& utf8);
    virtual void SetFontStyle(const ControlFontStyleRec&) { }
    /// Sets its text smaller by some pixels than its font style says, but not below 9. False if it does not fit.
    virtual bool FitText(int /*smallerBy*/) { return true; }
    /// The bytes under a tag, for GetControlData and its companions. A null view for a tag that it does not have.
    virtual std::string_view Data(ResType) const { return {}; }
    /// Replaces the bytes under a tag that it has. Only text changes its size.
    virtual OSErr SetData(ResType, std::string_view) { return noErr; }
};

using ControlPtr = std::shared_ptr<OpaqueControlRef>;

/// Holds other controls and draws nothing. Also stands for unknown kinds of control.
struct Pane final : OpaqueControlRef
{
    Pane(OwnWindow& owner, const QRect& where)
        : OpaqueControlRef(owner, new QWidget(owner.widget), where)
    {
    }
    bool CanEmbed() const override { return true; }
};

struct Separator final : OpaqueControlRef
{
    Separator(OwnWindow& owner, const QRect& where);
};

/// Shows a picture, an icon or an image, and may hold other controls.
struct PictureControl final : OpaqueControlRef
{
    PictureControl(OwnWindow& owner, const QRect& where)
        : OpaqueControlRef(owner, new PictureView(owner.widget), where)
    {
    }
    PictureView* View() const { return static_cast<PictureView*>(widget); }
    bool CanEmbed() const override { return true; }
    /// Shows a picture. False and unchanged if the picture is null or cannot be decoded.
    bool SetPicture(PicHandle picture);
    std::string_view Data(ResType tag) const override;
    OSErr SetData(ResType tag, std::string_view bytes) override;

private:
    PicHandle m_picture = nullptr; // as given; decoded at once and never read later
};

/// A control with a text and a font.
struct TextControl : OpaqueControlRef
{
    using OpaqueControlRef::OpaqueControlRef;
    void SetTitle(const std::string& utf8) override;
    void SetFontStyle(const ControlFontStyleRec& style) override;
    std::string_view Data(ResType tag) const override;
    OSErr SetData(ResType tag, std::string_view bytes) override;
    bool FitText(int smallerBy) override;
    QString Text() const { return QString::fromStdString(m_text); }

protected:
    /// Shows the text and its style after a change of either.
    virtual void Update() = 0;
    virtual bool Fits() { return true; }

    std::string m_text; // the bytes as given
    ControlFontStyleRec m_style {};
};

struct GroupBox final : TextControl
{
    GroupBox(OwnWindow& owner, const QRect& where)
        : TextControl(owner, new QGroupBox(owner.widget), where)
    {
    }
    bool CanEmbed() const override { return true; }

protected:
    void Update() override;
};

struct StaticText final : TextControl
{
    StaticText(OwnWindow& owner, const QRect& where)
        : TextControl(owner, new TextView(owner.widget), where, TextView::kMargin)
    {
    }
    TextView* View() const { return static_cast<TextView*>(widget); }
    std::string_view Data(ResType tag) const override;
    OSErr SetData(ResType tag, std::string_view bytes) override;

protected:
    void Update() override;
    bool Fits() override { return View()->Fit(); }
};

struct PushButton final : TextControl
{
    PushButton(OwnWindow& owner, const QRect& where);
    QPushButton* Button() const { return static_cast<QPushButton*>(widget); }
    void SetDefault(bool on); // of a window's buttons one is the default
    std::string_view Data(ResType tag) const override;
    OSErr SetData(ResType tag, std::string_view bytes) override;

protected:
    void Update() override;
    bool Fits() override;

private:
    QObject m_receiver; // of clicks: the widget may outlive the control
};

/// Adds a control to a window.
template <class Kind> std::shared_ptr<Kind> Controls_Create(OwnWindow& window, const QRect& bounds)
{
    const auto control = std::make_shared<Kind>(window, bounds);
    window.controls.push_back(control);
    return control;
}
