/* SPDX-License-Identifier: MIT
 * EntryTable.h - the module's one exported symbol and the table behind it (C and C++).
 * Host.h loads the module and calls its entries for you; this header is for hosts that do it themselves.
 *
 * Order: load the bundle, find GetEntryTable, take the table, call entries by position, unload. Nothing
 * need be called first. Main thread only; pointers and references are borrowed for the call.
 *
 *   CFBundleRef module = CFBundleCreate(NULL, url);
 *   GetEntryTableProc get = (GetEntryTableProc)CFBundleGetFunctionPointerForName(module, CFSTR("GetEntryTable"));
 *   ShowAboutBoxEntry show = (ShowAboutBoxEntry)get()[kEntryShowAboutBox];
 *   show(window, CFBundleGetMainBundle(), 128, &product, "Licensed to you", 0);
 *   CFBundleUnloadExecutable(module);
 *   CFRelease(module);
 */
#pragma once

#include <Carbon/Carbon.h>

/* The host's record of its product. */
typedef struct ProductRecord
{
    UInt32 reserved[2];      /* the host's own */
    const char* versionText; /* zero-terminated; null shows no version line */
} ProductRecord;

enum { kEntryShowAboutBoxSimple = 0, kEntryShowAboutBox = 10, kEntryCount = 11 };

/* Position 0: ShowAboutBox without text and with style 0. */
typedef int (*ShowAboutBoxSimpleEntry)(WindowRef parent, CFBundleRef bundle, int pictureId,
                                       ProductRecord* product);

/* Position 10: shows the About box, modal to a window of the host, until the user closes it.
 *   parent      blocked and covered meanwhile; brought to the front afterwards
 *   bundle      whose resource map holds the picture
 *   pictureId   id of its 'PICT' resource; the low 16 bits count, signed. A missing one leaves the box's
 *               own picture
 *   text        extra line, needed for this call only; null hides the line
 *   lightStyle  not 0: light grey text, for dark pictures; 0: black text, for light ones
 *   returns     1 once the box has run
 */
typedef int (*ShowAboutBoxEntry)(WindowRef parent, CFBundleRef bundle, int pictureId,
                                 ProductRecord* product, const char* text, int lightStyle);

/* A position of the table, to be cast to the type of its entry; positions 1 to 9 are null. */
typedef void (*EntryPoint)(void);

__BEGIN_DECLS

/* The table of kEntryCount positions; always the same address, valid until the module is unloaded. */
__attribute__((__visibility__("default"))) const EntryPoint* GetEntryTable(void);

__END_DECLS

typedef const EntryPoint* (*GetEntryTableProc)(void);

#ifdef __cplusplus
namespace Veltrano { /* for components, which live there */
using ::EntryPoint;
using ::kEntryCount;
using ::kEntryShowAboutBox;
using ::kEntryShowAboutBoxSimple;
using ::ProductRecord;
using ::ShowAboutBoxEntry;
using ::ShowAboutBoxSimpleEntry;
}
#endif
