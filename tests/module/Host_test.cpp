// SPDX-License-Identifier: MIT
// Host_test.cpp - the C functions for hosts in any language, and what they answer when nothing can be shown.
#include "tests/module/LoadedModule.h"

#include <filesystem>

namespace {

class Host : public LoadedModule
{
protected:
    static int Show(VeltranoModuleRef module, WindowRef window, const char* text = nullptr)
    {
        return VeltranoShowAboutBox(module, window, HOST_BUNDLE, 128, "Product 3.2", text, 0);
    }
};

TEST_F(Host, ShowsTheBoxOfTheModuleBesideTheLibrary)
{
    const VeltranoModuleRef module = VeltranoOpenModule(nullptr);
    ASSERT_NE(module, nullptr);
    QStringList texts;
    const InModalLoop then([&] {
        for (const QWidget* widget : BoxWidget()->findChildren<QWidget*>())
            texts.append(widget->accessibleName());
        VeltranoCloseModule(module); // the box keeps the module
        PressButton(FrontNonFloatingWindow());
    });
    EXPECT_EQ(Show(module, m_parent, "Licensed to Ada"), kVeltranoShown);
    EXPECT_TRUE(texts.contains(QStringLiteral("Product 3.2")));
    EXPECT_TRUE(texts.contains(QStringLiteral("Licensed to Ada")));
}

TEST_F(Host, SaysWhyNothingIsShown)
{
    EXPECT_EQ(VeltranoOpenModule("/nowhere/X.bundle"), nullptr);
    EXPECT_EQ(VeltranoOpenModule(HOST_BUNDLE), nullptr); // a bundle without the table
    VeltranoCloseModule(nullptr);
    EXPECT_EQ(Show(nullptr, m_parent), kVeltranoNoModule);

    const VeltranoModuleRef module = VeltranoOpenModule(VELTRANO_BUNDLE);
    const WindowRef gone = CreateWindowRefWithQWidget(m_host.get());
    DisposeWindow(gone);
    EXPECT_EQ(Show(module, gone), kVeltranoNoWindow);
    VeltranoCloseModule(module);

    namespace fs = std::filesystem;
    const TemporaryFolder folder;
    const std::string copy = folder.Path("Copy.bundle");
    fs::copy(VELTRANO_BUNDLE, copy, fs::copy_options::recursive);
    for (const char* language : { "en", "de", "fr", "ja" })
        fs::remove_all(copy + "/Contents/Resources/" + language + ".lproj");
    const VeltranoModuleRef bare = VeltranoOpenModule(copy.c_str());
    EXPECT_EQ(Show(bare, m_parent), kVeltranoNoInterfaceFile);
    VeltranoCloseModule(bare);

    for (int result = -1; result <= kVeltranoNoInterfaceFile + 1; ++result)
        EXPECT_STRNE(VeltranoResultText(result), "");
}

} // namespace
