// SPDX-License-Identifier: MIT
// ToolboxDouble.cpp - the recorded routines.
#include "tests/ui/ToolboxDouble.h"

#include <cstdarg>
#include <cstdio>
#include <cstring>

ToolboxDouble gToolbox;

namespace {

char sParent;
char sBox;
char sControls[4];
char sRegion;
char sNib;
char sTarget;
char sPicture[sizeof(Picture)];
PicPtr sPicturePointer = reinterpret_cast<PicPtr>(sPicture);
WindowRef sRegionOf = nullptr;

struct Event
{
    UInt32 eventClass;
    UInt32 eventKind;
    UInt32 command;
};

__attribute__((format(printf, 1, 2))) void Record(const char* format, ...)
{
    char line[1024];
    va_list arguments;
    va_start(arguments, format);
    vsnprintf(line, sizeof line, format, arguments);
    va_end(arguments);
    gToolbox.calls.emplace_back(line);
}

const char* NameOf(const void* reference)
{
    static const char* const kControlNames[] = { "pict1", "butn0", "pver1", "pver2" };
    if (reference == nullptr)
        return "null";
    if (reference == &sParent)
        return "parent";
    if (reference == &sBox)
        return "box";
    for (size_t i = 0; i < 4; ++i)
        if (reference == &sControls[i])
            return kControlNames[i];
    return "?";
}

std::string FourCharacters(UInt32 code)
{
    std::string text;
    for (const int shift : { 24, 16, 8, 0 })
        text += static_cast<char>(code >> shift & 0xFF);
    return text;
}

} // namespace

WindowRef ParentWindow()
{
    return reinterpret_cast<WindowRef>(&sParent);
}

WindowRef BoxWindow()
{
    return reinterpret_cast<WindowRef>(&sBox);
}

OSStatus ToolboxDouble::Send(UInt32 eventClass, UInt32 eventKind, UInt32 command)
{
    Event event = { eventClass, eventKind, command };
    return handler(nullptr, reinterpret_cast<EventRef>(&event), handlerData);
}

std::string ToolboxDouble::Transcript() const
{
    std::string text;
    for (const std::string& call : calls)
        text += call + "\n";
    return text;
}

