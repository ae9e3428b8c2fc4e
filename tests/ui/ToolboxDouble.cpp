// SPDX-License-Identifier: MIT
// ToolboxDouble.cpp - the recorded routines.
#include "tests/ui/ToolboxDouble.h"

#include <cstdio>
#include <cstring>

ToolboxDouble gToolbox;

namespace {

// What the references stand for; only their addresses count.
char sParent;
char sBox;
char sControls[4];
char sPicture[sizeof(Picture)];
PicPtr sPicturePointer = reinterpret_cast<PicPtr>(sPicture);
WindowRef sRegionOf = nullptr;

struct Event
{
    UInt32 eventClass;
    UInt32 eventKind;
    UInt32 command;
};

std::string Code(UInt32 code)
{
    std::string text;
    for (const int shift : { 24, 16, 8, 0 })
        text += static_cast<char>(code >> shift & 0xFF);
    return text;
}

// How an argument is written down: a text as it is, a number in decimal, a reference by its name.

std::string Shown(const std::string& text)
{
    return text;
}

std::string Shown(long number)
{
    return std::to_string(number);
}

std::string Shown(const void* reference)
{
    const std::pair<const void*, const char*> names[] = {
        { nullptr, "null" },
        { &sParent, "parent" },
        { &sBox, "box" },
        { CFBundleGetMainBundle(), "host" },
        { &sControls[0], "pict1" },
        { &sControls[1], "butn0" },
        { &sControls[2], "pver1" },
        { &sControls[3], "pver2" },
        { &sPicturePointer, "picture" },
    };
    for (const auto& [known, name] : names)
        if (reference == known)
            return name;
    return "?";
}

/// Writes down a routine's name and its arguments.
template <class... Arguments> void Record(const char* routine, const Arguments&... arguments)
{
    gToolbox.calls.emplace_back(routine);
    ((gToolbox.calls.back() += " " + Shown(arguments)), ...);
}

std::string TextOf(CFStringRef string)
{
    return CFStringGetCStringPtr(string, kCFStringEncodingUTF8);
}

std::string TextOf(ConstStringPtr pascal)
{
    return pascal == nullptr ? "null"
                             : std::string(reinterpret_cast<const char*>(pascal + 1), pascal[0]);
}

} // namespace

