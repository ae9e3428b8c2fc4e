// SPDX-License-Identifier: MIT
// Host_test.cpp - the C functions for hosts in any language, and what they answer when nothing can be shown.
#include "tests/module/LoadedModule.h"
#include "tests/support/FailingNew.h"

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
    QString description;
    const InModalLoop then([&] {
        description = BoxWidget()->accessibleDescription();
        VeltranoCloseModule(module); // the box keeps the module
        PressButton(FrontNonFloatingWindow());
    });
    EXPECT_EQ(Show(module, m_parent, "Licensed to Ada"), kVeltranoShown);
    EXPECT_EQ(description, QStringLiteral("Product 3.2\nLicensed to Ada"));
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

// Boxes and alerts, each allocation of the two libraries failing in turn: a box or none, and a host as before.
TEST_F(Host, RunsOnWithoutMemory)
{
    const VeltranoModuleRef module = VeltranoOpenModule(VELTRANO_BUNDLE);
    const auto press = [&] { BoxWidget()->findChild<QPushButton*>()->click(); };
    SInt16 item = 0;
    const std::function<bool()> shows[] = {
        [&] { return Show(module, m_parent, "text") == kVeltranoShown; },
        [&] { return StandardAlert(kAlertNoteAlert, nullptr, nullptr, nullptr, &item) == noErr; },
    };
    FailingNew::lpszLibrary = "libvl";
    for (const auto& show : shows) {
        bool isShown = false;
        int nFailed = 0;
        const auto run = [&] {
            const InModalLoop then(press);
            isShown = show();
        };
        FailingNew::ForEach([] {}, run,
                            [&](bool isFailed) {
                                nFailed += isFailed;
                                EXPECT_TRUE(isShown || isFailed);
                                EXPECT_EQ(BoxWidget(), nullptr);
                                EXPECT_TRUE(m_host->isEnabled());
                            });
        EXPECT_GT(nFailed, 10);
    }
    FailingNew::lpszLibrary = nullptr;
    VeltranoCloseModule(module);
}

} // namespace
