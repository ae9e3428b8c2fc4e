// SPDX-License-Identifier: MIT
// Events_test.cpp - what events answer to those who install handlers, and missing arguments of all routines.
#include "tests/support/NibBundle.h"

#include <gtest/gtest.h>

struct Events : testing::Test
{
    Events()
    {
        m_bundle.Open("Test", &m_window);
        const ControlID id { 'test', 1 };
        EXPECT_EQ(noErr, GetControlByID(m_window, &id, &m_button));
    }
    ~Events() override { DisposeWindow(m_window); }

    const NibBundle m_bundle { NibOf("window\n+ Button 1 10,10,30,90 command=what") };
    WindowRef m_window = nullptr;
    ControlRef m_button = nullptr;
};

TEST_F(Events, ParametersAreCopiedByNameAndTypeUntilTheHandlerIsRemoved)
{
    const EventTypeSpec command { kEventClassCommand, kEventCommandProcess };
    const auto look = [](EventHandlerCallRef, EventRef event, void* calls) -> OSStatus {
        ++*static_cast<int*>(calls);
        HICommandExtended whole {};
        UInt32 part[2] = { 7, 7 }; // four bytes are asked for
        EventParamType type = 0;
        UInt32 size = 0;
        const auto get = [&](EventParamName name, EventParamType wanted, UInt32 room, void* data) {
            return GetEventParameter(event, name, wanted, &type, room, &size, data);
        };
        EXPECT_EQ(noErr, get(kEventParamDirectObject, typeHICommand, sizeof whole, &whole));
        EXPECT_EQ(noErr, get(kEventParamDirectObject, typeHICommand, 4, part));
        EXPECT_EQ(EventParamType { typeHICommand }, type);
        EXPECT_EQ(sizeof whole, size);
        EXPECT_TRUE(part[0] == whole.attributes && part[1] == 7);
        EXPECT_EQ(eventParameterNotFoundErr, get('none', typeHICommand, 4, part));
        EXPECT_EQ(eventParameterNotFoundErr, get(kEventParamDirectObject, 'long', 4, part));
        return noErr;
    };
    const EventTargetRef target = GetWindowEventTarget(m_window);
    int calls = 0;
    EventHandlerRef handler = nullptr;
    const auto install
        = [&](EventTargetRef on, EventHandlerUPP routine, const EventTypeSpec* type) {
              return InstallEventHandler(on, routine, 1, type, &calls, &handler);
          };
    EXPECT_EQ(noErr, install(target, look, &command));
    EXPECT_EQ(eventHandlerAlreadyInstalledErr, install(target, look, &command));
    EXPECT_EQ(paramErr, install(nullptr, look, &command));
    EXPECT_EQ(paramErr, install(target, nullptr, &command));
    EXPECT_EQ(paramErr, install(target, look, nullptr));
    HIViewSimulateClick(m_button, 0, 0, nullptr);
    EXPECT_EQ(noErr, RemoveEventHandler(handler));
    EXPECT_EQ(paramErr, RemoveEventHandler(handler));
    HIViewSimulateClick(m_button, 0, 0, nullptr);
    EXPECT_EQ(1, calls);
}

TEST_F(Events, MissingArgumentsOfAnyRoutineAreRefused)
{
    WindowRef made = nullptr;
    IBNibRef nib = nullptr;
    const OSStatus results[] = {
        CreateNibReferenceWithCFBundle(nullptr, CFSTR("test"), &nib),
        CreateNibReferenceWithCFBundle(m_bundle.Bundle(), nullptr, &nib),
        CreateNibReferenceWithCFBundle(m_bundle.Bundle(), CFSTR("test"), nullptr),
        CreateWindowFromNib(nullptr, CFSTR("Test"), &made),
        GetWindowClass(m_window, nullptr),
        GetWindowBounds(m_window, kWindowContentRgn, nullptr),
        GetWindowRegion(m_window, kWindowContentRgn, nullptr),
        CopyWindowTitleAsCFString(m_window, nullptr),
        GetControlByID(m_window, nullptr, nullptr),
        GetControlCommandID(m_button, nullptr),
        GetControlDataSize(m_button, 0, 'dflt', nullptr),
        StandardAlert(kAlertStopAlert, nullptr, nullptr, nullptr, nullptr),
        GetEventParameter(nullptr, 0, 0, nullptr, 0, nullptr, nullptr),
        InstallEventLoopTimer(GetMainEventLoop(), 0, 0, nullptr, nullptr, nullptr),
        RemoveEventHandler(nullptr),
    };
    for (const OSStatus result : results)
        EXPECT_EQ(paramErr, result) << "row " << (&result - results);
    DisposeNibReference(nullptr);
}
