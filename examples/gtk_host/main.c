/* SPDX-License-Identifier: MIT */
/* main.c - a GTK 3 product that shows the module's About box over its window.
 *   gtk_host BUNDLE [--auto SECONDS]   with --auto: shows the box once, presses its button after that time, ends */
#include "examples/Module.h"

#include <gdk/gdkx.h>
#include <gtk/gtk.h>
#include <stdlib.h>

typedef struct
{
    CFBundleRef module;
    const EntryPoint* table;
    GtkWidget* window;
    double seconds;
    int result;
} Host;

static void OnAbout(GtkButton* button, gpointer data)
{
    Host* host = data;
    (void)button;
    if (host->table == NULL)
        host->table = LoadModule(host->module);
    if (host->table == NULL) {
        host->result = 1;
        return;
    }
    const unsigned long window = gdk_x11_window_get_xid(gtk_widget_get_window(host->window));
    host->result = ShowAbout(host->table, window, "from a GTK product", host->seconds);
}

static gboolean RunOnce(gpointer data)
{
    OnAbout(NULL, data);
    gtk_main_quit();
    return G_SOURCE_REMOVE;
}

int main(int argc, char** argv)
{
    Host host = { NULL, NULL, NULL, 0, 0 };
    gdk_set_allowed_backends("x11");
    if (argc < 2 || !gtk_init_check(NULL, NULL)) {
        fprintf(stderr,
                argc < 2 ? "usage: gtk_host BUNDLE [--auto SECONDS]\n" : "gtk_host: no display\n");
        return 2;
    }
    if (argc > 3)
        host.seconds = atof(argv[3]);
    host.module = OpenBundle(argv[1]);

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
        g_timeout_add(200, RunOnce, &host);
    gtk_main();

    if (host.module != NULL) {
        CFBundleUnloadExecutable(host.module);
        CFRelease(host.module);
    }
    puts("module unloaded");
    return host.result;
}