WindowRef ParentWindow()
{
    return reinterpret_cast<WindowRef>(&sParent);
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

// A routine that is written down with these arguments, and its answer.
#define ANSWERED(Result, answer, routine, parameters, ...)                                         \
    Result routine parameters                                                                      \
    {                                                                                              \
        Record(#routine __VA_OPT__(, ) __VA_ARGS__);                                               \
        return answer;                                                                             \
    }
#define RECORDED(Result, ...) ANSWERED(Result, Result(), __VA_ARGS__)

extern "C" {

RECORDED(void, DisposeNibReference, (IBNibRef))
ANSWERED(SInt16, 5, CurResFile, (void))
RECORDED(void, UseResFile, (SInt16 file), file)
ANSWERED(CFBundleRefNum, 9, CFBundleOpenBundleResourceMap, (CFBundleRef bundle), bundle)
RECORDED(
    void, CFBundleCloseBundleResourceMap, (CFBundleRef bundle, CFBundleRefNum map), bundle, map)
ANSWERED(PicHandle, gToolbox.hasPicture ? &sPicturePointer : nullptr, GetPicture, (SInt16 id), id)
RECORDED(void, ReleaseResource, (Handle handle), static_cast<void*>(handle))
RECORDED(OSStatus,
         SetThemeWindowBackground,
         (WindowRef window, ThemeBrush brush, Boolean update),
         window,
         brush,
         update)
RECORDED(void, HideControl, (ControlRef control), control)
RECORDED(void, ShowControl, (ControlRef control), control)
RECORDED(OSErr, EmbedControl, (ControlRef control, ControlRef container), control, container)
RECORDED(void, DrawControls, (WindowRef window), window)
RECORDED(EventTargetRef, GetWindowEventTarget, (WindowRef window), window)
RECORDED(OSStatus, RemoveEventHandler, (EventHandlerRef))
RECORDED(OSStatus, SetWindowClass, (WindowRef window, WindowClass windowClass), window, windowClass)
RECORDED(OSStatus,
         SetWindowModality,
         (WindowRef window, WindowModality modality, WindowRef unavailable),
         window,
         modality,
         unavailable)
RECORDED(void, BringToFront, (WindowRef window), window)
RECORDED(void, ShowWindow, (WindowRef window), window)
RECORDED(void, HideWindow, (WindowRef window), window)
RECORDED(
    void, MoveWindow, (WindowRef window, SInt16 h, SInt16 v, Boolean front), window, h, v, front)
RECORDED(RgnHandle, NewRgn, (void))
RECORDED(void, DisposeRgn, (RgnHandle))
RECORDED(OSStatus, QuitAppModalLoopForWindow, (WindowRef window), window)

OSStatus CreateNibReferenceWithCFBundle(CFBundleRef bundle, CFStringRef name, IBNibRef* nib)
{
    Record(__func__, std::string(bundle != nullptr ? "bundle" : "null"), TextOf(name));
    if (gToolbox.nibResult == noErr)
        *nib = nullptr;
    return gToolbox.nibResult;
}

OSStatus CreateWindowFromNib(IBNibRef, CFStringRef name, WindowRef* window)
{
    Record(__func__, TextOf(name));
    if (!gToolbox.hasWindow)
        return kIBCarbonRuntimeCantFindObject;
    *window = reinterpret_cast<WindowRef>(&sBox);
    return noErr;
}

OSStatus GetControlByID(WindowRef window, const ControlID* id, ControlRef* control)
{
    const std::string name = Code(id->signature);
    Record(__func__, window, name, id->id);
    const size_t index = name == "pict" ? 0 : name == "butn" ? 1 : static_cast<size_t>(id->id) + 1;
    *control = reinterpret_cast<ControlRef>(&sControls[index]);
    return noErr;
}

OSErr GetControlDataSize(ControlRef control, ControlPartCode part, ResType tag, Size* size)
{
    Record(__func__, control, part, Code(tag));
    *size = gToolbox.fontDataSize;
    return noErr;
}

OSErr GetControlData(
    ControlRef control, ControlPartCode part, ResType tag, Size size, void* data, Size*)
{
    Record(__func__, control, part, Code(tag), size);
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
    if (tag == kControlPictureHandleTag && size == sizeof(PicHandle))
        value = *static_cast<const PicHandle*>(data) == &sPicturePointer ? "picture" : "?";
    if (tag == kControlFontStyleTag) {
        ControlFontStyleRec style;
        memcpy(&style, data, sizeof style);
        char text[64];
        snprintf(text, sizeof text, "flags %X color %X %X %X", static_cast<unsigned>(style.flags),
                 style.foreColor.red, style.foreColor.green, style.foreColor.blue);
        value = text;
    }
    Record(__func__, control, part, Code(tag), value);
    return noErr;
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
    std::string list = handler != nullptr ? "kept" : "forgotten";
    for (UInt32 i = 0; i < count; ++i)
        list += " " + Code(types[i].eventClass) + std::to_string(types[i].eventKind);
    Record(__func__, list);
    gToolbox.handler = routine;
    gToolbox.handlerData = userData;
    return noErr;
}

OSStatus GetWindowClass(WindowRef window, WindowClass* windowClass)
{
    Record(__func__, window);
    *windowClass = kDocumentWindowClass;
    return noErr;
}

OSStatus GetWindowRegion(WindowRef window, WindowRegionCode code, RgnHandle)
{
    Record(__func__, window, code);
    sRegionOf = window;
    return noErr;
}

Rect* GetRegionBounds(RgnHandle, Rect* bounds)
{
    Record(__func__);
    *bounds = sRegionOf == ParentWindow() ? gToolbox.parentBounds : gToolbox.boxBounds;
    return bounds;
}

OSStatus RunAppModalLoopForWindow(WindowRef window)
{
    Record(__func__, window);
    if (gToolbox.modalLoop)
        gToolbox.modalLoop();
    else
        gToolbox.Send(kEventClassCommand, kEventCommandProcess, kHICommandClose);
    return noErr;
}

void DisposeWindow(WindowRef window)
{
    Record(__func__, window);
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
    Record(__func__, Code(type));
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
    Record(__func__, type, "'" + TextOf(message) + "'", "'" + TextOf(explanation) + "'",
           "ok=" + TextOf(param->defaultText), "cancel=" + TextOf(param->cancelText),
           "preset=" + std::to_string(*itemHit));
    gToolbox.alertParam = *param;
    if (gToolbox.alertResult == noErr && gToolbox.alertItem != 0)
        *itemHit = gToolbox.alertItem;
    return static_cast<OSErr>(gToolbox.alertResult);
}

} // extern "C"
