// SPDX-License-Identifier: MIT
// StandardAlert_test.cpp - the standard alert: which key and button gives which item, and its
// layout.
#include "tests/support/NibBundle.h"

#include <QtGui/QScreen>
#include <QtTest/QTest>
#include <QtWidgets/QApplication>
#include <QtWidgets/QLabel>
#include <QtWidgets/QPushButton>
#include <QtWidgets/QScrollArea>

#include <algorithm>
#include <gtest/gtest.h>
#include <memory>

namespace {

struct Pascal
{
    explicit Pascal(const std::string& text)
    {
        bytes[0] = static_cast<unsigned char>(std::min<std::size_t>(text.size(), 255));
        std::copy_n(text.begin(), bytes[0], bytes + 1);
    }
    unsigned char bytes[256] = {};
};

AlertStdAlertParamRec YesNo()
{
    AlertStdAlertParamRec param {};
    param.defaultText = reinterpret_cast<ConstStringPtr>("\2No");
    param.cancelText = reinterpret_cast<ConstStringPtr>("\3Yes");
    param.defaultButton = kAlertStdAlertCancelButton;
    return param;
}

QWidget* AlertWidget()
{
    for (QWidget* widget : QApplication::topLevelWidgets())
        if (widget->isVisible() && widget->findChild<QScrollArea*>()) // no host here has one
            return widget;
    return nullptr;
}

QPushButton* ButtonNamed(const char* name)
{
    for (auto* button : AlertWidget()->findChildren<QPushButton*>())
        if (button->accessibleName() == QString::fromUtf8(name))
            return button;
    return nullptr;
}

/// Shows an alert and does something to it. Returns the item.
SInt16 Show(const AlertStdAlertParamRec* param,
            const std::function<void(QWidget*)>& act,
            const std::string& message = "Message",
            const std::string& explanation = "Explanation")
{
    Later(0, [act] { act(AlertWidget()); });
    const Pascal first(message);
    const Pascal second(explanation);
    SInt16 hit = 99;
    EXPECT_EQ(noErr, StandardAlert(kAlertCautionAlert, first.bytes, second.bytes, param, &hit));
    return hit;
}

void Click(const char* name)
{
    QTest::mouseClick(ButtonNamed(name), Qt::LeftButton);
}

} // namespace

TEST(StandardAlert, KeysAndButtonsGiveTheirItems)
{
    AlertStdAlertParamRec three = YesNo();
    three.otherText = reinterpret_cast<ConstStringPtr>("\5Other");
    three.helpButton = true;
    three.defaultButton = kAlertStdAlertOKButton;
    three.cancelButton = kAlertStdAlertCancelButton;
    const AlertStdAlertParamRec yesNo = YesNo();
    AlertStdAlertParamRec noKeys = YesNo();
    noKeys.defaultButton = 0;

    const auto key = [](Qt::Key code, Qt::KeyboardModifiers with = {}) {
        return [=](QWidget* alert) { QTest::keyClick(alert->windowHandle(), code, with); };
    };
    const auto click = [](const char* name) { return [=](QWidget*) { Click(name); }; };
    const auto close = [](QWidget* alert) { alert->windowHandle()->close(); };
    using Act = std::function<void(QWidget*)>;
    const std::tuple<const char*, const AlertStdAlertParamRec*, Act, SInt16> rows[] = {
        // the item 0: nothing is chosen, the alert stays
        { "Return", &yesNo, key(Qt::Key_Return), 2 },
        { "Enter", &yesNo, key(Qt::Key_Enter, Qt::KeypadModifier), 2 },
        { "Return beside", &three, key(Qt::Key_Return), 1 },
        { "Return, no default", &noKeys, key(Qt::Key_Return), 0 },
        { "Escape, none bound", &yesNo, key(Qt::Key_Escape), 0 },
        { "Control-period, none bound", &yesNo, key(Qt::Key_Period, Qt::ControlModifier), 0 },
        { "close request, none bound", &yesNo, close, 0 },
        { "Escape", &three, key(Qt::Key_Escape), 2 },
        { "Control-period", &three, key(Qt::Key_Period, Qt::ControlModifier), 2 },
        { "close request", &three, close, 2 },
        { "click No", &yesNo, click("No"), 1 },
        { "click Yes", &yesNo, click("Yes"), 2 },
        { "click Other", &three, click("Other"), 3 },
        { "click Help", &three, click("Help"), 4 },
        { "standard, Return", nullptr, key(Qt::Key_Return), 1 },
        { "standard, Escape", nullptr, key(Qt::Key_Escape), 0 },
    };
    for (const auto& [name, param, act, item] : rows) {
        SCOPED_TRACE(name);
        const auto over = std::make_shared<bool>(false);
        bool stayed = false;
        const SInt16 hit = Show(param, [&](QWidget* alert) {
            act(alert);
            Later(0.005, [&stayed, over] { // a choice would have ended the alert before
                if (*over)
                    return;
                stayed = true;
                QTest::mouseClick(AlertWidget()->findChild<QPushButton*>(), Qt::LeftButton);
            });
        });
        *over = true;
        EXPECT_EQ(item == 0, stayed);
        EXPECT_TRUE(stayed || hit == item) << hit;
    }
}