extern "C" {

OSStatus CreateNibReferenceWithCFBundle(CFBundleRef bundle, CFStringRef name, IBNibRef* nib)
{
    Record("CreateNibReference %s %s", bundle != nullptr ? "bundle" : "null",
           CFStringGetCStringPtr(name, kCFStringEncodingUTF8));
    if (gToolbox.nibResult == noErr)
        *nib = reinterpret_cast<IBNibRef>(&sNib);
    return gToolbox.nibResult;
}

OSStatus CreateWindowFromNib(IBNibRef, CFStringRef name, WindowRef* window)
{
    Record("CreateWindowFromNib %s", CFStringGetCStringPtr(name, kCFStringEncodingUTF8));
    if (!gToolbox.hasWindow)
        return kIBCarbonRuntimeCantFindObject;
    *window = BoxWindow();
    return noErr;
}

void DisposeNibReference(IBNibRef)
{
    Record("DisposeNibReference");
}

SInt16 CurResFile(void)
{
    Record("CurResFile");
    return 5;
}

CFBundleRefNum CFBundleOpenBundleResourceMap(CFBundleRef bundle)
{
    Record("OpenBundleResourceMap %s", bundle != nullptr ? "host" : "null");
    return 9;
}

void UseResFile(SInt16 refNum)
{
    Record("UseResFile %d", refNum);
}

PicHandle GetPicture(SInt16 id)
{
    Record("GetPicture %d", id);
    return gToolbox.hasPicture ? &sPicturePointer : nullptr;
}

void ReleaseResource(Handle handle)
{
    Record("ReleaseResource %s", handle != nullptr ? "picture" : "null");
}

void CFBundleCloseBundleResourceMap(CFBundleRef bundle, CFBundleRefNum refNum)
{
    Record("CloseBundleResourceMap %s %d", bundle != nullptr ? "host" : "null", refNum);
}

OSStatus GetControlByID(WindowRef window, const ControlID* id, ControlRef* control)
{
    Record("GetControlByID %s %s %d", NameOf(window), FourCharacters(id->signature).c_str(),
           id->id);
    const std::string name = FourCharacters(id->signature);
    const size_t index = name == "pict" ? 0 : name == "butn" ? 1 : static_cast<size_t>(id->id) + 1;
    *control = reinterpret_cast<ControlRef>(&sControls[index]);
    return noErr;
}

OSStatus SetThemeWindowBackground(WindowRef window, ThemeBrush brush, Boolean update)
{
    Record("SetThemeWindowBackground %s %d %d", NameOf(window), brush, update);
    return noErr;
}

OSErr GetControlDataSize(ControlRef control, ControlPartCode part, ResType tag, Size* size)
{
    Record("GetControlDataSize %s %d %s", NameOf(control), part, FourCharacters(tag).c_str());
    *size = gToolbox.fontDataSize;
    return gToolbox.fontDataSize < 0 ? static_cast<OSErr>(errDataNotSupported) : 0;
}

OSErr GetControlData(
    ControlRef control, ControlPartCode part, ResType tag, Size size, void* data, Size*)
{
    Record("GetControlData %s %d %s %ld", NameOf(control), part, FourCharacters(tag).c_str(), size);
    memcpy(data, &gToolbox.fontStyle, sizeof gToolbox.fontStyle);
    return noErr;
}

OSErr SetControlData(
    ControlRef control, ControlPartCode part, ResType tag, Size size, const void* data)
{
    std::string value;
    if (tag == kControlStaticTextTextTag)
        value = std::string(static_cast<const char*>(data), static_cast<size_t>(size));
    if (tag == kControlPushButtonDefaultTag)
        value = *static_cast<const Boolean*>(data) != 0 ? "true" : "false";
    if (tag == kControlPictureHandleTag)
        value
            = size == sizeof(PicHandle) && *static_cast<const PicHandle*>(data) == &sPicturePointer
            ? "picture"
            : "?";
    if (tag == kControlFontStyleTag) {
        ControlFontStyleRec style;
        memcpy(&style, data, sizeof style);
        char text[64];
        snprintf(text, sizeof text, "flags %X color %X %X %X", static_cast<unsigned>(style.flags),
                 style.foreColor.red, style.foreColor.green, style.foreColor.blue);
        value = text;
    }
    Record("SetControlData %s %d %s %s", NameOf(control), part, FourCharacters(tag).c_str(),
           value.c_str());
    return noErr;
}

void HideControl(ControlRef control)
{
    Record("HideControl %s", NameOf(control));
}

void ShowControl(ControlRef control)
{
    Record("ShowControl %s", NameOf(control));
}

EventTargetRef GetWindowEventTarget(WindowRef window)
{
    Record("GetWindowEventTarget %s", NameOf(window));
    return reinterpret_cast<EventTargetRef>(&sTarget);
}

EventHandlerUPP NewEventHandlerUPP(EventHandlerProcPtr routine)
{
    return routine;
}

OSStatus InstallEventHandler(EventTargetRef,
                             EventHandlerUPP routine,
                             UInt32 count,
                             const EventTypeSpec* types,
                             void* userData,
                             EventHandlerRef* handler)
{
    std::string list;
    for (UInt32 i = 0; i < count; ++i)
        list += " " + FourCharacters(types[i].eventClass) + std::to_string(types[i].eventKind);
    Record("InstallEventHandler%s%s", list.c_str(), handler != nullptr ? " kept" : "");
    gToolbox.handler = routine;
    gToolbox.handlerData = userData;
    return noErr;
}

OSStatus RemoveEventHandler(EventHandlerRef)
{
    Record("RemoveEventHandler");
    return noErr;
}

OSErr EmbedControl(ControlRef control, ControlRef container)
{
    Record("EmbedControl %s %s", NameOf(control), NameOf(container));
    return noErr;
}

void DrawControls(WindowRef window)
{
    Record("DrawControls %s", NameOf(window));
}

OSStatus GetWindowClass(WindowRef window, WindowClass* windowClass)
{
    Record("GetWindowClass %s", NameOf(window));
    *windowClass = kDocumentWindowClass;
    return noErr;
}

OSStatus SetWindowClass(WindowRef window, WindowClass windowClass)
{
    Record("SetWindowClass %s %u", NameOf(window), windowClass);
    return noErr;
}

OSStatus SetWindowModality(WindowRef window, WindowModality modality, WindowRef unavailable)
{
    Record("SetWindowModality %s %u %s", NameOf(window), modality, NameOf(unavailable));
    return noErr;
}

void BringToFront(WindowRef window)
{
    Record("BringToFront %s", NameOf(window));
}

void ShowWindow(WindowRef window)
{
    Record("ShowWindow %s", NameOf(window));
}

void HideWindow(WindowRef window)
{
    Record("HideWindow %s", NameOf(window));
}

RgnHandle NewRgn(void)
{
    Record("NewRgn");
    return reinterpret_cast<RgnHandle>(&sRegion);
}

OSStatus GetWindowRegion(WindowRef window, WindowRegionCode code, RgnHandle)
{
    Record("GetWindowRegion %s %d", NameOf(window), code);
    sRegionOf = window;
    return noErr;
}

Rect* GetRegionBounds(RgnHandle, Rect* bounds)
{
    Record("GetRegionBounds");
    *bounds = sRegionOf == ParentWindow() ? gToolbox.parentBounds : gToolbox.boxBounds;
    return bounds;
}

void DisposeRgn(RgnHandle)
{
    Record("DisposeRgn");
}

void MoveWindow(WindowRef window, SInt16 h, SInt16 v, Boolean front)
{
    Record("MoveWindow %s %d %d %d", NameOf(window), h, v, front);
}

OSStatus RunAppModalLoopForWindow(WindowRef window)
{
    Record("RunAppModalLoop %s", NameOf(window));
    if (gToolbox.modalLoop)
        gToolbox.modalLoop();
    else
        gToolbox.Send(kEventClassCommand, kEventCommandProcess, kHICommandClose);
    return noErr;
}

OSStatus QuitAppModalLoopForWindow(WindowRef window)
{
    Record("QuitAppModalLoop %s", NameOf(window));
    return noErr;
}

void DisposeWindow(WindowRef window)
{
    Record("DisposeWindow %s", NameOf(window));
    gToolbox.Send(kEventClassWindow, kEventWindowClosed);
    Record("disposed");
}

UInt32 GetEventClass(EventRef event)
{
    return reinterpret_cast<Event*>(event)->eventClass;
}

UInt32 GetEventKind(EventRef event)
{
    return reinterpret_cast<Event*>(event)->eventKind;
}

OSStatus GetEventParameter(EventRef event,
                           EventParamName,
                           EventParamType type,
                           EventParamType*,
                           UInt32 size,
                           UInt32*,
                           void* data)
{
    Record("GetEventParameter %s", FourCharacters(type).c_str());
    if (type == typeHICommand && size == sizeof(HICommand))
        static_cast<HICommand*>(data)->commandID = reinterpret_cast<Event*>(event)->command;
    return noErr;
}

OSErr StandardAlert(AlertType type,
                    ConstStr255Param message,
                    ConstStr255Param explanation,
                    const AlertStdAlertParamRec* param,
                    SInt16* itemHit)
{
    const auto text = [](ConstStringPtr pascal) {
        return pascal == nullptr
            ? std::string("null")
            : std::string(reinterpret_cast<const char*>(pascal + 1), pascal[0]);
    };
    Record("StandardAlert %d '%s' '%s' ok=%s cancel=%s preset=%d", type, text(message).c_str(),
           text(explanation).c_str(), text(param->defaultText).c_str(),
           text(param->cancelText).c_str(), *itemHit);
    gToolbox.alertParam = *param;
    if (gToolbox.alertResult == noErr && gToolbox.alertItem != 0)
        *itemHit = gToolbox.alertItem;
    return static_cast<OSErr>(gToolbox.alertResult);
}

} // extern "C"
