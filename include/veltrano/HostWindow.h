// SPDX-License-Identifier: MIT
// HostWindow.h - wraps a Linux host's window as a WindowRef (C and C++). Main thread only.
// The wrapper has class kDocumentWindowClass until SetWindowClass. DisposeWindow frees the wrapper and leaves
// the host's window alone. If the host destroys its window first, the wrapper's bounds become empty.
// Both functions are exported under their own names, so that a foreign-function interface can call them.
#pragma once

#include <Carbon/HIObject.h>
#include <veltrano/Symbol.h>

__BEGIN_DECLS

/// Wraps the top-level window of a QWidget*. Null for null, and if the process has no QApplication.
VL_EXPORT WindowRef CreateWindowRefWithQWidget(void* qWidget);

/// Wraps a native window of any toolkit by its X11 id. Null if there is no such window or no X display.
///   example  GTK: CreateWindowRefWithX11Window(gdk_x11_window_get_xid(gtk_widget_get_window(w)))
VL_EXPORT WindowRef CreateWindowRefWithX11Window(unsigned long window);

__END_DECLS
