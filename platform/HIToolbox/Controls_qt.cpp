// SPDX-License-Identifier: MIT
// Controls_qt.cpp - what all controls have in common, and the API's calls on them.
#include "HIToolbox/Controls_qt.h"

#include "support/Bridges_qt.h"

#include <CoreServices/MacErrors.h>

#include <QtCore/QScopedValueRollback>

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

OSErr Missing(ControlRef control) { return control ? controlHandleInvalidErr : paramErr; }

// The data of a control by their tag.
OSErr FindData(ControlRef ref, ResType tag, ControlPtr& control, std::string_view& bytes)
{
    control = Find(ref);
    if (!control)
        return Missing(ref);
    bytes = control->Data(tag);
    return bytes.data() ? noErr : errDataNotSupported;
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
    int& deliveries = window->Widget()->deliveries;
    const QScopedValueRollback delivery(deliveries, deliveries + 1); // outlives the reference below
    const WindowPtr owner = window->shared_from_this();
    HICommandExtended sent {};
    sent.attributes = kHICommandFromControl;
    sent.commandID = command;
    sent.source.control = this;
    owner->SendCommand(sent);
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
    ControlPtr control;
    std::string_view bytes;
    if (const OSErr error = FindData(ref, tag, control, bytes))
        return error;
    if (size < 0 || (tag != kControlStaticTextTextTag && size != std::ssize(bytes)))
        return errDataSizeMismatch;
    if (!data && size != 0)
        return paramErr;
    return control->SetData(tag,
                            { static_cast<const char*>(data), static_cast<std::size_t>(size) });
} catch (...) {
    return memFullErr;
}

OSErr GetControlDataSize(ControlRef ref, ControlPartCode, ResType tag, Size* size)
{
    ControlPtr control;
    std::string_view bytes;
    if (const OSErr error = FindData(ref, tag, control, bytes))
        return error;
    if (!size)
        return paramErr;
    *size = std::ssize(bytes);
    return noErr;
}

OSErr GetControlData(
    ControlRef ref, ControlPartCode, ResType tag, Size size, void* data, Size* actualSize)
{
    ControlPtr control;
    std::string_view bytes;
    if (const OSErr error = FindData(ref, tag, control, bytes))
        return error;
    const bool mayBeCut = tag == kControlStaticTextTextTag;
    if (size < 0 || (data && !mayBeCut && size < std::ssize(bytes)))
        return errDataSizeMismatch;
    if (actualSize)
        *actualSize = std::ssize(bytes);
    if (data)
        bytes.copy(static_cast<char*>(data), static_cast<std::size_t>(size));
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
        *bounds = Bridges_ToRect(control ? control->bounds : QRect());
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
    auto* button = qobject_cast<QAbstractButton*>(control->widget);
    if (!button)
        return errMessageNotSupported;
    const bool isEnabled = button->isEnabled();
    button->click();
    if (part)
        *part = isEnabled ? HIViewPartCode { kControlButtonPart } : HIViewPartCode {};
    return noErr;
} catch (...) {
    return memFullErr;
}
