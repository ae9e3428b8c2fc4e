// SPDX-License-Identifier: MIT
// BoxWindow_test.cpp - the box as a window among others: its place, its colours, and what happens around it
// while it is up. Runs at several scales and on several window systems.
#include "tests/module/LoadedModule.h"
#include "tests/support/Contrast.h"
#include "tests/support/Processes.h"

#include <QtGui/QScreen>
#include <QtTest/QTest>

#include <algorithm>
#include <malloc.h>
#include <random>

namespace {

// The best contrast between two points of a widget as it is on the screen.
double ContrastOf(QWidget* widget)
{
    const QRect place(widget->mapTo(widget->window(), QPoint()), widget->size());
    const QImage image = widget->window()->grab(place).toImage();
    double least = 1;
    double most = 0;
    for (int at = 0; at < image.width() * image.height(); ++at) {
        const double its = Luminance(image.pixel(at % image.width(), at / image.width()));
        least = std::min(least, its);
        most = std::max(most, its);
    }
    return (most + 0.05) / (least + 0.05);
}

QWidget* Named(QWidget* window, const char* name)
{
    for (QWidget* widget : window->findChildren<QWidget*>())
        if (widget->accessibleName() == QString::fromUtf8(name)
            && widget->focusPolicy() != Qt::NoFocus)
            return widget;
    ADD_FAILURE() << "no " << name;
    return window;
}

class BoxWindow : public LoadedModule
{
};

TEST_F(BoxWindow, StandsToThePixelWhereTheStructuresSay)
{
    std::mt19937 random(20);
    const auto within = [&random](int low, int high) {
        return std::uniform_int_distribution<int>(low, high)(random);
    };
    const bool offscreen = QGuiApplication::platformName() == u"offscreen";
    for (int round = 0; round < (offscreen ? 200 : 6); ++round) {
        m_host->setGeometry(within(150, 250), within(100, 150), within(300, 460), within(200, 320));
        QTest::qWait(offscreen ? 0 : 100);
        Run([&](WindowRef box) {
            Rect parent {};
            Rect structure {};
            Rect content {};
            GetWindowBounds(m_parent, kWindowStructureRgn, &parent);
            GetWindowBounds(box, kWindowStructureRgn, &structure);
            GetWindowBounds(box, kWindowContentRgn, &content);
            EXPECT_GT(parent.right - parent.left, m_host->width()); // a frame, or nothing is tested
            const int width = structure.right - structure.left;
            const int height = structure.bottom - structure.top;
            const QPoint expected(parent.left + (parent.right - parent.left - width) / 2,
                                  parent.top + (parent.bottom - parent.top - height) / 2);
            const QRect button = BoxWidget()->findChild<QPushButton*>()->geometry();
            const bool isReachable // else the box moves
                = m_host->screen()->geometry().contains(button.translated(expected));
            EXPECT_TRUE(!isReachable || expected == QPoint(content.left, content.top)) << round;
            PressButton(box);
        });
    }
}

TEST_F(BoxWindow, ReadsWellOnADarkDesktop)
{
    const QPalette light = QApplication::palette();
    QPalette dark(QColor(45, 45, 48), QColor(30, 30, 32));
    dark.setColor(QPalette::Base, QColor(25, 25, 27));
    QApplication::setPalette(dark);
    const auto expectReadable = [](QWidget* window, std::initializer_list<const char*> names) {
        for (const char* name : names)
            EXPECT_GT(ContrastOf(Named(window, name)), 4.5) << name;
    };
    Run([&](WindowRef box) {
        expectReadable(BoxWidget(), { "OK", "Product 3.2 (build 88)", "Licensed to Ada" });
        PressButton(box);
    });
    const InModalLoop then([&] {
        QWidget* alert = BoxWidget();
        expectReadable(alert, { "OK", "Discard?", "It is not saved." });
        alert->findChild<QPushButton*>()->click();
    });
    SInt16 item = 0;
    StandardAlert(kAlertNoteAlert, reinterpret_cast<ConstStringPtr>("\10Discard?"),
                  reinterpret_cast<ConstStringPtr>("\20It is not saved."), nullptr, &item);
    EXPECT_EQ(1, item);
    QApplication::setPalette(light);
}

TEST_F(BoxWindow, ThePictureIsDrawnFromItsSourcePixels)
{
    const QImage source = QImage(HOST_PICTURE).convertToFormat(QImage::Format_RGB32);
    ASSERT_EQ(source.size(), QSize(880, 520)); // two pixels a point
    Run([&](WindowRef box) {
        const QImage shown = BoxWidget()->grab().toImage().convertToFormat(QImage::Format_RGB32);
        const double ratio = BoxWidget()->devicePixelRatio();
        EXPECT_EQ(shown.size(), (QSizeF(440, 260) * ratio).toSize());
        const QRect free(0, 0, shown.width(), static_cast<int>(160 * ratio)); // above the texts
        EXPECT_TRUE(ratio != 2.0 || shown.copy(free) == source.copy(free));
        const auto at
            = [&](int x, int y) { return shown.pixelColor(QPoint(x, y) * ratio).lightness(); };
        EXPECT_NEAR(at(3, 3), source.pixelColor(6, 6).lightness(), 8);
        EXPECT_NEAR(at(436, 256), source.pixelColor(872, 512).lightness(), 8); // it fills the box
        PressButton(box);
    });
}

TEST_F(BoxWindow, OutlivesWhatHappensToItsParent)
{
    // Qt's Wayland back end closes what stands over a window that goes.
    const bool isWayland = QGuiApplication::platformName() == u"wayland";
    const std::function<void()> rows[]
        = { [&] { m_host->hide(); },          [&] { m_host->show(); },
            [&] { m_host->showMinimized(); }, [&] { m_host->showNormal(); },
            [&] { m_host->move(5, 5); },      [&] { m_host->close(); },
            [&] { m_host.reset(); },          [] {} };
    for (const auto& happens : rows)
        Run([&](WindowRef box) {
            happens();
            QTest::qWait(30);
            EXPECT_NE(IsWindowVisible(box), isWayland && &happens == &rows[5]) << &happens - rows;
            PressButton(box);
        });
}

TEST_F(BoxWindow, ASecondBoxOpensWhileTheFirstIsUp)
{
    for (const bool innerFirst : { true, false })
        Run([&](WindowRef outer) {
            Run([&](WindowRef inner) {
                EXPECT_TRUE(inner != outer && IsWindowVisible(outer));
                if (!innerFirst)
                    PressButton(outer); // it ends when the inner one has ended
                EXPECT_EQ(innerFirst, IsWindowVisible(outer));
                PressButton(inner);
            });
            if (innerFirst)
                PressButton(outer);
        });
}

TEST_F(BoxWindow, TheApplicationEndsMeanwhile)
{
    const WindowRef parent = m_parent;
    const std::tuple<WindowRef, int, void (*)()> rows[]
        = { { parent, 7, [] { QCoreApplication::exit(7); } },
            { parent, 0, [] { QApplication::quit(); } }, // closes all windows first
            { nullptr, 0, [] { QApplication::quit(); } } };
    for (const auto& [over, result, end] : rows) {
        bool returned = false;
        m_parent = over;
        QTimer::singleShot(0, [&] {
            Run([&](WindowRef) { end(); });
            returned = true;
            EXPECT_EQ(FrontNonFloatingWindow(), nullptr);
        });
        EXPECT_EQ(QApplication::exec(), result);
        EXPECT_TRUE(returned);
        m_host->show();
    }
    m_parent = parent;
    Run(PressButton); // and it still works
}

// VELTRANO_BOXES sets the number; the bound is that of 1000.
TEST_F(BoxWindow, ManyBoxesLeaveNothingBehind)
{
    const int boxes = std::max(50, qEnvironmentVariableIntValue("VELTRANO_BOXES"));
    std::size_t bytes = 0;
    int descriptors = 0;
    testing::internal::CaptureStderr();
    for (int box = 0; box < boxes; ++box) {
        if (box == 25) { // what is made once is there
            bytes = mallinfo2().uordblks;
            descriptors = CountDescriptors();
        }
        Run(PressButton);
    }
    EXPECT_EQ(CountDescriptors(), descriptors);
    testing::internal::GetCapturedStderr();
    EXPECT_LE(mallinfo2().uordblks, bytes + (1 << 18));
}

} // namespace
