// SPDX-License-Identifier: MIT
// vlabout.cpp - shows any About box from the command line.
#include "Resources/ResourceFile.h"
#include "module/EntryTable.h"
#include "tools/ImageFile.h"

#include <Carbon/Carbon.h>
#include <veltrano/HostWindow.h>

#include <QtCore/QCommandLineParser>
#include <QtCore/QDir>
#include <QtCore/QTemporaryDir>
#include <QtGui/QScreen>
#include <QtWidgets/QApplication>
#include <QtWidgets/QWidget>
#include <xcb/xcb.h>

#include <cstdio>

namespace {

enum { kOwnPicture = 128 };

const char kHelp[]
    = "usage: vlabout [--picture IMAGE [--density D] | --bundle HOST.bundle [--id N]]\n"
      "               [--version TEXT] [--text TEXT] [--style 0|1] [--parent WINDOWID]\n"
      "               [--snapshot OUT.png] [--module BUNDLE]\n"
      "\n"
      "--picture   an image: PNG, JPEG, SVG (package libqt6svg6); scaled to 440 x 260 points\n"
      "--density   pixels a point of that image (default 1)\n"
      "--bundle    the bundle whose resource file holds 'PICT' N (default 128)\n"
      "--version   the version line; none hides it\n"
      "--text      the extra line; none hides it\n"
      "--style     1: light text, for dark pictures\n"
      "--parent    the X11 id of a window that the box stands over and blocks, 12345 or 0x3039\n"
      "--snapshot  save a picture of the box and close it; needs no display\n"
      "--module    the module, where it is not found beside this program\n"
      "exit codes: 0 shown, 1 it could not be, 2 wrong arguments\n";

struct Options
{
    QString picture;
    double density;
    QString bundle;
    int id;
    QByteArray version;
    bool hasVersion;
    QByteArray text;
    bool hasText;
    int style;
    unsigned long parent;
    QString snapshot;
    QString module;
};

CFBundleRef OpenBundle(const QString& path)
{
    const QByteArray bytes = path.toUtf8();
    CFURLRef url = CFURLCreateFromFileSystemRepresentation(
        kCFAllocatorDefault, reinterpret_cast<const UInt8*>(bytes.constData()),
        static_cast<CFIndex>(bytes.size()), true);
    CFBundleRef bundle = url != nullptr ? CFBundleCreate(kCFAllocatorDefault, url) : nullptr;
    if (url != nullptr)
        CFRelease(url);
    if (bundle == nullptr)
        Fail(QStringLiteral("no bundle at %1").arg(path));
    return bundle;
}

/// Puts an image into a bundle of its own below `folder`.
QString MakeBundle(const QString& folder, const Options& options)
{
    const QByteArray picture = EncodeImageFile(options.picture, options.density);
    ResourceFile resources;
    resources.Set({ 'PICT', kOwnPicture, 0, std::string(),
                    std::vector<uint8_t>(picture.begin(), picture.end()) });
    const auto bytes = resources.Serialize();
    const QString path = folder + QStringLiteral("/Picture.bundle");
    QDir().mkpath(path + QStringLiteral("/Contents/Resources"));
    QFile file(path + QStringLiteral("/Contents/Resources/Picture.rsrc"));
    if (!bytes || !file.open(QIODevice::WriteOnly)
        || file.write(reinterpret_cast<const char*>(bytes->data()),
                      static_cast<qint64>(bytes->size()))
            < 0)
        Fail(QStringLiteral("cannot write %1: %2").arg(path, file.errorString()));
    return path;
}

QString FindModule(const Options& options)
{
    if (!options.module.isEmpty())
        return options.module;
    const QString here = QCoreApplication::applicationDirPath();
    static const char* const kPlaces[] = VELTRANO_MODULE_PLACES;
    for (const char* relative : kPlaces) {
        const QString path = here + QLatin1Char('/') + QLatin1String(relative);
        if (QFileInfo::exists(path))
            return QDir::cleanPath(path);
    }
    Fail(QStringLiteral("the module is not beside this program: say --module"));
}

void TakeSnapshot(EventLoopTimerRef, void* userData)
{
    for (QWidget* widget : QApplication::topLevelWidgets())
        if (widget->isVisible())
            *static_cast<QImage*>(userData) = widget->grab().toImage();
    const ControlID buttonID = { 'butn', 0 };
    ControlRef button = nullptr;
    if (GetControlByID(FrontNonFloatingWindow(), &buttonID, &button) == noErr)
        HIViewSimulateClick(button, kControlButtonPart, 0, nullptr);
}

WindowRef MakeParent(const Options& options, QWidget& screen)
{
    if (options.parent == 0) { // never shown: it only says where the middle is
        screen.setGeometry(QGuiApplication::primaryScreen()->availableGeometry());
        return CreateWindowRefWithQWidget(&screen);
    }
    const WindowRef parent = CreateWindowRefWithX11Window(options.parent);
    if (parent == nullptr)
        Fail(QStringLiteral("no window 0x%1").arg(options.parent, 0, 16));
    return parent;
}

int Show(const Options& options)
{
    const QTemporaryDir folder;
    const CFBundleRef module = OpenBundle(FindModule(options));
    CFBundleRef host = nullptr;
    if (!options.picture.isEmpty())
        host = OpenBundle(MakeBundle(folder.path(), options));
    else if (!options.bundle.isEmpty())
        host = OpenBundle(options.bundle);
    const auto get = reinterpret_cast<GetEntryTableProc>(
        CFBundleGetFunctionPointerForName(module, CFSTR("GetEntryTable")));
    if (get == nullptr)
        Fail(QStringLiteral("the module cannot be loaded"));

    QWidget screen;
    const WindowRef parent = MakeParent(options, screen);
    QImage snapshot;
    if (!options.snapshot.isEmpty())
        InstallEventLoopTimer(GetMainEventLoop(), 0.2, 0, NewEventLoopTimerUPP(TakeSnapshot),
                              &snapshot, nullptr);
    ProductRecord product
        = { { 0, 0 }, options.hasVersion ? options.version.constData() : nullptr };
    const auto show = reinterpret_cast<ShowAboutBoxEntry>(get()[kEntryShowAboutBox]);
    show(parent, host, options.picture.isEmpty() ? options.id : static_cast<int>(kOwnPicture),
         &product, options.hasText ? options.text.constData() : nullptr, options.style);
    DisposeWindow(parent);
    if (host != nullptr)
        CFRelease(host);
    CFBundleUnloadExecutable(module);
    CFRelease(module);
    if (!options.snapshot.isEmpty())
        SaveImage(snapshot, options.snapshot);
    return kDone;
}

/// A whole number, also as 0x...
qlonglong
ParseNumber(const QCommandLineParser& parser, const char* name, qlonglong least, qlonglong most)
{
    bool ok = false;
    const qlonglong number = parser.value(QLatin1String(name)).toLongLong(&ok, 0);
    if (!ok || number < least || number > most)
        FailUsage(QStringLiteral("--%1 takes a number from %2 to %3")
                      .arg(QLatin1String(name))
                      .arg(least)
                      .arg(most));
    return number;
}

Options ParseOptions(const QStringList& list)
{
    QCommandLineParser parser;
    const auto add = [&parser](const char* name, const char* standard = "") {
        parser.addOption({ QString::fromLatin1(name), QString(), QStringLiteral("value"),
                           QString::fromLatin1(standard) });
    };
    for (const char* name : { "picture", "bundle", "version", "text", "snapshot", "module" })
        add(name);
    add("density", "1");
    add("id", "128");
    add("style", "0");
    add("parent", "0");
    parser.addOption({ { QStringLiteral("h"), QStringLiteral("help") }, QString() });
    if (!parser.parse(list))
        FailUsage(parser.errorText());
    if (parser.isSet(QStringLiteral("help"))) {
        fputs(kHelp, stdout);
        throw Failure { kDone, {} };
    }
    if (!parser.positionalArguments().isEmpty())
        FailUsage(QStringLiteral("what is %1?").arg(parser.positionalArguments().first()));
    Options options;
    options.picture = parser.value(QStringLiteral("picture"));
    options.bundle = parser.value(QStringLiteral("bundle"));
    if (!options.picture.isEmpty() && !options.bundle.isEmpty())
        FailUsage(QStringLiteral("either --picture or --bundle"));
    bool ok = false;
    options.density = parser.value(QStringLiteral("density")).toDouble(&ok);
    if (!ok || !(options.density >= 0.25 && options.density <= 8))
        FailUsage(QStringLiteral("--density takes a factor from 0.25 to 8"));
    options.id = static_cast<int>(ParseNumber(parser, "id", INT16_MIN, INT16_MAX));
    options.version = parser.value(QStringLiteral("version")).toUtf8();
    options.hasVersion = parser.isSet(QStringLiteral("version"));
    options.text = parser.value(QStringLiteral("text")).toUtf8();
    options.hasText = parser.isSet(QStringLiteral("text"));
    options.style = static_cast<int>(ParseNumber(parser, "style", 0, 1));
    options.parent = static_cast<unsigned long>(ParseNumber(parser, "parent", 0, UINT32_MAX));
    options.snapshot = parser.value(QStringLiteral("snapshot"));
    options.module = parser.value(QStringLiteral("module"));
    return options;
}

/// Chooses what to show the box on, where the user has not: the toolkit ends the process where there is nothing.
void ChooseDisplay(const Options& options)
{
    if (qEnvironmentVariableIsSet("QT_QPA_PLATFORM"))
        return;
    xcb_connection_t* x = xcb_connect(nullptr, nullptr);
    const bool hasX = xcb_connection_has_error(x) == 0;
    xcb_disconnect(x);
    if (options.parent != 0 && hasX)
        qputenv("QT_QPA_PLATFORM", "xcb"); // under Wayland, too
    else if (!hasX && !qEnvironmentVariableIsSet("WAYLAND_DISPLAY")) {
        if (options.snapshot.isEmpty())
            Fail(QStringLiteral("no display: say --snapshot"));
        qputenv("QT_QPA_PLATFORM", "offscreen");
    }
}

} // namespace

int main(int argc, char** argv)
{
    QStringList list; // before the toolkit takes its own, "--style" among them
    for (int i = 0; i < argc; ++i)
        list.append(QString::fromLocal8Bit(argv[i]));
    return RunTool("vlabout", [&] {
        const Options options = ParseOptions(list);
        ChooseDisplay(options);
        int toolkitCount = 1;
        const QApplication application(toolkitCount, argv);
        return Show(options);
    });
}
