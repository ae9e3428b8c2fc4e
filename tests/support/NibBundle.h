// SPDX-License-Identifier: MIT
// NibBundle.h - a bundle of a test's own with one interface file, and windows from it.
#pragma once

#include "tests/support/TemporaryFolder.h"

#include <Carbon/Carbon.h>
#include <CoreFoundation/CoreFoundation.h>

#include <filesystem>
#include <functional>
#include <string>
#include <vector>

/// The text of tests/data/example.nib.
inline std::string ExampleNib()
{
    return ReadFile(TEST_DATA "/example.nib/objects.xib");
}

/// An interface file with the window "Test", 200 x 100, that holds these controls.
inline std::string NibOf(const std::string& controls, const std::string& windowProperties = {})
{
    return R"(<?xml version="1.0" standalone="yes"?>
<object class="NSIBObjectData"><string name="targetFramework">IBCarbonFramework</string>
<array name="allObjects"><object class="IBCarbonWindow" id="10">
<string name="windowRect">50 60 150 260 </string>)"
        + windowProperties + R"(<object name="rootControl" class="IBCarbonRootControl" id="11">
<string name="bounds">0 0 100 200 </string><array name="subviews">)"
        + controls + R"(</array></object></object></array>
<dictionary name="nameTable"><string>Test</string><reference idRef="10"/>
<string>Root</string><reference idRef="11"/></dictionary></object>)";
}

// Properties of an object.
inline std::string Text(const char* name, const std::string& value)
{
    return std::string("<string name=\"") + name + "\">" + value + "</string>";
}

inline std::string Number(const char* name, int value)
{
    return std::string("<int name=\"") + name + "\">" + std::to_string(value) + "</int>";
}

inline std::string Truth(const char* name, bool value)
{
    return std::string("<boolean name=\"") + name + (value ? "\">TRUE" : "\">FALSE") + "</boolean>";
}

/// The controls that an object holds.
inline std::string Inside(const std::string& controls)
{
    return "<array name=\"subviews\">" + controls + "</array>";
}

/// One control for NibOf: its id in the file is also its ControlID, with the signature 'test'.
inline std::string NibControl(int id,
                              const std::string& className,
                              const std::string& bounds,
                              const std::string& properties = {})
{
    const std::string number = std::to_string(id);
    return "<object class=\"" + className + "\" id=\"" + number
        + "\"><ostype name=\"controlSignature\">test</ostype><int name=\"controlID\">" + number
        + "</int><string name=\"bounds\">" + bounds + "</string>" + properties + "</object>";
}

class NibBundle
{
public:
    explicit NibBundle(const std::string& xib)
    {
        std::filesystem::create_directories(Resource("test.nib"));
        WriteFile(Resource("test.nib/objects.xib"), xib);
        const std::string path = m_folder.Path("Test.bundle");
        const CFURLRef url = CFURLCreateFromFileSystemRepresentation(
            kCFAllocatorDefault, reinterpret_cast<const UInt8*>(path.data()),
            static_cast<CFIndex>(path.size()), true);
        m_bundle = CFBundleCreate(kCFAllocatorDefault, url);
        CFRelease(url);
    }
    ~NibBundle() { CFRelease(m_bundle); }
    NibBundle(const NibBundle&) = delete;
    NibBundle& operator=(const NibBundle&) = delete;

    std::string Resource(const std::string& name) const
    {
        return m_folder.Path("Test.bundle/Contents/Resources/" + name);
    }
    CFBundleRef Bundle() const { return m_bundle; }

    OSStatus Open(const char* windowName, WindowRef* window) const
    {
        IBNibRef nib = nullptr;
        if (const OSStatus error = CreateNibReferenceWithCFBundle(m_bundle, CFSTR("test"), &nib))
            return error;
        const CFStringRef name
            = CFStringCreateWithCString(kCFAllocatorDefault, windowName, kCFStringEncodingUTF8);
        const OSStatus result = CreateWindowFromNib(nib, name, window);
        CFRelease(name);
        DisposeNibReference(nib);
        return result;
    }

private:
    TemporaryFolder m_folder;
    CFBundleRef m_bundle;
};

/// A window from an interface file, disposed at the end unless the test did.
class TestWindow
{
public:
    explicit TestWindow(const std::string& xib, const char* name = "Test")
    {
        NibBundle(xib).Open(name, &ref);
    }
    ~TestWindow() { DisposeWindow(ref); }
    TestWindow(const TestWindow&) = delete;
    TestWindow& operator=(const TestWindow&) = delete;
    operator WindowRef() const { return ref; }

    ControlRef Control(SInt32 id, OSType signature = 'test') const
    {
        const ControlID controlID = { signature, id };
        ControlRef control = nullptr;
        GetControlByID(ref, &controlID, &control);
        return control;
    }

    WindowRef ref = nullptr;
};

/// Handles events on a target with a function until it ends.
class Handler
{
public:
    using Function = std::function<OSStatus(EventRef)>;

    Handler(EventTargetRef target, std::vector<EventTypeSpec> types, Function function)
        : m_function(std::move(function))
    {
        result = InstallEventHandler(target, Call, static_cast<UInt32>(types.size()), types.data(),
                                     this, &m_handler);
    }
    ~Handler() { RemoveEventHandler(m_handler); }
    Handler(const Handler&) = delete;
    Handler& operator=(const Handler&) = delete;

    OSStatus result;

private:
    static OSStatus Call(EventHandlerCallRef, EventRef event, void* self)
    {
        return static_cast<Handler*>(self)->m_function(event);
    }
    Function m_function;
    EventHandlerRef m_handler = nullptr;
};

/// Runs a function once from the event loop, `delay` seconds from now.
inline void Later(double delay, std::function<void()> function)
{
    InstallEventLoopTimer(
        GetMainEventLoop(), delay, 0,
        [](EventLoopTimerRef, void* data) {
            const auto* call = static_cast<std::function<void()>*>(data);
            (*call)();
            delete call;
        },
        new std::function<void()>(std::move(function)), nullptr);
}

/// Has the toolbox started, for tests that make Qt widgets of a host first.
inline void StartToolbox()
{
    Later(0, [] {});
}

inline HICommandExtended CommandOf(EventRef event)
{
    HICommandExtended command {};
    GetEventParameter(event, kEventParamDirectObject, typeHICommand, nullptr, sizeof command,
                      nullptr, &command);
    return command;
}
