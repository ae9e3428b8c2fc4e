// SPDX-License-Identifier: MIT
// box_bench.cpp - boxes and alerts from open to closed: each is closed by its button once it has painted.
// Uses the display, or what QT_QPA_PLATFORM says; the module's box goes through Host.h.
#include "bench/Bench.h"
#include "ui/Alerts.h"

#include <veltrano/Host.h>

#include <QtCore/QEvent>
#include <QtCore/QPointer>
#include <QtCore/QTimer>
#include <QtWidgets/QAbstractButton>
#include <QtWidgets/QApplication>
#include <QtWidgets/QMessageBox>

#include <fcntl.h>
#include <unistd.h>

using benchmark::DoNotOptimize;

namespace {

// Presses the first button of each window that is not the host's, once it has painted.
class User : public QObject
{
public:
    explicit User(QWidget* host)
        : m_host(host)
    {
    }

    bool eventFilter(QObject* object, QEvent* event) override
    {
        auto* window = event->type() == QEvent::Paint ? qobject_cast<QWidget*>(object) : nullptr;
        if (window != nullptr && window->isWindow() && window != m_host && window != m_seen) {
            m_seen = window;
            QTimer::singleShot(0, window,
                               [window] { window->findChild<QAbstractButton*>()->click(); });
        }
        return false;
    }

private:
    QWidget* m_host;
    QPointer<QWidget> m_seen;
};

} // namespace

void AddBenchmarks()
{
    static int argc = 1;
    static char name[] = "box_bench";
    static char* argv[] = { name, nullptr };
    new QApplication(argc, argv); // as a host: until the process ends
    dup2(open("/dev/null", O_WRONLY), STDERR_FILENO); // the box tells its texts

    static QWidget* const host = new QWidget; // as the application: until the process ends
    host->setGeometry(100, 100, 640, 480);
    host->show();
    QApplication::processEvents();
    qApp->installEventFilter(new User(host));

    static const VeltranoModuleRef module = VeltranoOpenModule(VELTRANO_BUNDLE);
    static const WindowRef parent = CreateWindowRefWithQWidget(host);
    static const auto show = [](int pictureId) {
        return VeltranoShowAboutBox(module, parent, VELTRANO_BUNDLE, pictureId,
                                    "Product 3.2 (build 88)", "Licensed to Ada", 0);
    };
    show(128); // fonts and files are read once
    Veltrano::ShowAlert("It is in use.", "Cannot open the file.", 0);

    Add("About box, without picture", "ours", [] { DoNotOptimize(show(999)); });
    Add("About box, with picture", "ours", [] { DoNotOptimize(show(128)); });
    Add("alert", "ours",
        [] { DoNotOptimize(Veltrano::ShowAlert("It is in use.", "Cannot open the file.", 0)); });
    for (const char* workload :
         { "About box, without picture", "About box, with picture", "alert" })
        Add(workload, "QMessageBox", [] {
            QMessageBox::warning(host, QStringLiteral("About"),
                                 QStringLiteral("Product 3.2 (build 88)"));
        });
}
