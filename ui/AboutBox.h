// SPDX-License-Identifier: MIT
// AboutBox.h - a window with the product's picture, version line and optional extra line, modal to a window of the
// host. Order: new, run. The box deletes itself while run disposes its window; do not touch it afterwards. Main
// thread. Pointers and references are borrowed. Failures show nothing and are not reported.
#pragma once

#include <Carbon/Carbon.h>
#include <veltrano/EntryTable.h>

namespace Veltrano {

class AboutBox
{
public:
    /// Copies the extra text, creates the hidden window from the module's interface file "about", opens the
    /// bundle's resource map and loads its picture. The map stays current until the box is destroyed.
    ///   product     its version text is read during run, so it must outlive the box; may be null
    ///   bundle      holds the 'PICT' resource `pictureId`; without it the box shows its own picture
    ///   parent      blocked while the box is up; gives the box its window class and its centre
    ///   text        needed for this call only; null hides the extra line
    ///   lightStyle  not 0: white brush and light grey text; 0: black brush and black text
    AboutBox(ProductRecord* product,
             CFBundleRef bundle,
             SInt16 pictureId,
             WindowRef parent,
             const char* text,
             int lightStyle);

    /// Shows the box until the user closes it, then disposes the window, which deletes this object.
    ///   returns  1, also if there was no window to show
    int run();

    /// Ends the modal loop and hides the window. The command 'clos' calls it.
    OSStatus close();

    /// Frees the text, the picture and the resource map of a closed window and brings the parent to the front.
    void destroy();

    /// Sets the version line from the product record and the extra line from the text copy.
    void fillTexts();

    /// Closes the box when another caller hides its window. run does not install it.
    static OSStatus HidingEventHandler(EventHandlerCallRef next, EventRef event, void* aboutBox);

private:
    WindowRef m_parent;
    WindowRef m_window = nullptr; // owned; null when the interface file has none
    PicHandle m_picture = nullptr; // owned; null when the bundle has none
    ProductRecord* m_product;
    ControlRef m_defaultButton = nullptr; // 'butn' 0
    ControlRef m_versionLine = nullptr; // 'pver' 1
    ControlRef m_extraLine = nullptr; // 'pver' 2
    EventHandlerRef m_eventHandler = nullptr; // always null: the handler ends with the window
    CFBundleRef m_bundle;
    SInt16 m_savedResFile = 0; // current before the bundle's map was opened
    SInt16 m_bundleResMap = 0;
    char* m_text; // owned, from strdup; null for no extra line
    SInt32 m_lightStyle;
};

/// Shows a text in a control, or hides the control if the text is null. Writes one line to standard error:
/// "StaticText_updateText: <text or null>".
void StaticText_updateText(ControlRef control, const char* text);

/// Sets the foreground colour in a control's font style. The other fields stay, the flags too: only a control
/// whose style asks for the colour shows it.
void SetControlTextColor(ControlRef control, RGBColor color);

/// Fills `out` with the bounds of a window and its frame, in screen coordinates, and returns `out`.
Rect* GetWindowStructureBounds(Rect* out, WindowRef window);

/// Handles the command 'clos' and the end of the window. Returns eventNotHandledErr for everything else.
OSStatus AboutBoxEventHandler(EventHandlerCallRef next, EventRef event, void* aboutBox);

} // namespace Veltrano
