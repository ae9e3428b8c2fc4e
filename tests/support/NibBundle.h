// SPDX-License-Identifier: MIT
// NibBundle.h - a bundle of a test's own with one interface file, which is written here in short lines; and
// handlers and timers with functions.
#pragma once

#include "tests/support/Conversation.h"
#include "tests/support/Foundation.h"
#include "tools/ResourceWriter.h"

#include <Carbon/Carbon.h>

#include <algorithm>
#include <filesystem>
#include <functional>
#include <sstream>
#include <string>
#include <vector>

/// An interface file with the window "Test", 200 x 100, from a line for the window and one for each control, with
/// further "+" for what another holds. A control's number is its ControlID, with the signature 'test':
///   window title=Keys windowPosition=1
///   + GroupBox 1 10,10,90,190 title='A &amp; B'
///   ++ Button 2 20,20,40,80 command=clos
inline std::string NibOf(const std::string& lines)
{
    std::istringstream in(lines);
    std::string nib = R"(<?xml version="1.0" standalone="yes"?>
<object class="NSIBObjectData"><string name="targetFramework">IBCarbonFramework</string>
<array name="allObjects"><object class="IBCarbonWindow" id="1000">
<string name="windowRect">50 60 150 260 </string>)";
    const auto add = [&nib](const std::string& name, const std::string& value) {
        nib += "<string name=\"" + name + "\">" + value + "</string>";
    };
    std::size_t depth = 0; // of arrays
    for (std::string line; std::getline(in, line);) {
        const auto words = WordsOf(line);
        const std::size_t level = line.find_first_not_of('+');
        for (; depth > 0 && depth >= level; --depth)
            nib += "</array></object>";
        if (level > 0) {
            std::string bounds = words[3] + ' ';
            std::replace(bounds.begin(), bounds.end(), ',', ' ');
            nib += "<object class=\"IBCarbon" + words[1] + "\" id=\"" + words[2] + "\">";
            add("controlSignature", "test");
            add("controlID", words[2]);
            add("bounds", bounds);
        }
        for (std::size_t i = level > 0 ? 4 : 1; i < words.size(); ++i)
            add(words[i].substr(0, words[i].find('=')), words[i].substr(words[i].find('=') + 1));
        nib += level > 0 ? "<array name=\"subviews\">"
                         : "<object name=\"rootControl\" class=\"IBCarbonRootControl\" id=\"1001\">"
                           "\n<array name=\"subviews\">";
        depth = level;
    }
    for (++depth; depth > 0; --depth)
        nib += "</array></object>";
    return nib + R"(</object></array>
<dictionary name="nameTable"><string>Test</string><reference idRef="1000"/>
<string>Root</string><reference idRef="1001"/></dictionary></object>)";
}

class NibBundle
{
public:
    explicit NibBundle(const std::string& xib)
    {
        std::filesystem::create_directories(Resource("test.nib"));
        WriteFile(Resource("test.nib/objects.xib"), xib);
        m_bundle = Own(CFBundleCreate(nullptr, FolderURL(m_folder.Path("Test.bundle")).get()));
    }

    std::string Resource(const std::string& name) const
    {
        return m_folder.Path("Test.bundle/Contents/Resources/" + name);
    }
    CFBundleRef Bundle() const { return m_bundle.get(); }
    void Put(const ResourceWriter& resources) const
    {
        const auto bytes = resources.Serialize().value();
        WriteFile(Resource("Test.rsrc"), { bytes.begin(), bytes.end() });
    }

    OSStatus Open(const std::string& windowName, WindowRef* window) const
    {
        IBNibRef nib = nullptr;
        if (const OSStatus error = CreateNibReferenceWithCFBundle(Bundle(), CFSTR("test"), &nib))
            return error;
        const OSStatus result = CreateWindowFromNib(nib, Str(windowName).get(), window);
        DisposeNibReference(nib);
        return result;
    }

private:
    TemporaryFolder m_folder;
    Ref<CFBundleRef> m_bundle;
};

/// Handles events on a target with a function until it ends.
struct Handler
{
    Handler(EventTargetRef target,
            const std::vector<EventTypeSpec>& types,
            std::function<OSStatus(EventRef)> its)
        : function(std::move(its))
    {
        const auto call = [](EventHandlerCallRef, EventRef event, void* self) {
            return static_cast<Handler*>(self)->function(event);
        };
        InstallEventHandler(target, call, static_cast<UInt32>(types.size()), types.data(), this,
                            &m_handler);
    }
    ~Handler() { RemoveEventHandler(m_handler); }
    Handler(const Handler&) = delete;
    Handler& operator=(const Handler&) = delete;

    const std::function<OSStatus(EventRef)> function;

private:
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
