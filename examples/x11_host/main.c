/* SPDX-License-Identifier: MIT */
/* main.c - a product on plain Xlib, without any toolkit, that shows the module's About box on a click.
 *   x11_host BUNDLE [SECONDS]
 * SECONDS: shows the box at once, presses its button after that time, ends */
#include "../About.h"

#include <X11/Xlib.h>

int main(int argc, char** argv)
{
    const double seconds = argc > 2 ? atof(argv[2]) : 0;
    Display* display = XOpenDisplay(NULL);
    if (argc < 2 || display == NULL) {
        fprintf(stderr, "usage: x11_host BUNDLE [SECONDS], with an X display\n");
        return 2;
    }
    Window window = XCreateSimpleWindow(display, DefaultRootWindow(display), 120, 90, 640, 420, 0,
                                        0, WhitePixel(display, DefaultScreen(display)));
    Atom deleteWindow = XInternAtom(display, "WM_DELETE_WINDOW", False);
    XSetWMProtocols(display, window, &deleteWindow, 1);
    XStoreName(display, window, "Xlib host: click for the About box");
    XSelectInput(display, window, ExposureMask | ButtonPressMask);
    XMapWindow(display, window);

    int result = 0;
    for (int isRunning = 1; isRunning;) {
        XEvent event;
        XNextEvent(display, &event);
        if (event.type == ClientMessage && (Atom)event.xclient.data.l[0] == deleteWindow)
            isRunning = 0;
        if (event.type == ButtonPress || (event.type == Expose && seconds > 0)) {
            result = ShowAbout(argv[1], window, seconds);
            isRunning = seconds <= 0;
        }
    }
    XCloseDisplay(display);
    return result;
}