TEST(StandardAlert, ButtonsStandInOrderAndOnTheScreen)
{
    AlertStdAlertParamRec param = YesNo();
    param.otherText = reinterpret_cast<ConstStringPtr>("\5Other");
    const Pascal endless(std::string(255, 'W'));
    const std::string sentence = "The quick & <b>brown</b> fox jumps over the lazy dog. ";
    std::string lines;
    for (int i = 0; i < 127; ++i)
        lines += "x\n";
    const std::tuple<const char*, std::string, std::string, ConstStringPtr, bool> rows[] = {
        { "short", "Message", "Explanation", param.defaultText, false },
        { "empty", "", "", param.defaultText, false },
        { "long", sentence + sentence, sentence + sentence + sentence, param.defaultText, false },
        { "one word", std::string(255, 'M'), std::string(255, 'm'), param.defaultText, false },
        { "too high", lines, lines, param.defaultText, true },
        { "endless button", "Message", "Explanation", endless.bytes, false },
    };
    for (const auto& [name, message, explanation, ok, scrolls] : rows) {
        SCOPED_TRACE(name);
        param.defaultText = ok;
        const auto look = [scrolls = scrolls](QWidget* alert) {
            EXPECT_TRUE(alert->screen()->availableGeometry().contains(alert->frameGeometry()));
            const auto buttons = alert->findChildren<QPushButton*>();
            ASSERT_EQ(3, buttons.size());
            const QPushButton* yes = ButtonNamed("Yes");
            const QPushButton* other = ButtonNamed("Other");
            const QPushButton* right = nullptr;
            for (const auto* button : buttons) {
                EXPECT_TRUE(alert->rect().contains(button->geometry()));
                right = button != yes && button != other ? button : right;
            }
            EXPECT_GT(right->x(), yes->geometry().right());
            EXPECT_GT(yes->x(), other->geometry().right());
            EXPECT_LT(other->x(), 30);
            const auto* scroll = alert->findChild<QScrollArea*>();
            EXPECT_EQ(scrolls, scroll->widget()->height() > scroll->height());
            EXPECT_LE(scroll->geometry().bottom(), right->y());
            QTest::keyClick(alert->windowHandle(), Qt::Key_Return);
        };
        EXPECT_EQ(2, Show(&param, look, message, explanation));
    }
}

TEST(StandardAlert, TheFocusGoesFromButtonToButtonAndTextsComeLast)
{
    const AlertStdAlertParamRec param = YesNo();
    Show(&param, [](QWidget* alert) {
        QPushButton* yes = ButtonNamed("Yes");
        QPushButton* no = ButtonNamed("No");
        EXPECT_TRUE(QTest::qWaitForWindowActive(alert));
        EXPECT_TRUE(yes->hasFocus());
        const QImage focused[] = { yes->grab().toImage(), no->grab().toImage() };
        for (const Qt::Key key : { Qt::Key_Right, Qt::Key_Down, Qt::Key_Left, Qt::Key_Up }) {
            QTest::keyClick(alert->windowHandle(), key);
            EXPECT_TRUE(no->hasFocus());
            // Return presses the default button, Space the focused one: all four look different.
            EXPECT_NE(focused[0], yes->grab().toImage());
            EXPECT_NE(focused[1], no->grab().toImage());
            EXPECT_NE(focused[0], no->grab().toImage());
            QTest::keyClick(alert->windowHandle(), key);
            EXPECT_TRUE(yes->hasFocus());
        }
        QTest::keyClick(alert->windowHandle(), Qt::Key_Tab);
        EXPECT_TRUE(no->hasFocus());
        for (const char16_t* text : { u"Message", u"Explanation" }) {
            QTest::keyClick(alert->windowHandle(), Qt::Key_Tab);
            EXPECT_EQ(QString::fromUtf16(text), QApplication::focusWidget()->accessibleName());
        }
        QTest::keyClick(alert->windowHandle(), Qt::Key_Tab);
        EXPECT_TRUE(yes->hasFocus());
        Click("No");
    });
}

