// SPDX-License-Identifier: MIT
// gallery_host.cpp - the host in the pictures of the gallery. Shows one box or alert until the user closes it.
//   gallery_host [dark] [-reverse] box MODULE BUNDLE PICTURE STYLE VERSION TEXT
//   gallery_host [dark] [-reverse] alert MESSAGE EXPLANATION 0|1
#include <veltrano/Host.h>

#include <QtWidgets/QApplication>
#include <QtWidgets/QLabel>

#include <ui/Alerts.h>

int main(int argc, char** argv)
{
    QApplication application(argc, argv); // takes -reverse
    QStringList arguments = QApplication::arguments().mid(1);
    QApplication::setStyle(QStringLiteral("fusion"));
    if (arguments.removeOne(QStringLiteral("dark"))) {
        QPalette dark(QColor(53, 53, 57), QColor(40, 40, 43));
        dark.setColor(QPalette::Highlight, QColor(48, 140, 198));
        QApplication::setPalette(dark);
    }
    QApplication::setApplicationDisplayName(QStringLiteral("Product"));
    QLabel host(QStringLiteral("A window of the host"));
    host.setAlignment(Qt::AlignHCenter | Qt::AlignTop);
    host.setWindowTitle(QStringLiteral("Host"));
    host.resize(640, 420);
    host.show();
    while (!host.isActiveWindow())
        QApplication::processEvents(QEventLoop::WaitForMoreEvents);

    const auto text = [&](qsizetype at) { return arguments.value(at).toUtf8(); };
    if (text(0) == "alert")
        return Veltrano::ShowAlert(text(2), text(1), text(3).toInt());
    const VeltranoModuleRef module = VeltranoOpenModule(text(1));
    const WindowRef window = CreateWindowRefWithQWidget(&host);
    const int result = VeltranoShowAboutBox(module, window, text(2), text(3).toInt(), text(5),
                                            text(6), text(4).toInt());
    DisposeWindow(window);
    VeltranoCloseModule(module);
    return result == kVeltranoShown ? 0 : 1;
}
