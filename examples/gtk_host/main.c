/* SPDX-License-Identifier: MIT */
/* main.c - a GTK 3 product that shows the module's About box over its window.
 *   gtk_host BUNDLE [SECONDS]
 * SECONDS: shows the box at once, presses its button after that time, ends */
#include "../About.h"

#include <gdk/gdkx.h>
#include <gtk/gtk.h>

static int result;

static void OnAbout(GtkWidget* button, char** argv)
{
    const double seconds = argv[2] != NULL ? atof(argv[2]) : 0;
    GdkWindow* window = gtk_widget_get_window(gtk_widget_get_toplevel(button));
    result = ShowAbout(argv[1], gdk_x11_window_get_xid(window), seconds);
    if (seconds > 0)
        gtk_main_quit();
}

int main(int argc, char** argv)
{
    gdk_set_allowed_backends("x11");
    if (argc < 2 || !gtk_init_check(NULL, NULL)) {
        fprintf(stderr, "usage: gtk_host BUNDLE [SECONDS], with an X display\n");
        return 2;
    }
    GtkWidget* window = gtk_window_new(GTK_WINDOW_TOPLEVEL);
    gtk_window_set_title(GTK_WINDOW(window), "GTK host");
    gtk_window_set_default_size(GTK_WINDOW(window), 640, 420);
    GtkWidget* button = gtk_button_new_with_label("About…");
    gtk_widget_set_halign(button, GTK_ALIGN_CENTER);
    gtk_widget_set_valign(button, GTK_ALIGN_CENTER);
    gtk_container_add(GTK_CONTAINER(window), button);
    g_signal_connect(button, "clicked", G_CALLBACK(OnAbout), argv);
    g_signal_connect(window, "destroy", G_CALLBACK(gtk_main_quit), NULL);
    gtk_widget_show_all(window);
    if (argc > 2)
        g_timeout_add_once(200, (GSourceOnceFunc)gtk_button_clicked, button);
    gtk_main();
    return result;
}
