// SPDX-License-Identifier: MIT
// Controls_qt.cpp - what all controls have in common, and the API's calls on them.
#include "HIToolbox/Controls_qt.h"

#include "HIToolbox/OwnWindow_qt.h"
#include "support/Bridges_qt.h"

#include <CoreServices/MacErrors.h>

#include <algorithm>

namespace {

ControlPtr Find(ControlRef control)
{
    for (const WindowPtr& window : Windows_All()) {
        if (const auto* own = dynamic_cast<const OwnWindow*>(window.get())) {
            for (const ControlPtr& known : own->controls) {
                if (known.get() == control)
                    return known;
            }
        }
    }
    return nullptr;
}

OSErr Missing(ControlRef control)
{
    return control ? controlHandleInvalidErr : paramErr;
}

} // namespace

OpaqueControlRef::OpaqueControlRef(OwnWindow& owner,
                                   QWidget* own,
                                   const QRect& where,
                                   int ownMargin)
    : window(&owner)
    , widget(own)
    , margin(ownMargin)
{
    SetBounds(where);
}

void OpaqueControlRef::SetBounds(const QRect& where)
{
    bounds = where;
    const QPoint origin = container ? container->bounds.topLeft() : QPoint();
    widget->setGeometry(bounds.translated(-origin).adjusted(-margin, -margin, margin, margin));
}

void OpaqueControlRef::EmbedIn(OpaqueControlRef& other)
{
    container = &other;
    widget->setParent(other.widget); // hides it
    SetBounds(bounds);
    widget->setVisible(!hidden);
}

void OpaqueControlRef::SetHidden(bool on)
{
    hidden = on;
    widget->setVisible(!on);
    window->UpdateTexts();
}

void OpaqueControlRef::SetTitle(const std::string& utf8)
{
    widget->setAccessibleName(QString::fromStdString(utf8));
}

void OpaqueControlRef::SendCommand()
{
    if (command == 0)
        return;
    const ControlPtr held = shared_from_this();
    const WindowWidget::Delivery delivery(window->Widget()); // outlives the last reference below
    const WindowPtr owner = window->shared_from_this();
    HICommandExtended sent {};
    sent.attributes = kHICommandFromControl;
    sent.commandID = command;
    sent.source.control = this;
    owner->SendCommand(sent);
}

OSErr OpaqueControlRef::SetData(ResType, Size, const void*)
{
    return errDataNotSupported;
}

OSErr OpaqueControlRef::GetDataSize(ResType, Size&) const
{
    return errDataNotSupported;
}

void OpaqueControlRef::GetData(ResType, Size, void*) const { }

void Controls_Add(const ControlPtr& control, OpaqueControlRef* container)
{
    if (container)
        control->EmbedIn(*container);
    control->window->controls.push_back(control);
}

// The API

OSStatus GetControlByID(WindowRef ref, const ControlID* id, ControlRef* control)
{
    if (!control)
        return paramErr;
    *control = nullptr;
    const auto window = OwnWindow_Find(ref);
    if (!window)
        return Windows_Find(ref) ? errNoRootControl : errInvalidWindowRef;
    if (!id)
        return paramErr;
    for (const ControlPtr& known : window->controls) {
        if (known->id.signature == id->signature && known->id.id == id->id) {
            *control = known.get();
            return noErr;
        }
    }
    return errUnknownControl;
}

OSErr EmbedControl(ControlRef ref, ControlRef containerRef)
try {
    const ControlPtr control = Find(ref);
    const ControlPtr container = Find(containerRef);
    if (!control || !container)
        return Missing(control ? containerRef : ref);
    if (!container->CanEmbed() || container->window != control->window)
        return errControlIsNotEmbedder;
    for (const OpaqueControlRef* at = container.get(); at; at = at->container) {
        if (at == control.get())
            return errCantEmbedIntoSelf;
    }
    if (control->container != container.get())
        control->EmbedIn(*container);
    return noErr;
} catch (...) {
    return memFullErr;
}

OSErr SetControlData(ControlRef ref, ControlPartCode, ResType tag, Size size, const void* data)
try {
    const ControlPtr control = Find(ref);
    return control ? control->SetData(tag, size, data) : Missing(ref);
} catch (...) {
    return memFullErr;
}

OSErr GetControlDataSize(ControlRef ref, ControlPartCode, ResType tag, Size* size)
{
    const ControlPtr control = Find(ref);
    if (!control)
        return Missing(ref);
    Size full = 0;
    const OSErr error = control->GetDataSize(tag, full);
    if (error == noErr && !size)
        return paramErr;
    if (error == noErr)
        *size = full;
    return error;
}

OSErr GetControlData(
    ControlRef ref, ControlPartCode part, ResType tag, Size size, void* data, Size* actualSize)
{
    Size full = 0;
    if (const OSErr error = GetControlDataSize(ref, part, tag, &full))
        return error;
    const bool mayBeCut = tag == kControlStaticTextTextTag;
    if (size < 0 || (data && !mayBeCut && size < full))
        return errDataSizeMismatch;
    if (actualSize)
        *actualSize = full;
    if (data)
        Find(ref)->GetData(tag, std::min(size, full), data);
    return noErr;
}

void HideControl(ControlRef ref)
try {
    if (const ControlPtr control = Find(ref))
        control->SetHidden(true);
} catch (...) {
}

void ShowControl(ControlRef ref)
try {
    if (const ControlPtr control = Find(ref))
        control->SetHidden(false);
} catch (...) {
}

Boolean IsControlVisible(ControlRef ref)
{
    const ControlPtr control = Find(ref);
    for (const OpaqueControlRef* at = control.get(); at; at = at->container) {
        if (at->hidden)
            return false;
    }
    return control != nullptr;
}

Rect* GetControlBounds(ControlRef ref, Rect* bounds)
{
    if (bounds) {
        const ControlPtr control = Find(ref);
        const QRect rect = control ? control->bounds : QRect();
        *bounds = Bridges_ToRect(rect);
    }
    return bounds;
}

OSStatus GetControlCommandID(ControlRef ref, UInt32* command)
{
    const ControlPtr control = Find(ref);
    if (!control)
        return Missing(ref);
    if (!command)
        return paramErr;
    *command = control->command;
    return noErr;
}

OSStatus HIViewSimulateClick(HIViewRef view, HIViewPartCode, UInt32, HIViewPartCode* part)
try {
    const ControlPtr control = Find(view);
    if (!control)
        return Missing(view);
    const bool isEnabled = control->widget->isEnabled();
    if (!control->Click())
        return errMessageNotSupported;
    if (part)
        *part = isEnabled ? HIViewPartCode { kControlButtonPart } : HIViewPartCode {};
    return noErr;
} catch (...) {
    return memFullErr;
}
