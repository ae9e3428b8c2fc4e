// SPDX-License-Identifier: MIT
// EntryTable_test.cpp - the loaded module over the real toolbox.
#include "tests/module/LoadedModule.h"

namespace {

/// What the user sees while the box is up.
struct Seen
{
    bool isVisible = false;
    bool hasExtra = false;
    WindowClass windowClass = 0;
    QImage image;
};

class EntryTableTest : public LoadedModule
{
protected:
    /// Looks at the box from inside its modal loop, then closes it.
    Seen Show(const std::function<int()>& call)
    {
        Seen seen;
        const InModalLoop then([&] {
            const WindowRef box = FrontNonFloatingWindow();
            seen.isVisible = IsWindowVisible(box);
            seen.hasExtra = IsControlVisible(FindControl(box, 'pver', 2));
            GetWindowClass(box, &seen.windowClass);
            seen.image = BoxWidget()->grab().toImage();
            PressButton(box);
        });
        testing::internal::CaptureStderr();
        EXPECT_EQ(call(), 1);
        m_errors = testing::internal::GetCapturedStderr();
        EXPECT_EQ(FrontNonFloatingWindow(), nullptr);
        EXPECT_EQ(CurResFile(), kSystemResFile); // restored
        return seen;
    }

    std::string m_errors;
};

TEST_F(EntryTableTest, SimpleEntryIsTheFullOneWithoutTextAndStyle)
{
    SetWindowClass(m_parent, kMovableModalWindowClass);
    const Seen full
        = Show([&] { return m_show(m_parent, m_hostBundle, 128, &m_product, nullptr, 0); });
    const std::string errors = m_errors;
    const Seen simple = Show([&] { return m_showSimple(m_parent, m_hostBundle, 128, &m_product); });
    EXPECT_FALSE(simple.hasExtra);
    EXPECT_EQ(simple.windowClass, WindowClass { kMovableModalWindowClass }); // its parent's
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
    EXPECT_NEAR(corner(m_hostBundle, 7, 0), 71, 6); // none with that id
    EXPECT_NEAR(corner(nullptr, 128, 1), 71, 6); // nor a bundle: the box's own is blue
}

TEST_F(EntryTableTest, AnswersToMissingArguments)
{
    const Seen noProduct
        = Show([&] { return m_show(m_parent, m_hostBundle, 128, nullptr, nullptr, 0); });
    EXPECT_TRUE(noProduct.isVisible);
    m_product.versionText = nullptr;
    EXPECT_TRUE(Show([&] { return m_show(nullptr, nullptr, 0, &m_product, "", 9); }).isVisible);
}

} // namespace
