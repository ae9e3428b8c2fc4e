// SPDX-License-Identifier: MIT
// main.cpp - a small Qt product that loads the module and shows its About box.
//   ExampleHost [--module BUNDLE] [--style 0|1] [--text TEXT] [--snapshot FILE.png]
//               [--alert ok|yes-no]
// With --snapshot nobody is waited for: the picture is saved and the box's button pressed.
#include "module/EntryTable.h"
#include "ui/Alerts.h"

#include <Carbon/Carbon.h>
#include <mach-o/dyld.h>
#include <veltrano/HostWindow.h>

#include <QtCore/QCommandLineParser>
#include <QtCore/QFileInfo>
#include <QtCore/QTimer>
#include <QtGui/QAction>
#include <QtGui/QPainter>
#include <QtWidgets/QApplication>
#include <QtWidgets/QLabel>
#include <QtWidgets/QMainWindow>
#include <QtWidgets/QMenuBar>
#include <QtWidgets/QPushButton>
#include <QtWidgets/QVBoxLayout>

#include <cstdio>
#include <string>

namespace {

enum { kLightPicture = 128, kDarkPicture = 129 };

/// The module while it is loaded.
class Module
{
public:
    explicit Module(const std::string& path)
    {
        CFURLRef url = CFURLCreateFromFileSystemRepresentation(
            kCFAllocatorDefault, reinterpret_cast<const UInt8*>(path.data()),
            static_cast<CFIndex>(path.size()), true);
        if (url == nullptr)
            return;
        m_bundle = CFBundleCreate(kCFAllocatorDefault, url);
        CFRelease(url);
        if (m_bundle == nullptr)
            return;
        const auto getEntryTable = reinterpret_cast<GetEntryTableProc>(
            CFBundleGetFunctionPointerForName(m_bundle, CFSTR("GetEntryTable")));
        if (getEntryTable != nullptr)
            m_table = getEntryTable();
    }

    ~Module() { Unload(); }
    Module(const Module&) = delete;
    Module& operator=(const Module&) = delete;

    bool IsLoaded() const { return m_table != nullptr; }

    template <typename Entry> Entry GetEntry(int position) const
    {
        return reinterpret_cast<Entry>(m_table[position]);
    }

    void Unload()
    {
        m_table = nullptr;
        if (m_bundle == nullptr)
            return;
        CFBundleUnloadExecutable(m_bundle);
        CFRelease(m_bundle);
        m_bundle = nullptr;
    }

private:
    CFBundleRef m_bundle = nullptr;
    const EntryPoint* m_table = nullptr;
};

bool IsImageMapped(const std::string& ending)
{
    for (uint32_t i = 0; i < _dyld_image_count(); ++i) {
        const char* name = _dyld_get_image_name(i);
        if (name != nullptr && std::string(name).ends_with(ending))
            return true;
    }
    return false;
}

struct Options
{
    std::string modulePath;
    std::string text;
    int style = 0;
    QString snapshot;
    QString alert;
};

class HostWindow : public QMainWindow
{
public:
    HostWindow(Module& module, const Options& options)
        : m_module(module)
        , m_options(options)
    {
        setWindowTitle(QStringLiteral("Example Host"));
        resize(720, 480);

        auto* title = new QLabel(QStringLiteral("Example Host"));
        QFont big = title->font();
        big.setPointSize(20);
        big.setBold(true);
        title->setFont(big);
        title->setAlignment(Qt::AlignCenter);
        auto* about = new QPushButton(QStringLiteral("About Example Host…"));
        connect(about, &QPushButton::clicked, this, [this] { ShowAboutBox(m_options.style); });
        auto* layout = new QVBoxLayout;
        layout->addStretch();
        layout->addWidget(title);
        layout->addSpacing(16);
        layout->addWidget(about, 0, Qt::AlignCenter);
        layout->addStretch();
        setCentralWidget(new QWidget);
        centralWidget()->setLayout(layout);

        QMenu* help = menuBar()->addMenu(QStringLiteral("&Help"));
        const auto add = [this, help](const char* name, auto action) {
            connect(help->addAction(QString::fromUtf8(name)), &QAction::triggered, this, action);
        };
        add("About, black text on the light picture…", [this] { ShowAboutBox(0); });
        add("About, light text on the dark picture…", [this] { ShowAboutBox(1); });
        add("Simple About…", [this] { ShowAboutBoxSimple(); });
        help->addSeparator();
        add("Alert with Ok…", [] { ShowOkAlert(); });
        add("Alert with Yes and No…", [] { AskYesNo(); });
    }

