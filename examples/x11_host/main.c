/* SPDX-License-Identifier: MIT */
/* main.c - a product on plain Xlib, without any toolkit, that shows the module's About box on a click.
 *   x11_host BUNDLE [--auto SECONDS [CYCLES]]
 * --auto: loads and unloads the module CYCLES times, shows the box once, presses its button after SECONDS, ends */
#include "examples/Cycles.h"

#include <X11/Xlib.h>
#include <X11/Xutil.h>

int main(int argc, char** argv)
{
    const double seconds = argc > 3 ? atof(argv[3]) : 0;
    const int cycles = argc > 4 ? atoi(argv[4]) : 0;
    Display* display = XOpenDisplay(NULL);
    if (argc < 2 || display == NULL) {
        fprintf(stderr,
                argc < 2 ? "usage: x11_host BUNDLE [--auto SECONDS [CYCLES]]\n"
                         : "x11_host: no display\n");
        return 2;
    }
    const int screen = DefaultScreen(display);
    Window window = XCreateSimpleWindow(display, RootWindow(display, screen), 120, 90, 640, 420, 0,
                                        0, WhitePixel(display, screen));
    Atom deleteWindow = XInternAtom(display, "WM_DELETE_WINDOW", False);
    XSetWMProtocols(display, window, &deleteWindow, 1);
    XStoreName(display, window, "Xlib host: click for the About box");
    XSelectInput(display, window, ExposureMask | ButtonPressMask | StructureNotifyMask);
    XMapWindow(display, window);

    int result = 0;
    for (int running = 1; running;) {
        XEvent event;
        XNextEvent(display, &event);
        const int isShown = event.type == Expose && event.xexpose.count == 0;
        if (event.type == ClientMessage && (Atom)event.xclient.data.l[0] == deleteWindow)
            running = 0;
        if (event.type == ButtonPress || (isShown && seconds > 0)) {
            result = RunCycles(argv[1], cycles)
                || ShowAbout(argv[1], window, "from a product without a toolkit", seconds);
            running = seconds <= 0;
        }
    }
    XDestroyWindow(display, window);
    XCloseDisplay(display);
    return result;
}
