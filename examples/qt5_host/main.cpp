// SPDX-License-Identifier: MIT
// main.cpp - a Qt 5 product on X11. The module brings Qt 6 with it, so the window goes by its X11 id.
//   qt5_host BUNDLE [SECONDS]
// SECONDS: shows the box at once, presses its button after that time, ends
#include "../About.h"

#include <QtCore/QTimer>
#include <QtWidgets/QApplication>
#include <QtWidgets/QPushButton>

int main(int argc, char** argv)
{
    qputenv("QT_QPA_PLATFORM", "xcb");
    const QApplication application(argc, argv);
    const QStringList arguments = QCoreApplication::arguments();
    const double seconds = arguments.value(2).toDouble();
    if (arguments.size() < 2) {
        fprintf(stderr, "usage: qt5_host BUNDLE [SECONDS]\n");
        return 2;
    }
    QPushButton host(QStringLiteral("About…"));
    host.setWindowTitle(QStringLiteral("Qt 5 host"));
    host.resize(640, 420);
    int result = 0;
    QObject::connect(&host, &QPushButton::clicked, [&] {
        result = ShowAbout(argv[1], host.winId(), seconds);
        if (seconds > 0)
            QCoreApplication::exit(result);
    });
    host.show();
    if (seconds > 0)
        QTimer::singleShot(200, &host, &QPushButton::click);
    return QApplication::exec();
}