    ~HostWindow() override
    {
        if (m_window != nullptr)
            DisposeWindow(m_window);
    }

    int ShowAboutBox(int style)
    {
        const auto show = m_module.GetEntry<ShowAboutBoxEntry>(kEntryShowAboutBox);
        const int result
            = show(GetWindow(), CFBundleGetMainBundle(), style != 0 ? kDarkPicture : kLightPicture,
                   &m_product, m_options.text.c_str(), style);
        printf("ShowAboutBox returned %d\n", result);
        fflush(stdout);
        return result;
    }

    void ShowAboutBoxSimple()
    {
        const auto show = m_module.GetEntry<ShowAboutBoxSimpleEntry>(kEntryShowAboutBoxSimple);
        const int result = show(GetWindow(), CFBundleGetMainBundle(), kLightPicture, &m_product);
        printf("ShowAboutBoxSimple returned %d\n", result);
        fflush(stdout);
    }

    static void ShowOkAlert()
    {
        const int result = Veltrano::ShowAlert("The file could not be opened because it is in use.",
                                               "Cannot open the file.", 0);
        printf("ShowAlert (Ok) returned %d\n", result);
        fflush(stdout);
    }

    static void AskYesNo()
    {
        const int result
            = Veltrano::ShowAlert("Changes that you have not saved will be lost.",
                                  "Do you want to close the document without saving it?", 1);
        printf("ShowAlert (Yes/No) returned %d\n", result);
        fflush(stdout);
    }

private:
    WindowRef GetWindow()
    {
        if (m_window == nullptr)
            m_window = CreateWindowRefWithQWidget(this);
        return m_window;
    }

