// SPDX-License-Identifier: MIT
// HostWindow.h - how a Linux host hands its own window to the API. Main thread only.
// The wrapper has class kDocumentWindowClass until SetWindowClass; DisposeWindow gives it back and leaves
// the host's window alone. A host may destroy its window first: the wrapper then has empty bounds.
#pragma once

#include <Carbon/HIObject.h>
#include <veltrano/Symbol.h>

#ifdef __cplusplus
extern "C" {
#endif

/// Wraps a QWidget* (its top-level window counts). Null for null and where no QApplication exists.
WindowRef CreateWindowRefWithQWidget(void* qWidget) VL_SYMBOL(CreateWindowRefWithQWidget);

/// Wraps a native window of any toolkit by its X11 id. Null when there is no such window or no X display.
///   example  GTK: CreateWindowRefWithX11Window(gdk_x11_window_get_xid(gtk_widget_get_window(w)))
WindowRef CreateWindowRefWithX11Window(unsigned long window) VL_SYMBOL(CreateWindowRefWithX11Window);

#ifdef __cplusplus
}
#endif
