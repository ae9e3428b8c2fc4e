// SPDX-License-Identifier: MIT
// EntryTable.cpp - the exported table and its two entries.
#include "ui/AboutBox.h"

#include <veltrano/EntryTable.h>

namespace {

int ShowAboutBox(WindowRef parent,
                 CFBundleRef bundle,
                 int pictureId,
                 ProductRecord* product,
                 const char* text,
                 int lightStyle)
{
    // KEPT: the constructor's order differs from the entry's.
    auto* aboutBox = new Veltrano::AboutBox(product, bundle, static_cast<SInt16>(pictureId), parent,
                                            text, lightStyle);
    return aboutBox->run(); // deletes itself
}

int ShowAboutBoxSimple(WindowRef parent, CFBundleRef bundle, int pictureId, ProductRecord* product)
{
    return ShowAboutBox(parent, bundle, pictureId, product, nullptr, 0);
}

// Hosts call by position: 1 to 9 belong to other components.
const EntryPoint kEntries[kEntryCount] = {
    reinterpret_cast<EntryPoint>(ShowAboutBoxSimple), // 0
    nullptr,
    nullptr,
    nullptr,
    nullptr,
    nullptr,
    nullptr,
    nullptr,
    nullptr,
    nullptr,
    reinterpret_cast<EntryPoint>(ShowAboutBox), // 10
};

} // namespace

extern "C" const EntryPoint* GetEntryTable(void) { return kEntries; }
