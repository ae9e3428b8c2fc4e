// SPDX-License-Identifier: MIT
// BoxCalls_test.cpp - every call that the shipped box makes, in order: this program's routines stand in front
// of the platform's, write down what the module calls, and pass it on.
#include "HIToolbox/Events.h"
#include "tests/module/LoadedModule.h"
#include "tests/support/TemporaryFolder.h"
#include "ui/AboutBox.h"

#include <dlfcn.h>
#include <functional>
#include <map>
#include <sstream>

namespace {

std::string sCalls;
std::map<const void*, std::size_t> sNames; // of references
std::string sRefused; // this routine fails
std::function<void(std::string_view)> sOnCall; // called with the name of each routine
EventHandlerUPP sHandler = nullptr; // installed last
void* sHandlerData = nullptr;

std::string Code(UInt32 code)
{
    return { static_cast<char>(code >> 24), static_cast<char>(code >> 16),
             static_cast<char>(code >> 8), static_cast<char>(code) };
}

// References by the order in which they appear.
template <class Value> std::string Shown(const Value& value)
{
    if constexpr (std::is_arithmetic_v<Value>)
        return ' ' + std::to_string(value);
    else if constexpr (std::is_convertible_v<Value, std::string>)
        return std::string(" ") + value;
    else
        return value ? " #" + std::to_string(sNames.try_emplace(value, sNames.size()).first->second)
                     : " null";
}

// Writes a call down, if the module makes it.
template <class... Arguments>
void Write(const void* caller, const char* routine, const Arguments&... shown)
{
    Dl_info info = {};
    if (dladdr(caller, &info) == 0 || !std::string_view(info.dli_fname).ends_with("/Veltrano"))
        return;
    if (sOnCall)
        sOnCall(routine);
    sCalls += routine;
    ((sCalls += Shown(shown)), ...);
    sCalls += '\n';
}

// The value of a control's data.
std::string ValueOf(ResType tag, Size size, const void* data)
{
    if (tag == kControlStaticTextTextTag)
        return { static_cast<const char*>(data), static_cast<size_t>(size) };
    if (tag == kControlPictureHandleTag)
        return Shown(*static_cast<void* const*>(data)).substr(1);
    if (tag == kControlPushButtonDefaultTag)
        return std::to_string(*static_cast<const Boolean*>(data));
    const auto& style = *static_cast<const ControlFontStyleRec*>(data);
    std::ostringstream text;
    text << std::hex << "flags " << style.flags << " color " << style.foreColor.red << ' '
         << style.foreColor.green << ' ' << style.foreColor.blue;
    return text.str();
}

} // namespace

