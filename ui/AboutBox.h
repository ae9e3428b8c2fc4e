// SPDX-License-Identifier: MIT
// AboutBox.h - the product's picture, version line and optional extra line in a window that is
// modal to a window of the host. Order: new -> run. The box deletes itself while run disposes its
// window, so nobody touches it after run. Main thread; pointers and references are borrowed;
// failures show nothing and are not reported.
#pragma once

#include "module/EntryTable.h"

#include <Carbon/Carbon.h>

namespace Veltrano {

class AboutBox
{
public:
    /// Copies the extra text, makes the window (hidden) from the module's interface file "about",
    /// opens the bundle's resource map and loads its picture. The map stays current until the box
    /// is gone.
    ///   product    its version text is read during run; must outlive the box; may be null
    ///   bundle     holds the 'PICT' resource `pictureId`; when missing the box keeps its own
    ///   picture parent     blocked while the box is up, gives the box its class and its centre
    ///   text       needed for this call only; null hides the extra line
    ///   lightStyle not 0: white brush and light grey text; 0: black brush and black text
    AboutBox(ProductRecord* product,
             CFBundleRef bundle,
             SInt16 pictureId,
             WindowRef parent,
             const char* text,
             int lightStyle);

    /// Shows the box over its parent until the user closes it, then disposes it, which ends this
    /// object.
    ///   returns  1, also when there was no window to show
    int run();

    /// Ends the modal loop and hides the window; what the command 'clos' does.
    OSStatus close();

    /// The clean-up of a closed window: text, picture, resource map; the parent comes to the front.
    void destroy();

    /// Version line and extra line from the product record and the text copy.
    void fillTexts();

    /// Closes the box when its window is hidden by others. Not installed by run.
    static OSStatus HidingEventHandler(EventHandlerCallRef next, EventRef event, void* aboutBox);

private:
    WindowRef m_parent;
    WindowRef m_window; // owned; null when the interface file has none
    PicHandle m_picture; // owned; null when the bundle has none
    ProductRecord* m_product;
    ControlRef m_defaultButton; // 'butn' 0
    ControlRef m_versionLine; // 'pver' 1
    ControlRef m_extraLine; // 'pver' 2
    EventHandlerRef m_eventHandler; // always null: the handler ends with the window
    CFBundleRef m_bundle;
    SInt16 m_savedResFile; // current before the bundle's map was opened
    SInt16 m_bundleResMap;
    char* m_text; // owned, from strdup; null for no extra line
    SInt32 m_lightStyle;
};

/// Shows a text in a control, or hides the control when the text is null. Either way one line goes
/// to standard error: "StaticText_updateText: <text or null>".
void StaticText_updateText(ControlRef control, const char* text);

/// Sets the foreground colour in a control's font style and leaves its other fields, the flags
/// included: only a control whose style asks for the colour shows it.
void SetControlTextColor(ControlRef control, RGBColor color);

/// Fills `out` with the rectangle around a window and its frame, in screen coordinates; returns
/// `out`.
Rect* GetWindowStructureBounds(Rect* out, WindowRef window);

/// Takes the command 'clos' and the window's end; everything else goes on (eventNotHandledErr).
OSStatus AboutBoxEventHandler(EventHandlerCallRef next, EventRef event, void* aboutBox);

} // namespace Veltrano
