// SPDX-License-Identifier: MIT
// main.cpp - a small Qt product that loads the module and shows its About box and an alert.
//   ExampleHost [--module BUNDLE] [--style 0|1] [--snapshot FILE.png]
// With --snapshot it shows the box, saves a picture of it, presses its button and ends.
#include "../About.h"

#include <QtCore/QCommandLineParser>
#include <QtCore/QFile>
#include <QtCore/QTimer>
#include <QtWidgets/QApplication>
#include <QtWidgets/QPushButton>
#include <QtWidgets/QVBoxLayout>

#include <ui/Alerts.h>

namespace {

enum { kLightPicture = 128, kDarkPicture = 129 };

class HostWindow : public QWidget
{
public:
    explicit HostWindow(VeltranoModuleRef module) // takes it
        : m_module(module)
        , m_window(CreateWindowRefWithQWidget(this))
    {
        setWindowTitle("Example Host");
        resize(720, 480);
        auto* layout = new QVBoxLayout(this);
        layout->setAlignment(Qt::AlignCenter);
        const auto add = [this, layout](const char* title, auto action) {
            auto* button = new QPushButton(title);
            connect(button, &QPushButton::clicked, this, action);
            layout->addWidget(button);
        };
        add("About, black text on the light picture…", [this] { ShowAboutBox(0); });
        add("About, light text on the dark picture…", [this] { ShowAboutBox(1); });
        add("Close…", [this] {
            if (Veltrano::ShowAlert("Changes that you have not saved will be lost.",
                                    "Do you want to close the document without saving it?", 1))
                close();
        });
    }
    ~HostWindow() override
    {
        DisposeWindow(m_window);
        VeltranoCloseModule(m_module);
    }

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
        int isPressed = 0;
        QTimer::singleShot(200, this, [&] {
            for (QWidget* window : QApplication::topLevelWidgets()) {
                isSaved = isSaved
                    || (window->isVisible() && window != this && window->grab().save(file));
            }
            PressButton(nullptr, &isPressed);
        });
        return ShowAboutBox(style) && isSaved && isPressed;
    }

private:
    VeltranoModuleRef m_module;
    WindowRef m_window;
};

} // namespace

int main(int argc, char** argv)
{
    // Before the toolkit takes its own, "--style" among them.
    const QStringList arguments(argv, argv + argc);
    int toolkitCount = 1;
    const QApplication application(toolkitCount, argv);
    QCommandLineParser parser;
    parser.addHelpOption();
    parser.addOptions({
        { "module", "The module; default: the installed one.", "bundle" },
        { "style", "1: light text on the dark picture.", "0|1", "0" },
        { "snapshot", "Save a picture of the box and end.", "file.png" },
    });
    parser.process(arguments);
    const QByteArray path = QFile::encodeName(parser.value("module"));
    const QString file = parser.value("snapshot");
    const int style = parser.value("style").toInt();

    const VeltranoModuleRef module = VeltranoOpenModule(path.isEmpty() ? nullptr : path.data());
    if (module == nullptr) {
        fprintf(stderr, "ExampleHost: cannot load the module %s\n", path.constData());
        return 1;
    }
    HostWindow host(module);
    host.show();
    if (!file.isEmpty())
        return host.SaveAboutBox(style, file) ? 0 : 1;
    QTimer::singleShot(0, &host, [&] { host.ShowAboutBox(style); });
    return QApplication::exec();
}
