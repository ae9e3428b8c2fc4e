// SPDX-License-Identifier: MIT
// Events_test.cpp - events and their handlers, and timers.
#include "tests/support/NibBundle.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <memory>

using testing::ElementsAre;

namespace {

const EventTypeSpec kCommand { kEventClassCommand, kEventCommandProcess };

/// A window whose button sends the command 'what'.
struct Sender : TestWindow
{
    Sender()
        : TestWindow(NibOf(NibControl(
            1, "IBCarbonButton", "10 10 30 90 ", "<ostype name=\"command\">what</ostype>")))
    {
    }
    EventTargetRef Target() const { return GetWindowEventTarget(ref); }
    void Press() const { EXPECT_EQ(noErr, HIViewSimulateClick(Control(1), 0, 0, nullptr)); }
};

} // namespace

TEST(Events, ParametersAreCopiedByNameAndType)
{
    const Sender window;
    int calls = 0;
    const Handler handler(window.Target(), { kCommand }, [&](EventRef event) {
        ++calls;
        EXPECT_EQ(kEventClassCommand, GetEventClass(event));
        EXPECT_EQ(1u, GetEventKind(event));
        const HICommandExtended whole = CommandOf(event);
        EXPECT_EQ(kHICommandFromControl, static_cast<int>(whole.attributes));
        EXPECT_EQ(static_cast<UInt32>('what'), whole.commandID);
        EXPECT_EQ(window.Control(1), whole.source.control);

        UInt32 part[2] = { 7, 7 }; // four bytes are asked for
        EventParamType type = 0;
        UInt32 size = 0;
        EXPECT_EQ(noErr,
                  GetEventParameter(event, kEventParamDirectObject, typeHICommand, &type, 4, &size,
                                    part));
        EXPECT_EQ(typeHICommand, static_cast<int>(type));
        EXPECT_EQ(sizeof(HICommandExtended), size);
        EXPECT_EQ(whole.attributes, part[0]);
        EXPECT_EQ(7u, part[1]);
        for (const auto& [name, kind] : { std::pair { 'none', int { typeHICommand } },
                                          std::pair { int { kEventParamDirectObject }, 'long' } }) {
            EXPECT_EQ(eventParameterNotFoundErr,
                      GetEventParameter(event, EventParamName(name), EventParamType(kind), nullptr,
                                        4, &size, part));
        }
        return noErr;
    });
    window.Press();
    EXPECT_EQ(1, calls);
}

TEST(Events, NewestHandlerFirstUntilOneTakesTheEvent)
{
    const Sender window;
    std::vector<int> calls;
    OSStatus answer = eventNotHandledErr;
    const Handler oldest(window.Target(), { kCommand }, [&](EventRef) {
        calls.push_back(1);
        return eventNotHandledErr;
    });
    const Handler other(window.Target(), { { kEventClassWindow, kEventWindowShown } },
                        [&](EventRef) {
                            calls.push_back(2);
                            return noErr;
                        });
    const Handler newest(window.Target(), { kCommand }, [&](EventRef) {
        calls.push_back(3);
        return answer;
    });
    window.Press();
    EXPECT_THAT(calls, ElementsAre(3, 1));
    for (const OSStatus taken :
         { OSStatus { noErr }, OSStatus { paramErr }, OSStatus { eventPassToNextTargetErr } }) {
        calls.clear();
        answer = taken;
        window.Press();
        EXPECT_THAT(calls, ElementsAre(3)) << taken;
    }
}

TEST(Events, InstallingAndRemoving)
{
    const Sender window;
    const auto routine = [](EventHandlerCallRef, EventRef, void* calls) -> OSStatus {
        ++*static_cast<int*>(calls);
        return noErr;
    };
    const EventHandlerUPP upp = NewEventHandlerUPP(routine);
    int calls = 0;
    const auto install
        = [&](EventTargetRef target, EventHandlerUPP handler, const EventTypeSpec* types) {
              return InstallEventHandler(target, handler, 1, types, &calls, nullptr);
          };
    EventHandlerRef handler = nullptr;
    EXPECT_EQ(noErr, InstallEventHandler(window.Target(), upp, 1, &kCommand, &calls, &handler));
    EXPECT_EQ(eventHandlerAlreadyInstalledErr, install(window.Target(), upp, &kCommand));
    EXPECT_EQ(paramErr, install(nullptr, upp, &kCommand));
    EXPECT_EQ(paramErr, install(window.Target(), nullptr, &kCommand));
    EXPECT_EQ(paramErr, install(window.Target(), upp, nullptr));
    window.Press();
    EXPECT_EQ(noErr, RemoveEventHandler(handler));
    EXPECT_EQ(paramErr, RemoveEventHandler(handler));
    EXPECT_EQ(paramErr, RemoveEventHandler(nullptr));
    window.Press();
    EXPECT_EQ(1, calls);
}

TEST(Events, AHandlerMayRemoveItselfAndOthers)
{
    const Sender window;
    int calls = 0;
    std::unique_ptr<Handler> first;
    std::unique_ptr<Handler> second;
    first = std::make_unique<Handler>(window.Target(), std::vector { kCommand }, [&](EventRef) {
        ++calls; // removed before its turn: never called
        return noErr;
    });
    second = std::make_unique<Handler>(window.Target(), std::vector { kCommand }, [&](EventRef) {
        first.reset();
        second.reset();
        return eventNotHandledErr;
    });
    window.Press();
    EXPECT_EQ(0, calls);
}

TEST(Events, TimersFireOnceOrOnAndOnUntilRemoved)
{
    const TestWindow window(NibOf(""));
    ShowWindow(window);
    static WindowRef shown;
    static int once, often;
    shown = window;
    once = often = 0;
    EventLoopTimerRef single = nullptr;
    const EventLoopRef loop = GetMainEventLoop();
    const auto count = [](EventLoopTimerRef, void* counter) { ++*static_cast<int*>(counter); };
    EXPECT_EQ(noErr, InstallEventLoopTimer(loop, 0, 0, count, &once, &single));
    EXPECT_EQ(noErr,
              InstallEventLoopTimer(
                  loop, 0.001, 0.001,
                  [](EventLoopTimerRef timer, void*) {
                      if (++often == 3) {
                          RemoveEventLoopTimer(timer); // from inside
                          Later(0.02, [] { QuitAppModalLoopForWindow(shown); });
                      }
                  },
                  nullptr, nullptr));
    EXPECT_EQ(noErr, RunAppModalLoopForWindow(window));
    EXPECT_EQ(1, once);
    EXPECT_EQ(3, often);
    EXPECT_EQ(noErr, RemoveEventLoopTimer(single));
    EXPECT_EQ(paramErr, RemoveEventLoopTimer(single));
    EXPECT_EQ(paramErr, InstallEventLoopTimer(loop, 0, 0, nullptr, nullptr, nullptr));
}
