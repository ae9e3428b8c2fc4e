/* SPDX-License-Identifier: MIT */
/* main.c - a GTK 3 product that shows the module's About box over its window.
 *   gtk_host BUNDLE [SECONDS]
 * SECONDS: shows the box at once, presses its button after that time, ends */
#include "../About.h"

#include <gdk/gdkx.h>
#include <gtk/gtk.h>

typedef struct
{
    const char* bundle;
    GtkWidget* window;
    double seconds;
    int result;
} Host;

static void OnAbout(GtkButton* button, gpointer data)
{
    Host* host = data;
    (void)button;
    host->result = ShowAbout(
        host->bundle, gdk_x11_window_get_xid(gtk_widget_get_window(host->window)), host->seconds);
}

static gboolean ShowOnce(gpointer data)
{
    OnAbout(NULL, data);
    gtk_main_quit();
    return G_SOURCE_REMOVE;
}

int main(int argc, char** argv)
{
    Host host = { argc > 1 ? argv[1] : NULL, NULL, argc > 2 ? atof(argv[2]) : 0, 0 };
    gdk_set_allowed_backends("x11");
    if (host.bundle == NULL || !gtk_init_check(NULL, NULL)) {
        fprintf(stderr, "usage: gtk_host BUNDLE [SECONDS], with an X display\n");
        return 2;
    }
    host.window = gtk_window_new(GTK_WINDOW_TOPLEVEL);
    gtk_window_set_title(GTK_WINDOW(host.window), "GTK host");
    gtk_window_set_default_size(GTK_WINDOW(host.window), 640, 420);
    GtkWidget* button = gtk_button_new_with_label("About…");
    gtk_widget_set_halign(button, GTK_ALIGN_CENTER);
    gtk_widget_set_valign(button, GTK_ALIGN_CENTER);
    gtk_container_add(GTK_CONTAINER(host.window), button);
    g_signal_connect(button, "clicked", G_CALLBACK(OnAbout), &host);
    g_signal_connect(host.window, "destroy", G_CALLBACK(gtk_main_quit), NULL);
    gtk_widget_show_all(host.window);
    if (host.seconds > 0)
        g_timeout_add(200, ShowOnce, &host);
    gtk_main();
    return host.result;
}
