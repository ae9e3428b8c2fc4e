// SPDX-License-Identifier: MIT
// Events_test.cpp - the way of events through targets and handlers.
#include "tests/support/NibBundle.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <memory>

using testing::ElementsAre;

namespace {

const EventTypeSpec kCommand { kEventClassCommand, kEventCommandProcess };

/// An event of one's own.
class Event
{
public:
    Event(UInt32 eventClass, UInt32 kind)
    {
        CreateEvent(nullptr, eventClass, kind, 0, 0, &m_event);
    }
    ~Event() { ReleaseEvent(m_event); }
    Event(const Event&) = delete;
    Event& operator=(const Event&) = delete;
    operator EventRef() const { return m_event; }
    OSStatus SendTo(EventTargetRef target) const { return SendEventToEventTarget(m_event, target); }

private:
    EventRef m_event = nullptr;
};

} // namespace

TEST(Events, ParametersAreCopiedByNameAndType)
{
    const Event event(kEventClassCommand, kEventCommandProcess);
    EXPECT_EQ(kEventClassCommand, GetEventClass(event));
    EXPECT_EQ(1u, GetEventKind(event));
    const char text[] = "abcdef";
    ASSERT_EQ(noErr, SetEventParameter(event, 'name', 'TEXT', 6, text));

    struct Row
    {
        EventParamName name;
        EventParamType type;
        UInt32 size;
        OSStatus result;
        const char* copied;
    };
    const Row rows[] = { { 'name', 'TEXT', 6, noErr, "abcdef..." },
                         { 'name', 'TEXT', 9, noErr, "abcdef..." },
                         { 'name', 'TEXT', 2, noErr, "ab......." },
                         { 'name', 'long', 6, eventParameterNotFoundErr, "........." },
                         { 'none', 'TEXT', 6, eventParameterNotFoundErr, "........." } };
    for (const Row& row : rows) {
        char buffer[] = ".........";
        EventParamType type = 0;
        UInt32 size = 99;
        EXPECT_EQ(row.result,
                  GetEventParameter(event, row.name, row.type, &type, row.size, &size, buffer));
        EXPECT_STREQ(row.copied, buffer) << row.size;
        EXPECT_EQ(row.result == noErr ? 6u : 99u, size);
    }
    EXPECT_EQ(noErr, GetEventParameter(event, 'name', 'TEXT', nullptr, 0, nullptr, nullptr));
}

TEST(Events, NewestHandlerFirstUntilOneTakesTheEvent)
{
    std::vector<int> calls;
    OSStatus answer = eventNotHandledErr;
    const EventTargetRef target = GetApplicationEventTarget();
    const Handler oldest(target, { kCommand }, [&](EventRef) {
        calls.push_back(1);
        return eventNotHandledErr;
    });
    const Handler other(target, { { kEventClassCommand, kEventCommandUpdateStatus } },
                        [&](EventRef) {
                            calls.push_back(2);
                            return noErr;
                        });
    const Handler newest(target, { kCommand }, [&](EventRef) {
        calls.push_back(3);
        return answer;
    });
    const Event event(kEventClassCommand, kEventCommandProcess);
    EXPECT_EQ(eventNotHandledErr, event.SendTo(target));
    EXPECT_THAT(calls, ElementsAre(3, 1));
    calls.clear();
    answer = paramErr; // anything but "not handled" ends the way and goes back to the sender
    EXPECT_EQ(paramErr, event.SendTo(target));
    EXPECT_THAT(calls, ElementsAre(3));
    calls.clear();
    answer = eventPassToNextTargetErr;
    EXPECT_EQ(eventNotHandledErr, event.SendTo(target));
    EXPECT_THAT(calls, ElementsAre(3));
}

