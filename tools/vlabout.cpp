// SPDX-License-Identifier: MIT
// vlabout.cpp - shows any About box from the command line.
#include "support/BundleAt.h"
#include "tools/ImageFile.h"
#include "tools/ResourceWriter.h"

#include <Carbon/Carbon.h>
#include <veltrano/Host.h>

#include <QtCore/QDir>
#include <QtCore/QTemporaryDir>
#include <QtCore/QTimer>
#include <QtWidgets/QApplication>
#include <QtWidgets/QWidget>
#include <xcb/xcb.h>

namespace {

const char kHelp[]
    = R"(usage: vlabout [--picture IMAGE [--density D] | --bundle HOST.bundle [--id N]]
               [--version TEXT] [--text TEXT] [--style 0|1] [--parent WINDOWID]
               [--snapshot OUT.png] [--module BUNDLE]

--picture   an image: PNG, JPEG, SVG (package libqt6svg6); scaled to 440 x 260 points
--density   pixels per point of that image (default 1)
--bundle    the bundle whose resource file holds 'PICT' N (default 128)
--version   the version line; omit to hide it. As the only argument: prints this tool's version
--text      the extra line; omit to hide it
--style     1: light text, for dark pictures
--parent    the X11 id (12345 or 0x3039) of the window that the box belongs to and blocks
--snapshot  saves an image of the box and closes it; needs no display
--module    the module bundle, unless it is installed beside this program

An IMAGE named - is standard input, an OUT.png standard output.
exit codes: 0 shown, 1 not shown, 2 wrong arguments
)";

// Creates a bundle below `folder` that holds an image.
std::string MakeBundle(const QString& folder, const Arguments& arguments, int16_t id)
{
    const char* image = arguments.Get("picture");
    const QByteArray picture
        = EncodeImage(ReadInput(image), image, arguments.GetNumber("density", 1, 0.05, 20));
    ResourceWriter resources;
    resources.Set({ 'PICT', id, 0, "", { picture.begin(), picture.end() } });
    const QString path = folder + "/Picture.bundle";
    QDir().mkpath(path + "/Contents/Resources");
    WriteOutput(QFile::encodeName(path + "/Contents/Resources/Picture.rsrc"),
                *resources.Serialize());
    return QFile::encodeName(path).toStdString();
}

// Fails for a bundle without the picture: the box would show the module's default picture.
void RequirePicture(const std::string& path, int16_t id)
{
    const auto bundle = BundleAt(path);
    if (!bundle)
        Fail("no bundle at " + path);
    const CFBundleRefNum file = CFBundleOpenBundleResourceMap(bundle.get());
    const bool isFound = GetResource('PICT', id) != nullptr;
    CFBundleCloseBundleResourceMap(bundle.get(), file);
    if (!isFound)
        Fail("no 'PICT' " + std::to_string(id) + " in " + path);
}

// Closes the box by its button.
QImage TakeSnapshot()
{
    QImage snapshot;
    for (QWidget* widget : QApplication::topLevelWidgets()) {
        if (widget->isVisible())
            snapshot = widget->grab().toImage();
    }
    const ControlID buttonID = { 'butn', 0 };
    ControlRef button = nullptr;
    if (GetControlByID(FrontNonFloatingWindow(), &buttonID, &button) == noErr)
        HIViewSimulateClick(button, kControlButtonPart, 0, nullptr);
    return snapshot;
}

// Shows the box over a window, or in the middle of the screen.
int ShowBox(const Arguments& arguments,
            VeltranoModuleRef module,
            const std::string& host,
            int16_t id)
{
    WindowRef parent = nullptr;
    if (arguments.Has("parent")) {
        parent = CreateWindowRefWithX11Window(arguments.GetInteger<uint32_t>("parent"));
        if (parent == nullptr)
            Fail(std::string("no window ") + arguments.Get("parent"));
    }
    const int result
        = VeltranoShowAboutBox(module, parent, host.c_str(), id, arguments.Get("version", nullptr),
                               arguments.Get("text", nullptr), arguments.GetInteger<bool>("style"));
    DisposeWindow(parent);
    return result;
}

// Chooses the platform unless the user did: without a display the toolkit would end the process.
void ChooseDisplay(const Arguments& arguments)
{
    if (qEnvironmentVariableIsSet("QT_QPA_PLATFORM"))
        return;
    xcb_connection_t* x = xcb_connect(nullptr, nullptr);
    const bool hasX = xcb_connection_has_error(x) == 0;
    xcb_disconnect(x);
    if (arguments.Has("parent") && hasX) {
        qputenv("QT_QPA_PLATFORM", "xcb"); // under Wayland, too
    } else if (!hasX && !qEnvironmentVariableIsSet("WAYLAND_DISPLAY")) {
        if (!arguments.Has("snapshot"))
            Fail("no display; use --snapshot");
        qputenv("QT_QPA_PLATFORM", "offscreen");
    }
}

void Show(const Arguments& arguments)
{
    if (arguments.Has("picture") && arguments.Has("bundle"))
        Fail("either --picture or --bundle", kUsage);
    const auto id = arguments.GetInteger<int16_t>("id", 128);
    ChooseDisplay(arguments);
    int count = 1;
    char name[] = "vlabout";
    char* names[] = { name, nullptr };
    const QApplication application(count, names);

    const VeltranoModuleRef module = VeltranoOpenModule(arguments.Get("module", nullptr));
    if (module == nullptr && arguments.Has("module"))
        Fail(std::string("no module at ") + arguments.Get("module"));
    if (module == nullptr)
        Fail("no module is installed; use --module");
    const QTemporaryDir folder;
    std::string host = arguments.Get("bundle");
    if (arguments.Has("picture"))
        host = MakeBundle(folder.path(), arguments, id);
    if (!host.empty())
        RequirePicture(host, id);
    QImage snapshot;
    if (arguments.Has("snapshot"))
        QTimer::singleShot(200, [&] { snapshot = TakeSnapshot(); });
    const int result = ShowBox(arguments, module, host, id);
    VeltranoCloseModule(module);
    if (result != kVeltranoShown)
        Fail(VeltranoResultText(result));
    if (arguments.Has("snapshot"))
        SaveImage(snapshot, arguments.Get("snapshot"));
}

} // namespace

int main(int, char** argv)
{
    return RunTool("vlabout", kHelp,
                   { { "the box",
                       0,
                       { "picture=", "density=", "bundle=", "id=", "version=", "text=", "style=",
                         "parent=", "snapshot=", "module=" },
                       Show } },
                   argv);
}