TEST(StandardAlert, RightToLeftTextIsMirrored)
{
    const AlertStdAlertParamRec param = YesNo();
    Show(
        &param,
        [](QWidget* alert) {
            const QPushButton* yes = ButtonNamed("Yes");
            const QPushButton* no = ButtonNamed("No");
            EXPECT_GT(yes->x(), no->geometry().right());
            EXPECT_EQ(20, no->x());
            EXPECT_EQ(alert->width() - 20, alert->findChild<QLabel*>()->geometry().right() + 1);
            QTest::keyClick(alert->windowHandle(), Qt::Key_Left);
            EXPECT_TRUE(no->hasFocus());
            Click("No");
        },
        "\xD7\x9C\xD7\xA9\xD7\x9E\xD7\x95\xD7\xA8?");
}

TEST(StandardAlert, InvalidTextIsShownAndACutCharacterIsNot)
{
    const AlertStdAlertParamRec param = YesNo();
    const auto look = [](QWidget* alert) {
        const QWidget* texts = alert->findChild<QScrollArea*>()->widget();
        const auto views = texts->findChildren<QWidget*>(Qt::FindDirectChildrenOnly);
        EXPECT_EQ(QStringLiteral("\u20AC \uFFFD."), views.at(0)->accessibleName());
        EXPECT_EQ(QStringLiteral("100 "), views.at(1)->accessibleName());
        Click("Yes");
    };
    EXPECT_EQ(2, Show(&param, look, "\xE2\x82\xAC \xFF.", "100 \xE2\x82"));
}

TEST(StandardAlert, StandardTextsAndBadArguments)
{
    AlertStdAlertParamRec param {};
    param.defaultText = kAlertDefaultOKText;
    param.cancelText = kAlertDefaultCancelText;
    param.otherText = kAlertDefaultOtherText;
    const auto choose = [](QWidget*) {
        EXPECT_TRUE(ButtonNamed("Cancel"));
        EXPECT_TRUE(ButtonNamed("Don't Save"));
        Click("OK");
    };
    EXPECT_EQ(1, Show(&param, choose));
    SInt16 hit = 77;
    const Pascal text("text");
    EXPECT_EQ(paramErr, StandardAlert(4, text.bytes, text.bytes, nullptr, &hit));
    EXPECT_EQ(paramErr, StandardAlert(-1, text.bytes, text.bytes, nullptr, &hit));
    EXPECT_EQ(paramErr, StandardAlert(kAlertStopAlert, text.bytes, text.bytes, nullptr, nullptr));
    EXPECT_EQ(77, hit);
}

TEST(StandardAlert, BlocksTheActiveHostAndGivesTheFocusBack)
{
    StartToolbox();
    QWidget host;
    host.resize(200, 100);
    int clicks = 0;
    QPushButton button(&host);
    QObject::connect(&button, &QPushButton::clicked, [&] { ++clicks; });
    host.show();
    host.activateWindow();
    EXPECT_TRUE(QTest::qWaitForWindowActive(&host));
    const AlertStdAlertParamRec param = YesNo();
    const auto clickHost = [&] {
        QTest::mouseClick(host.windowHandle(), Qt::LeftButton, {}, { 5, 5 });
    };
    const auto act = [&](QWidget* alert) {
        clickHost();
        EXPECT_EQ(0, clicks);
        EXPECT_EQ(host.windowHandle(), alert->windowHandle()->transientParent());
        QTest::keyClick(alert->windowHandle(), Qt::Key_Return);
    };
    EXPECT_EQ(2, Show(&param, act));
    clickHost();
    EXPECT_EQ(1, clicks);
}