    Module& m_module;
    const Options& m_options;
    WindowRef m_window = nullptr;
    ProductRecord m_product = { { 0, 0 }, "Example Host 3.2 (build 88)" };
};

/// Saves the host with the box over it, as they stand on the screen, and the box alone.
bool SaveSnapshot(const QWidget& host, QWidget& box, const QString& file)
{
    const QPixmap boxImage = box.grab();
    const QPixmap hostImage = const_cast<QWidget&>(host).grab();
    const QRect all = host.frameGeometry().united(box.frameGeometry());
    const qreal density = hostImage.devicePixelRatio();
    QImage scene(all.size() * density, QImage::Format_RGB32);
    scene.setDevicePixelRatio(density);
    scene.fill(QColor(0x70, 0x78, 0x80));
    QPainter painter(&scene);
    painter.translate(-all.topLeft());
    for (const QWidget* window : { &host, const_cast<const QWidget*>(&box) }) {
        painter.fillRect(window->frameGeometry(), QColor(0x30, 0x34, 0x38));
        painter.drawPixmap(window->geometry().topLeft(), window == &host ? hostImage : boxImage);
    }
    painter.end();

    const QFileInfo info(file);
    const QString boxFile
        = info.path() + QLatin1Char('/') + info.completeBaseName() + QStringLiteral("-box.png");
    return scene.save(file) && boxImage.save(boxFile);
}

struct Snapshot
{
    HostWindow* host;
    QString file;
    bool saved;
};

/// Runs inside the modal loop: looks, saves, and presses the front window's button.
void TakeSnapshot(EventLoopTimerRef, void* userData)
{
    auto* snapshot = static_cast<Snapshot*>(userData);
    for (QWidget* widget : QApplication::topLevelWidgets())
        if (widget->isVisible() && widget != snapshot->host)
            snapshot->saved = SaveSnapshot(*snapshot->host, *widget, snapshot->file);
    const ControlID buttonID = { 'butn', 0 };
    ControlRef button = nullptr;
    if (GetControlByID(FrontNonFloatingWindow(), &buttonID, &button) == noErr)
        HIViewSimulateClick(button, kControlButtonPart, 0, nullptr);
}

int RunSnapshot(HostWindow& host, const Options& options)
{
    Snapshot snapshot = { &host, options.snapshot, false };
    InstallEventLoopTimer(GetMainEventLoop(), 0.2, 0, NewEventLoopTimerUPP(TakeSnapshot), &snapshot,
                          nullptr);
    const int result = host.ShowAboutBox(options.style);
    if (snapshot.saved)
        printf("saved %s\n", qUtf8Printable(options.snapshot));
    else
        fprintf(stderr, "ExampleHost: cannot save %s\n", qUtf8Printable(options.snapshot));
    return result == 1 && snapshot.saved ? 0 : 1;
}

Options ParseOptions(const QStringList& arguments)
{
    QCommandLineParser parser;
    parser.setApplicationDescription(QStringLiteral("Loads the module and shows its About box."));
    parser.addHelpOption();
    const QString defaultModule
        = QCoreApplication::applicationDirPath() + QStringLiteral("/../../../Veltrano.bundle");
    parser.addOptions({
        { QStringLiteral("module"), QStringLiteral("The module."), QStringLiteral("bundle"),
          defaultModule },
        { QStringLiteral("style"), QStringLiteral("1: light text on the dark picture."),
          QStringLiteral("0|1"), QStringLiteral("0") },
        { QStringLiteral("text"), QStringLiteral("The extra line."), QStringLiteral("text"),
          QStringLiteral("Licensed to Ada Example, serial number 1815-1852") },
        { QStringLiteral("snapshot"), QStringLiteral("Save a picture, press the button, end."),
          QStringLiteral("file.png") },
        { QStringLiteral("alert"), QStringLiteral("Show an alert instead."),
          QStringLiteral("ok|yes-no") },
    });
    parser.process(arguments);
    Options options;
    options.modulePath = parser.value(QStringLiteral("module")).toStdString();
    options.text = parser.value(QStringLiteral("text")).toStdString();
    options.style = parser.value(QStringLiteral("style")).toInt();
    options.snapshot = parser.value(QStringLiteral("snapshot"));
    options.alert = parser.value(QStringLiteral("alert"));
    return options;
}

} // namespace

int main(int argc, char** argv)
{
    QStringList arguments; // before the toolkit takes its own, "--style" among them
    for (int i = 0; i < argc; ++i)
        arguments.append(QString::fromLocal8Bit(argv[i]));
    int toolkitCount = 1;
    const QApplication application(toolkitCount, argv);
    const Options options = ParseOptions(arguments);

    Module module(options.modulePath);
    if (!module.IsLoaded()) {
        fprintf(stderr, "ExampleHost: cannot load the module %s\n", options.modulePath.c_str());
        return 1;
    }

    int exitCode = 0;
    {
        HostWindow host(module, options);
        host.show();
        if (!options.snapshot.isEmpty())
            exitCode = RunSnapshot(host, options);
        else if (options.alert == QLatin1String("ok"))
            HostWindow::ShowOkAlert();
        else if (!options.alert.isEmpty())
            HostWindow::AskYesNo();
        else {
            QTimer::singleShot(0, &host, [&host, &options] { host.ShowAboutBox(options.style); });
            exitCode = QApplication::exec();
        }
    }

    module.Unload();
    if (IsImageMapped("/Contents/MacOS/Veltrano")) {
        fprintf(stderr, "ExampleHost: the module is still in the process\n");
        return 1;
    }
    puts("module unloaded");
    return exitCode;
}
