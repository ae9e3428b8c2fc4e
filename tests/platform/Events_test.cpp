// SPDX-License-Identifier: MIT
// Events_test.cpp - what events answer to those who install handlers, and missing arguments of all routines.
#include "tests/support/NibBundle.h"

#include <gtest/gtest.h>

TEST(Events, ParametersAreCopiedByNameAndTypeUntilTheHandlerIsRemoved)
{
    const TestWindow window("window\n+ Button 1 10,10,30,90 command=what");
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
        EXPECT_EQ(whole.attributes, part[0]);
        EXPECT_EQ(7u, part[1]);
        EXPECT_EQ(eventParameterNotFoundErr, get('none', typeHICommand, 4, part));
        EXPECT_EQ(eventParameterNotFoundErr, get(kEventParamDirectObject, 'long', 4, part));
        return noErr;
    };
    const EventHandlerUPP upp = NewEventHandlerUPP(look);
    const EventTargetRef target = GetWindowEventTarget(window);
    int calls = 0;
    EventHandlerRef handler = nullptr;
    const auto install
        = [&](EventTargetRef on, EventHandlerUPP routine, const EventTypeSpec* type) {
              return InstallEventHandler(on, routine, 1, type, &calls, &handler);
          };
    EXPECT_EQ(noErr, install(target, upp, &command));
    EXPECT_EQ(eventHandlerAlreadyInstalledErr, install(target, upp, &command));
    EXPECT_EQ(paramErr, install(nullptr, upp, &command));
    EXPECT_EQ(paramErr, install(target, nullptr, &command));
    EXPECT_EQ(paramErr, install(target, upp, nullptr));
    HIViewSimulateClick(window.Control(1), 0, 0, nullptr);
    EXPECT_EQ(noErr, RemoveEventHandler(handler));
    EXPECT_EQ(paramErr, RemoveEventHandler(handler));
    EXPECT_EQ(paramErr, RemoveEventHandler(nullptr));
    HIViewSimulateClick(window.Control(1), 0, 0, nullptr);
    EXPECT_EQ(1, calls);
}

TEST(Events, MissingArgumentsOfAnyRoutineAreRefused)
{
    const NibBundle bundle(NibOf("window"));
    const TestWindow window("window\n+ Button 1 10,10,30,90");
    WindowRef made = nullptr;
    IBNibRef nib = nullptr;
    const OSStatus results[] = {
        CreateNibReferenceWithCFBundle(nullptr, CFSTR("test"), &nib),
        CreateNibReferenceWithCFBundle(bundle.Bundle(), nullptr, &nib),
        CreateNibReferenceWithCFBundle(bundle.Bundle(), CFSTR("test"), nullptr),
        CreateWindowFromNib(nullptr, CFSTR("Test"), &made),
        GetWindowClass(window, nullptr),
        GetWindowBounds(window, kWindowContentRgn, nullptr),
        GetWindowRegion(window, kWindowContentRgn, nullptr),
        CopyWindowTitleAsCFString(window, nullptr),
        GetControlByID(window, nullptr, nullptr),
        GetControlCommandID(window.Control(1), nullptr),
        GetControlDataSize(window.Control(1), 0, 'dflt', nullptr),
        StandardAlert(kAlertStopAlert, nullptr, nullptr, nullptr, nullptr),
        GetEventParameter(nullptr, 0, 0, nullptr, 0, nullptr, nullptr),
        InstallEventLoopTimer(GetMainEventLoop(), 0, 0, nullptr, nullptr, nullptr),
    };
    for (const OSStatus result : results)
        EXPECT_EQ(paramErr, result) << "row " << (&result - results);
    DisposeNibReference(nullptr);
}
