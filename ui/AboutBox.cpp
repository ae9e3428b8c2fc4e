// SPDX-License-Identifier: MIT
// AboutBox.cpp - the box from its interface file to its disposal.
#include "ui/AboutBox.h"

#include "System/vlModule.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace Veltrano {

namespace {

enum { kPictureSignature = 'pict', kButtonSignature = 'butn', kTextSignature = 'pver' };

ControlRef FindControl(WindowRef window, OSType signature, SInt32 id)
{
    const ControlID controlID = { signature, id };
    ControlRef control = nullptr;
    GetControlByID(window, &controlID, &control);
    return control;
}

// The start that centres the inner extent in the outer one.
int Middle(int outer0, int outer1, int inner0, int inner1)
{
    return outer0 + ((outer1 - outer0) - (inner1 - inner0)) / 2;
}

} // namespace

AboutBox::AboutBox(ProductRecord* product,
                   CFBundleRef bundle,
                   SInt16 pictureId,
                   WindowRef parent,
                   const char* text,
                   int lightStyle)
    : m_parent(parent)
    , m_product(product)
    , m_bundle(bundle)
    , m_text(text != nullptr ? strdup(text) : nullptr)
    , m_lightStyle(lightStyle)
{
    IBNibRef nib = nullptr;
    if (CreateNibReferenceWithCFBundle(GetModuleBundle(), CFSTR("about"), &nib) == noErr) {
        CreateWindowFromNib(nib, CFSTR("AboutDlg"), &m_window);
        DisposeNibReference(nib);
    }
    if (m_window != nullptr) {
        m_savedResFile = CurResFile();
        m_bundleResMap = CFBundleOpenBundleResourceMap(m_bundle);
        UseResFile(m_bundleResMap);
        m_picture = GetPicture(pictureId);
    }
}

int AboutBox::run()
{
    if (m_window == nullptr) { // no window will ever end this object
        destroy();
        delete this;
        return 1;
    }

    const ControlRef picture = FindControl(m_window, kPictureSignature, 1);
    m_defaultButton = FindControl(m_window, kButtonSignature, 0);
    m_versionLine = FindControl(m_window, kTextSignature, 1);
    m_extraLine = FindControl(m_window, kTextSignature, 2);

    // KEPT: the white brush has light grey text and the black brush black text; the
    // picture, which covers the window, is what the text is read against.
    RGBColor textColor = { 0, 0, 0 };
    if (m_lightStyle != 0)
        textColor = { 0xBFFF, 0xBFFF, 0xBFFF };
    SetThemeWindowBackground(m_window, m_lightStyle != 0 ? kThemeBrushWhite : kThemeBrushBlack,
                             true);
    SetControlTextColor(m_versionLine, textColor);
    SetControlTextColor(m_extraLine, textColor);
    fillTexts();

    const EventTypeSpec events[] = { { kEventClassCommand, kEventCommandProcess },
                                     { kEventClassWindow, kEventWindowClosed } };
    InstallEventHandler(GetWindowEventTarget(m_window), NewEventHandlerUPP(AboutBoxEventHandler),
                        sizeof events / sizeof events[0], events, this, nullptr);

    if (m_picture != nullptr)
        SetControlData(picture, kControlPicturePart, kControlPictureHandleTag, sizeof m_picture,
                       &m_picture);
    EmbedControl(m_defaultButton, picture);
    EmbedControl(m_versionLine, picture);
    EmbedControl(m_extraLine, picture);
    const Boolean isDefault = true;
    SetControlData(m_defaultButton, kControlButtonPart, kControlPushButtonDefaultTag,
                   sizeof isDefault, &isDefault);
    DrawControls(m_window);

    WindowClass windowClass = 0;
    GetWindowClass(m_parent, &windowClass);
    SetWindowClass(m_window, windowClass);
    SetWindowModality(m_window, kWindowModalityWindowModal, m_parent);
    BringToFront(m_window);
    ShowWindow(m_window);

    // KEPT: the point comes from structure bounds, yet MoveWindow places the content there, so the
    // box stands lower and further right than the centre by its frame's top and left.
    Rect parent;
    Rect about;
    GetWindowStructureBounds(&parent, m_parent);
    GetWindowStructureBounds(&about, m_window);
    MoveWindow(
        m_window, static_cast<SInt16>(Middle(parent.left, parent.right, about.left, about.right)),
        static_cast<SInt16>(Middle(parent.top, parent.bottom, about.top, about.bottom)), true);

    const WindowRef window = m_window; // the disposal ends this object
    RunAppModalLoopForWindow(window);
    HideWindow(window);
    DisposeWindow(window);
    return 1;
}

