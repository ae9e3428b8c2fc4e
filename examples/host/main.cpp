// SPDX-License-Identifier: MIT
// main.cpp - a small Qt product that loads the module and shows its About box and an alert.
//   ExampleHost [--module BUNDLE] [--style 0|1] [--snapshot FILE.png]
// With --snapshot it shows the box, saves a picture of it, presses its button and ends.
#include <Carbon/Carbon.h>
#include <veltrano/Host.h>

#include <QtCore/QCommandLineParser>
#include <QtCore/QFile>
#include <QtCore/QTimer>
#include <QtWidgets/QApplication>
#include <QtWidgets/QPushButton>
#include <QtWidgets/QVBoxLayout>

#include <cstdio>
#include <ui/Alerts.h>

namespace {

enum { kLightPicture = 128, kDarkPicture = 129 };

class HostWindow : public QWidget
{
public:
    explicit HostWindow(VeltranoModuleRef module)
        : m_module(module)
        , m_window(CreateWindowRefWithQWidget(this))
    {
        setWindowTitle(QStringLiteral("Example Host"));
        resize(720, 480);
        auto* layout = new QVBoxLayout(this);
        layout->setAlignment(Qt::AlignCenter);
        const auto add = [this, layout](const char* title, auto action) {
            auto* button = new QPushButton(QString::fromUtf8(title));
            connect(button, &QPushButton::clicked, this, action);
            layout->addWidget(button);
        };
        add("About, black text on the light picture…", [this] { ShowAboutBox(0); });
        add("About, light text on the dark picture…", [this] { ShowAboutBox(1); });
        add("Close…", [this] {
            if (Veltrano::ShowAlert("Changes that you have not saved will be lost.",
                                    "Do you want to close the document without saving it?", 1)) {
                close();
            }
        });
    }
    ~HostWindow() override { DisposeWindow(m_window); }

    bool ShowAboutBox(int style)
    {
        const int result = VeltranoShowAboutBox(
            m_module, m_window, nullptr, style != 0 ? kDarkPicture : kLightPicture,
            "Example Host 3.2 (build 88)", "Licensed to Ada Example, serial number 1815-1852",
            style);
        puts(VeltranoResultText(result));
        return result == kVeltranoShown;
    }

    /// Shows the box, saves a picture of it and presses its button. False if one of them failed.
    bool SaveAboutBox(int style, const QString& file)
    {
        bool isSaved = false;
        QTimer::singleShot(200, this, [&] {
            for (QWidget* window : QApplication::topLevelWidgets()) {
                isSaved = isSaved
                    || (window->isVisible() && window != this && window->grab().save(file));
            }
            const ControlID buttonID = { 'butn', 0 };
            ControlRef button = nullptr;
            if (GetControlByID(FrontNonFloatingWindow(), &buttonID, &button) == noErr)
                HIViewSimulateClick(button, kControlButtonPart, 0, nullptr);
        });
        return ShowAboutBox(style) && isSaved;
    }

private:
    VeltranoModuleRef m_module;
    WindowRef m_window;
};

} // namespace

int main(int argc, char** argv)
{
    QStringList arguments; // before the toolkit takes its own, "--style" among them
    for (int i = 0; i < argc; ++i)
        arguments.append(QString::fromLocal8Bit(argv[i]));
    int toolkitCount = 1;
    const QApplication application(toolkitCount, argv);
    QCommandLineParser parser;
    parser.addHelpOption();
    parser.addOptions({
        { QStringLiteral("module"), QStringLiteral("The module; default: the installed one."),
          QStringLiteral("bundle") },
        { QStringLiteral("style"), QStringLiteral("1: light text on the dark picture."),
          QStringLiteral("0|1"), QStringLiteral("0") },
        { QStringLiteral("snapshot"), QStringLiteral("Save a picture of the box and end."),
          QStringLiteral("file.png") },
    });
    parser.process(arguments);
    const QByteArray path = QFile::encodeName(parser.value(QStringLiteral("module")));
    const QString file = parser.value(QStringLiteral("snapshot"));
    const int style = parser.value(QStringLiteral("style")).toInt();

    const VeltranoModuleRef module = VeltranoOpenModule(path.isEmpty() ? nullptr : path.data());
    if (module == nullptr) {
        fprintf(stderr, "ExampleHost: cannot load the module %s\n", path.constData());
        return 1;
    }
    bool isDone = true;
    {
        HostWindow host(module);
        host.show();
        if (!file.isEmpty()) {
            isDone = host.SaveAboutBox(style, file);
        } else {
            QTimer::singleShot(0, &host, [&] { host.ShowAboutBox(style); });
            QApplication::exec();
        }
    }
    VeltranoCloseModule(module);
    return isDone ? 0 : 1;
}
