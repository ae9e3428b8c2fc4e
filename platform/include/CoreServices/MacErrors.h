// SPDX-License-Identifier: MIT
// MacErrors.h - result codes.
#pragma once

enum {
    noErr = 0,
    nsvErr = -35,                      // no such volume
    ioErr = -36,                       // input or output failed
    bdNamErr = -37,                    // bad file name
    fnfErr = -43,                      // no such file
    paramErr = -50,                    // bad argument
    memFullErr = -108,                 // no memory
    dirNFErr = -120,                   // no such folder
    CantDecompress = -186,             // the resource is compressed
    resNotFound = -192,                // no such resource
    resFNotFound = -193,               // no such resource file
    mapReadErr = -199,                 // the resource map makes no sense
    errFSBadFSRef = -1401,             // the FSRef is not valid
    errFSNameTooLong = -1410,          // the name is too long
    afpAccessDenied = -5000,           // no permission
    errInvalidWindowRef = -5600,       // not a window
    windowWrongStateErr = -5615,       // the window's state does not allow the call
    windowAppModalStateAlreadyExistsErr = -5617, // that window runs a modal loop already
    windowNoAppModalStateErr = -5618,  // that window runs no modal loop
    eventHandlerAlreadyInstalledErr = -9866, // same routine and user data on that target
    eventParameterNotFoundErr = -9870, // the event lacks the parameter
    eventNotHandledErr = -9874,        // "not mine, go on"
    eventPassToNextTargetErr = -9880,  // skip the rest of this target
    kIBCarbonRuntimeCantFindNibFile = -10960,           // no such interface file
    kIBCarbonRuntimeObjectNotOfRequestedType = -10961,  // the name belongs to another kind of object
    kIBCarbonRuntimeCantFindObject = -10962,            // the name is not in the file
    themeInvalidBrushErr = -30560,     // unknown brush
    errMessageNotSupported = -30580,   // the control does not do that
    errDataNotSupported = -30581,      // the control does not know the tag
    errUnknownControl = -30584,        // no such control
    errNoRootControl = -30586,         // the window has no controls
    errInvalidPartCode = -30588,       // no such part
    errControlIsNotEmbedder = -30590,  // the container takes no controls
    errDataSizeMismatch = -30591,      // wrong size for the tag
    errWindowRegionCodeInvalid = -30593, // unknown region code
    errCantEmbedIntoSelf = -30594,     // a control into itself or its own content
    errCantEmbedRoot = -30595,         // the root control cannot move
    controlHandleInvalidErr = -30599   // not a control
};
