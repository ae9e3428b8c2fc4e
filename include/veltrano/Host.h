/* SPDX-License-Identifier: MIT
 * Host.h - opens the module and shows its About box, from a host in any language.
 *
 * Plain C functions, exported by libvltoolbox under their own names. Order: open, show as often as wanted,
 * close. Main thread only; pointers are borrowed for the call; texts are UTF-8 and zero-terminated.
 *
 *   VeltranoModuleRef module = VeltranoOpenModule(NULL);
 *   WindowRef window = CreateWindowRefWithX11Window(id);
 *   int result = VeltranoShowAboutBox(module, window, NULL, 128, "Product 3.2", "Licensed to Ada", 0);
 *   if (result != kVeltranoShown)
 *       fprintf(stderr, "%s\n", VeltranoResultText(result));
 *   DisposeWindow(window);
 *   VeltranoCloseModule(module);
 */
#pragma once

#include <veltrano/EntryTable.h>
#include <veltrano/HostWindow.h>

__BEGIN_DECLS

typedef struct OpaqueVeltranoModule* VeltranoModuleRef;

enum {
    kVeltranoShown = 0,         /* the user has seen the box and closed it */
    kVeltranoNoModule,          /* the module reference is null */
    kVeltranoNoDisplay,         /* no usable display, or no Qt platform plug-in for it; a first box on another
                                   thread than the main one, or with fewer than 16 free descriptors */
    kVeltranoOtherApplication,  /* the process has an application object of another kind, for example a
                                   QGuiApplication, or its QApplication belongs to another thread */
    kVeltranoNoWindow,          /* the given window is not a live WindowRef, or the box could not be created */
    kVeltranoNoInterfaceFile    /* the module's bundle has no readable interface file */
};

/* Loads the module.
 *   path     the bundle's folder; null: the installed module, found beside this library
 *   returns  the module; null if there is no bundle, or it does not export GetEntryTable. The caller gives
 *            it to VeltranoCloseModule
 */
VL_EXPORT VeltranoModuleRef VeltranoOpenModule(const char* path);

/* Closes the module; null is ignored. The module is unloaded when it has been closed as often as it was opened
 * and the user has closed its boxes. */
VL_EXPORT void VeltranoCloseModule(VeltranoModuleRef module);

/* Shows the About box and returns when the user has closed it.
 *   window          the host's window, which is blocked meanwhile; null: a box without parent
 *   hostBundlePath  the bundle whose resource file holds the picture; null: the program's own bundle
 *   pictureId       id of the 'PICT' resource; if it is missing, the box shows the module's own picture
 *   versionText     version line; null hides it
 *   text            extra line; null hides it
 *   lightStyle      not 0: light grey text, for dark pictures; 0: black text, for light ones
 *   returns         kVeltranoShown, or why nothing was shown
 */
VL_EXPORT int VeltranoShowAboutBox(VeltranoModuleRef module, WindowRef window, const char* hostBundlePath,
                                   int pictureId, const char* versionText, const char* text, int lightStyle);

/* One English sentence for a result; a static text, never null. */
VL_EXPORT const char* VeltranoResultText(int result);

__END_DECLS