#define REAL(routine)                                                                              \
    static const auto real = reinterpret_cast<decltype(&routine)>(dlsym(RTLD_NEXT, "vlp_" #routine))
// A routine of the platform, and the arguments that are written down.
#define RECORDED(Result, routine, parameters, arguments, ...)                                      \
    Result routine parameters                                                                      \
    {                                                                                              \
        REAL(routine);                                                                             \
        Write(__builtin_return_address(0), #routine __VA_OPT__(, ) __VA_ARGS__);                   \
        return sRefused == #routine ? std::type_identity_t<Result>(-1L) : real arguments;          \
    }

extern "C" {
// clang-format off
RECORDED(OSStatus, CreateNibReferenceWithCFBundle, (CFBundleRef b, CFStringRef name, IBNibRef* nib), (b, name, nib), b, CFStringGetCStringPtr(name, kCFStringEncodingUTF8))
RECORDED(OSStatus, CreateWindowFromNib, (IBNibRef nib, CFStringRef name, WindowRef* w), (nib, name, w), nib, CFStringGetCStringPtr(name, kCFStringEncodingUTF8))
RECORDED(void, DisposeNibReference, (IBNibRef nib), (nib), nib)
RECORDED(SInt16, CurResFile, (), ())
RECORDED(void, UseResFile, (SInt16 file), (file), file)
RECORDED(CFBundleRefNum, CFBundleOpenBundleResourceMap, (CFBundleRef b), (b), b)
RECORDED(void, CFBundleCloseBundleResourceMap, (CFBundleRef b, CFBundleRefNum map), (b, map), b, map)
RECORDED(PicHandle, GetPicture, (SInt16 id), (id), id)
RECORDED(void, ReleaseResource, (Handle h), (h), static_cast<void*>(h))
RECORDED(OSStatus, GetControlByID, (WindowRef w, const ControlID* id, ControlRef* c), (w, id, c), w, Code(id->signature), id->id)
RECORDED(OSStatus, SetThemeWindowBackground, (WindowRef w, ThemeBrush brush, Boolean update), (w, brush, update), w, brush, update)
RECORDED(void, HideControl, (ControlRef c), (c), c)
RECORDED(void, ShowControl, (ControlRef c), (c), c)
RECORDED(OSErr, EmbedControl, (ControlRef c, ControlRef in), (c, in), c, in)
RECORDED(void, DrawControls, (WindowRef w), (w), w)
RECORDED(OSErr, GetControlDataSize, (ControlRef c, ControlPartCode part, ResType tag, Size* size), (c, part, tag, size), c, part, Code(tag))
RECORDED(OSErr, GetControlData, (ControlRef c, ControlPartCode part, ResType tag, Size size, void* data, Size* actual), (c, part, tag, size, data, actual), c, part, Code(tag), size)
RECORDED(OSErr, SetControlData, (ControlRef c, ControlPartCode part, ResType tag, Size size, const void* data), (c, part, tag, size, data), c, part, Code(tag), ValueOf(tag, size, data))
RECORDED(OSStatus, SetWindowClass, (WindowRef w, WindowClass c), (w, c), w, c)
RECORDED(OSStatus, GetWindowClass, (WindowRef w, WindowClass* c), (w, c), w)
RECORDED(OSStatus, SetWindowModality, (WindowRef w, WindowModality m, WindowRef over), (w, m, over), w, m, over)
RECORDED(void, BringToFront, (WindowRef w), (w), w)
RECORDED(void, ShowWindow, (WindowRef w), (w), w)
RECORDED(void, HideWindow, (WindowRef w), (w), w)
RECORDED(void, MoveWindow, (WindowRef w, SInt16 h, SInt16 v, Boolean front), (w, h, v, front), w, h, v, front)
RECORDED(RgnHandle, NewRgn, (), ())
RECORDED(Rect*, GetRegionBounds, (RgnHandle r, Rect* bounds), (r, bounds))
RECORDED(EventTargetRef, GetWindowEventTarget, (WindowRef w), (w), w)
RECORDED(void, DisposeRgn, (RgnHandle r), (r))
RECORDED(OSStatus, GetWindowRegion, (WindowRef w, WindowRegionCode code, RgnHandle r), (w, code, r), w, code)
RECORDED(OSStatus, RunAppModalLoopForWindow, (WindowRef w), (w), w)
RECORDED(OSStatus, QuitAppModalLoopForWindow, (WindowRef w), (w), w)
RECORDED(void, DisposeWindow, (WindowRef w), (w), w)
RECORDED(OSStatus, GetEventParameter, (EventRef e, EventParamName name, EventParamType type, EventParamType* actual, UInt32 size, UInt32* actualSize, void* data), (e, name, type, actual, size, actualSize, data), Code(type))
RECORDED(OSStatus, RemoveEventHandler, (EventHandlerRef h), (h), h)
// clang-format on

OSStatus InstallEventHandler(EventTargetRef target,
                             EventHandlerUPP routine,
                             UInt32 count,
                             const EventTypeSpec* types,
                             void* data,
                             EventHandlerRef* handler)
{
    REAL(InstallEventHandler);
    std::string list;
    for (UInt32 i = 0; i < count; ++i)
        list += Code(types[i].eventClass) + std::to_string(types[i].eventKind) + ' ';
    list += handler != nullptr ? "kept" : "forgotten";
    Write(__builtin_return_address(0), "InstallEventHandler", list);
    sHandler = routine;
    sHandlerData = data;
    return real(target, routine, count, types, data, handler);
}

} // extern "C"

namespace {

class BoxCalls : public LoadedModule
{
protected:
    /// The calls of a box, which `work` closes, and what it wrote to standard error.
    std::string Record(const char* text = "x",
                       const std::function<void(WindowRef)>& work = PressButton,
                       const std::function<int()>& show = nullptr)
    {
        sCalls.clear();
        sNames.clear();
        const InModalLoop then([&] { work(FrontNonFloatingWindow()); });
        testing::internal::CaptureStderr();
        EXPECT_EQ(1, show ? show() : m_show(m_parent, m_hostBundle, 129, &m_product, text, 1));
        m_errors = testing::internal::GetCapturedStderr();
        return sCalls;
    }

    /// Sends an event to the box's handler.
    static OSStatus Send(UInt32 eventClass, UInt32 eventKind, UInt32 code = 0)
    {
        HICommandExtended command = {};
        command.commandID = code;
        OpaqueEventRef event
            = { eventClass, eventKind, typeHICommand, std::as_bytes(std::span(&command, 1)) };
        return sHandler(nullptr, &event, sHandlerData);
    }

    std::string m_errors;
};

TEST_F(BoxCalls, AreMadeInOrder)
{
    EXPECT_EQ(Record("Licensed to Ada"), ReadFile(TEST_DATA "/box_calls.txt"));
    EXPECT_EQ(m_errors,
              "StaticText_updateText: Product 3.2 (build 88)\n"
              "StaticText_updateText: Licensed to Ada\n");
    m_product.versionText = nullptr;
    const auto least = [&] { return m_showSimple(m_parent, nullptr, 7, &m_product); };
    EXPECT_EQ(Record("", PressButton, least), ReadFile(TEST_DATA "/box_calls_least.txt"));
    EXPECT_EQ(m_errors, "StaticText_updateText: null\nStaticText_updateText: null\n");
    Record("", PressButton, [&] { return m_show(m_parent, nullptr, 7, nullptr, "", 0); });
    EXPECT_EQ(m_errors, "StaticText_updateText: null\nStaticText_updateText: \n");

    // Without a window it ends.
    sRefused = "CreateNibReferenceWithCFBundle";
    EXPECT_EQ(Record(), "CreateNibReferenceWithCFBundle #0 about\nBringToFront #1\n");
    sRefused = "CreateWindowFromNib";
    EXPECT_EQ(Record(),
              "CreateNibReferenceWithCFBundle #0 about\nCreateWindowFromNib #1 AboutDlg\n"
              "DisposeNibReference #1\nBringToFront #2\n");
    sRefused = "";
}

TEST_F(BoxCalls, OtherEventsAreLeftToThePlatform)
{
    Record("x", [](WindowRef) {
        EXPECT_EQ(Send('cmds', 1, 'ok  '), eventNotHandledErr);
        EXPECT_EQ(Send('cmds', 2, 'clos'), eventNotHandledErr);
        EXPECT_EQ(Send('wind', 72), eventNotHandledErr);
        EXPECT_EQ(Send('mous', 73), eventNotHandledErr);
        EXPECT_EQ(sCalls.find("QuitAppModalLoop"), std::string::npos);
        EXPECT_EQ(Send('cmds', 1, 'clos'), noErr);
    });
    // The handler for the hiding event exists, but the box does not install it.
    Record("x", [](WindowRef box) {
        sHandler = Veltrano::AboutBox::HidingEventHandler;
        EXPECT_EQ(Send('wind', 25), eventNotHandledErr);
        EXPECT_EQ(Send('cmds', 23), eventNotHandledErr);
        EXPECT_EQ(Send('wind', 23), noErr);
        EXPECT_FALSE(IsWindowVisible(box));
        if (IsWindowVisible(box))
            PressButton(box);
    });
}

TEST_F(BoxCalls, KeepTheTextButReadTheVersionLate)
{
    char text[] = "first";
    sOnCall = [&](std::string_view routine) {
        if (routine == "CreateNibReferenceWithCFBundle") { // the box is being constructed
            text[0] = 'X';
            m_product.versionText = "late";
        }
    };
    sRefused = "GetControlDataSize"; // then the fonts stay as they are
    EXPECT_EQ(Record(text).find("GetControlData "), std::string::npos);
    sOnCall = nullptr;
    sRefused = "";
    EXPECT_EQ(m_errors, "StaticText_updateText: late\nStaticText_updateText: first\n");
}

} // namespace