TEST(Events, InstallingAndRemoving)
{
    const EventTargetRef target = GetApplicationEventTarget();
    const auto routine = [](EventHandlerCallRef, EventRef, void*) -> OSStatus { return noErr; };
    const EventHandlerUPP upp = NewEventHandlerUPP(routine);
    int user = 0;
    EventHandlerRef handler = nullptr;
    EXPECT_EQ(noErr, InstallEventHandler(target, upp, 1, &kCommand, &user, &handler));
    EXPECT_EQ(eventHandlerAlreadyInstalledErr,
              InstallEventHandler(target, upp, 1, &kCommand, &user, nullptr));
    EXPECT_EQ(paramErr, InstallEventHandler(nullptr, upp, 1, &kCommand, &user, nullptr));
    EXPECT_EQ(paramErr, InstallEventHandler(target, nullptr, 1, &kCommand, &user, nullptr));
    EXPECT_EQ(paramErr, InstallEventHandler(target, upp, 1, nullptr, nullptr, nullptr));
    EXPECT_EQ(noErr, RemoveEventHandler(handler));
    EXPECT_EQ(paramErr, RemoveEventHandler(handler));
    EXPECT_EQ(paramErr, RemoveEventHandler(nullptr));
    const Event event(kEventClassCommand, kEventCommandProcess);
    EXPECT_EQ(eventNotHandledErr, event.SendTo(target));
    EXPECT_EQ(paramErr, event.SendTo(nullptr));
}

TEST(Events, AHandlerMayRemoveItselfAndOthers)
{
    int calls = 0;
    const EventTargetRef target = GetApplicationEventTarget();
    std::unique_ptr<Handler> first;
    std::unique_ptr<Handler> second;
    first = std::make_unique<Handler>(target, std::vector { kCommand }, [&](EventRef) {
        ++calls; // removed before its turn: never called
        return noErr;
    });
    second = std::make_unique<Handler>(target, std::vector { kCommand }, [&](EventRef) {
        first.reset();
        second.reset();
        return eventNotHandledErr;
    });
    EXPECT_EQ(eventNotHandledErr, Event(kEventClassCommand, kEventCommandProcess).SendTo(target));
    EXPECT_EQ(0, calls);
}

TEST(Events, CommandsClimbFromTheControlToTheApplication)
{
    const TestWindow window(
        NibOf(NibControl(1, "IBCarbonUserPane", "0 0 100 200 ",
                         "<array name=\"subviews\">"
                             + NibControl(2, "IBCarbonButton", "10 10 30 90 ",
                                          "<ostype name=\"command\">what</ostype>")
                             + "</array>")));
    std::vector<int> calls;
    OSStatus windowAnswer = eventNotHandledErr;
    const auto note = [&](int number) {
        return [&, number](EventRef event) -> OSStatus {
            const HICommandExtended command = CommandOf(event);
            EXPECT_EQ(kHICommandFromControl, static_cast<int>(command.attributes));
            EXPECT_EQ(static_cast<UInt32>('what'), command.commandID);
            EXPECT_EQ(window.Control(2), command.source.control);
            calls.push_back(number);
            return number == 3 ? windowAnswer : eventNotHandledErr;
        };
    };
    const Handler button(GetControlEventTarget(window.Control(2)), { kCommand }, note(1));
    const Handler pane(GetControlEventTarget(window.Control(1)), { kCommand }, note(2));
    const Handler top(GetWindowEventTarget(window), { kCommand }, note(3));
    const Handler application(GetApplicationEventTarget(), { kCommand }, note(4));
    HIViewPartCode part = 0;
    EXPECT_EQ(noErr, HIViewSimulateClick(window.Control(2), 0, 0, &part));
    EXPECT_EQ(kControlButtonPart, part);
    EXPECT_THAT(calls, ElementsAre(1, 2, 3, 4));
    calls.clear();
    windowAnswer = noErr;
    HIViewSimulateClick(window.Control(2), 0, 0, nullptr);
    EXPECT_THAT(calls, ElementsAre(1, 2, 3));
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
