// SPDX-License-Identifier: MIT
// host_results.cpp - a host that cannot show a window; exits with what the library answers.
//   host_results BUNDLE none|gui   with no application object, or with a QGuiApplication
#include <veltrano/Host.h>

#include <QtGui/QGuiApplication>

#include <cstring>
#include <memory>

int main(int argc, char** argv)
{
    std::unique_ptr<QGuiApplication> application;
    if (strcmp(argv[2], "gui") == 0)
        application = std::make_unique<QGuiApplication>(argc, argv);
    const VeltranoModuleRef module = VeltranoOpenModule(argv[1]);
    const int result = VeltranoShowAboutBox(module, nullptr, nullptr, 128, "x", nullptr, 0);
    VeltranoCloseModule(module);
    const int expected = application ? kVeltranoOtherApplication : kVeltranoNoDisplay;
    return module != nullptr && result == expected ? 0 : 1;
}
