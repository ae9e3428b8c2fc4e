// SPDX-License-Identifier: MIT
// EntryTable_test.cpp - the loaded module over the real toolbox, offscreen.
#include "module/EntryTable.h"
#include "tests/support/Processes.h"

#include <Carbon/Carbon.h>
#include <veltrano/HostWindow.h>

#include <QtCore/QTimer>
#include <QtGui/QWindow>
#include <QtWidgets/QApplication>
#include <QtWidgets/QPushButton>

#include <fstream>
#include <functional>
#include <gtest/gtest.h>
#include <string>

namespace {

CFBundleRef OpenBundle(const std::string& path)
{
    CFURLRef url = CFURLCreateFromFileSystemRepresentation(
        kCFAllocatorDefault, reinterpret_cast<const UInt8*>(path.data()),
        static_cast<CFIndex>(path.size()), true);
    CFBundleRef bundle = CFBundleCreate(kCFAllocatorDefault, url);
    CFRelease(url);
    return bundle;
}

/// What the user sees while the box is up.
struct Seen
{
    bool isVisible = false;
    std::string version;
    std::string extra;
    bool hasExtra = false;
    Rect content = {};
    WindowClass windowClass = 0;
    QImage image;
};

std::string TextOf(ControlRef control)
{
    char text[256] = {};
    Size size = 0;
    GetControlData(control, 0, kControlStaticTextTextTag, sizeof text - 1, text, &size);
    return text;
}

class EntryTableTest : public testing::Test
{
protected:
    void SetUp() override
    {
        m_module = OpenBundle(VELTRANO_BUNDLE);
        m_hostBundle = OpenBundle(HOST_BUNDLE);
        ASSERT_NE(m_module, nullptr);
        ASSERT_NE(m_hostBundle, nullptr);
        const auto get = reinterpret_cast<GetEntryTableProc>(
            CFBundleGetFunctionPointerForName(m_module, CFSTR("GetEntryTable")));
        ASSERT_NE(get, nullptr);
        m_show = reinterpret_cast<ShowAboutBoxEntry>(get()[kEntryShowAboutBox]);
        m_showSimple = reinterpret_cast<ShowAboutBoxSimpleEntry>(get()[kEntryShowAboutBoxSimple]);
        m_host.setGeometry(100, 80, 600, 400);
        m_host.show();
        m_parent = CreateWindowRefWithQWidget(&m_host);
    }

    void TearDown() override
    {
        DisposeWindow(m_parent);
        CFRelease(m_hostBundle);
        CFBundleUnloadExecutable(m_module);
        CFRelease(m_module);
    }

    /// Looks at the box from inside its modal loop, then closes it.
    Seen Show(const std::function<int()>& call)
    {
        Seen seen;
        QTimer::singleShot(50, [&] { // shown, placed, waiting
            const WindowRef box = FrontNonFloatingWindow();
            const auto find = [box](OSType signature, SInt32 id) {
                const ControlID controlID = { signature, id };
                ControlRef control = nullptr;
                EXPECT_EQ(GetControlByID(box, &controlID, &control), noErr);
                return control;
            };
            seen.isVisible = IsWindowVisible(box);
            seen.version = TextOf(find('pver', 1));
            seen.extra = TextOf(find('pver', 2));
            seen.hasExtra = IsControlVisible(find('pver', 2));
            GetWindowBounds(box, kWindowContentRgn, &seen.content);
            GetWindowClass(box, &seen.windowClass);
            for (QWidget* widget : QApplication::topLevelWidgets())
                if (widget->isVisible() && widget != &m_host)
                    seen.image = widget->grab().toImage();
            EXPECT_EQ(HIViewSimulateClick(find('butn', 0), kControlButtonPart, 0, nullptr), noErr);
        });
        testing::internal::CaptureStderr();
        EXPECT_EQ(call(), 1);
        m_errors = testing::internal::GetCapturedStderr();
        EXPECT_EQ(FrontNonFloatingWindow(), nullptr);
        EXPECT_EQ(CurResFile(), kSystemResFile); // restored
        return seen;
    }