OSStatus AboutBox::close()
{
    if (m_eventHandler != nullptr)
        RemoveEventHandler(m_eventHandler);
    QuitAppModalLoopForWindow(m_window);
    HideWindow(m_window);
    return noErr;
}

void AboutBox::destroy()
{
    free(m_text);
    if (m_window != nullptr) {
        ReleaseResource(reinterpret_cast<Handle>(m_picture));
        UseResFile(m_savedResFile);
        CFBundleCloseBundleResourceMap(m_bundle, m_bundleResMap);
    }
    BringToFront(m_parent);
}

void AboutBox::fillTexts()
{
    StaticText_updateText(m_versionLine, m_product != nullptr ? m_product->versionText : nullptr);
    StaticText_updateText(m_extraLine, m_text);
}

OSStatus AboutBox::HidingEventHandler(EventHandlerCallRef, EventRef event, void* aboutBox)
{
    if (GetEventClass(event) == kEventClassWindow && GetEventKind(event) == kEventWindowHiding)
        return static_cast<AboutBox*>(aboutBox)->close();
    return eventNotHandledErr;
}

void StaticText_updateText(ControlRef control, const char* text)
{
    if (text == nullptr) {
        fprintf(stderr, "%s: null\n", "StaticText_updateText");
        HideControl(control);
        return;
    }
    fprintf(stderr, "%s: %s\n", "StaticText_updateText", text);
    SetControlData(control, kControlEntireControl, kControlStaticTextTextTag,
                   static_cast<Size>(strlen(text)), text);
    ShowControl(control);
}

void SetControlTextColor(ControlRef control, RGBColor color)
{
    Size size = 0;
    if (GetControlDataSize(control, kControlEntireControl, kControlFontStyleTag, &size) != noErr
        || size <= 23)
        return;
    auto* style = static_cast<ControlFontStyleRec*>(malloc(static_cast<size_t>(size)));
    if (style == nullptr)
        return;
    if (GetControlData(control, kControlEntireControl, kControlFontStyleTag, size, style, nullptr)
        == noErr) {
        style->foreColor = color; // KEPT: the flags stay, so a style without the colour shows none
        SetControlData(control, kControlEntireControl, kControlFontStyleTag, size, style);
    }
    free(style);
}

Rect* GetWindowStructureBounds(Rect* out, WindowRef window)
{
    const RgnHandle region = NewRgn();
    GetWindowRegion(window, kWindowStructureRgn, region);
    GetRegionBounds(region, out);
    DisposeRgn(region);
    return out;
}

OSStatus AboutBoxEventHandler(EventHandlerCallRef, EventRef event, void* userData)
{
    auto* aboutBox = static_cast<AboutBox*>(userData);
    const UInt32 eventClass = GetEventClass(event);
    const UInt32 eventKind = GetEventKind(event);

    if (eventClass == kEventClassCommand && eventKind == kEventCommandProcess) {
        HICommand command = {};
        GetEventParameter(event, kEventParamDirectObject, typeHICommand, nullptr, sizeof command,
                          nullptr, &command);
        if (command.commandID == kHICommandClose)
            return aboutBox->close();
    }
    if (eventClass != kEventClassWindow)
        return eventNotHandledErr;

    WindowRef window = nullptr;
    GetEventParameter(event, kEventParamDirectObject, typeWindowRef, nullptr, sizeof window,
                      nullptr, &window);
    if (eventKind == kEventWindowClosed && aboutBox != nullptr) {
        aboutBox->destroy();
        delete aboutBox;
    }
    return eventNotHandledErr;
}

} // namespace Veltrano