    CFBundleRef m_module = nullptr;
    CFBundleRef m_hostBundle = nullptr;
    ShowAboutBoxEntry m_show = nullptr;
    ShowAboutBoxSimpleEntry m_showSimple = nullptr;
    QWidget m_host;
    WindowRef m_parent = nullptr;
    ProductRecord m_product = { { 0, 0 }, "Product 3.2 (build 88)" };
    std::string m_errors;
};

TEST_F(EntryTableTest, ShowsTheBoxCentredOverTheHost)
{
    SetWindowClass(m_parent, kMovableModalWindowClass);
    const Seen seen = Show(
        [&] { return m_show(m_parent, m_hostBundle, 128, &m_product, "Licensed to Ada", 0); });
    EXPECT_TRUE(seen.isVisible);
    EXPECT_EQ(seen.version, "Product 3.2 (build 88)");
    EXPECT_EQ(seen.extra, "Licensed to Ada");
    EXPECT_TRUE(seen.hasExtra);
    EXPECT_EQ(seen.windowClass, WindowClass { kMovableModalWindowClass });
    // The content stands where the structure would be centred.
    const QMargins frame = m_host.windowHandle()->frameMargins();
    const QRect host = m_host.frameGeometry();
    EXPECT_EQ(seen.content.left,
              host.left() + (host.width() - (440 + frame.left() + frame.right())) / 2);
    EXPECT_EQ(seen.content.top,
              host.top() + (host.height() - (260 + frame.top() + frame.bottom())) / 2);
}

TEST_F(EntryTableTest, SimpleEntryIsTheFullOneWithoutTextAndStyle)
{
    const Seen full
        = Show([&] { return m_show(m_parent, m_hostBundle, 128, &m_product, nullptr, 0); });
    const std::string errors = m_errors;
    const Seen simple = Show([&] { return m_showSimple(m_parent, m_hostBundle, 128, &m_product); });
    EXPECT_FALSE(simple.hasExtra);
    EXPECT_EQ(simple.image, full.image);
    EXPECT_NE(errors.find("StaticText_updateText: null\n"), std::string::npos);
    EXPECT_EQ(m_errors, errors);
}

TEST_F(EntryTableTest, PicturesComeFromTheHostOrStayTheBoxsOwn)
{
    const auto corner = [&](CFBundleRef bundle, int id, int style) {
        const Seen seen
            = Show([&] { return m_show(m_parent, bundle, id, &m_product, "x", style); });
        return qGray(seen.image.pixel(2, 2));
    };
    EXPECT_GT(corner(m_hostBundle, 128, 0), 200); // light
    EXPECT_LT(corner(m_hostBundle, 129, 1), 60); // dark
    EXPECT_LT(corner(m_hostBundle, 129 + 0x10000, 1), 60); // the low 16 bits count
    EXPECT_GT(corner(m_hostBundle, 7, 0), 230); // none with that id
    EXPECT_GT(corner(nullptr, 128, 1), 230); // nor a bundle: the box's own is light
}

TEST_F(EntryTableTest, AnswersToMissingArguments)
{
    const Seen noProduct
        = Show([&] { return m_show(m_parent, m_hostBundle, 128, nullptr, nullptr, 0); });
    EXPECT_TRUE(noProduct.isVisible);
    m_product.versionText = nullptr;
    EXPECT_TRUE(Show([&] { return m_show(nullptr, nullptr, 0, &m_product, "", 9); }).isVisible);
}

TEST_F(EntryTableTest, ManyBoxesLeaveNothingBehind)
{
    const int nBoxes = FromEnvironment("VELTRANO_BOXES", 20);
    int nDescriptors = 0;
    long nPages = 0;
    const auto show = [&](int n) {
        while (n-- > 0) {
            Show([&] { return m_show(m_parent, m_hostBundle, 128, &m_product, "x", 0); });
        }
        nDescriptors = CountDescriptors() - nDescriptors;
        long nResident = 0;
        std::ifstream("/proc/self/statm") >> nResident >> nResident;
        nPages = nResident - nPages;
    };
    show(10); // what the first ones bring stays
    show(nBoxes);
    EXPECT_LE(nDescriptors, 0);
    printf("%d boxes, %ld KiB more\n", nBoxes, nPages * sysconf(_SC_PAGESIZE) / 1024);
}

} // namespace

int main(int argc, char** argv)
{
    qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication application(argc, argv);
    testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
