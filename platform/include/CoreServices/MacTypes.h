// SPDX-License-Identifier: MIT
// MacTypes.h - the integer widths, records and result codes that the whole API shares.
// Widths are those of the 32-bit API on every processor; only pointers, Size and CFIndex grow.
#pragma once

#include <stddef.h>
#include <stdint.h>
#include <veltrano/Symbol.h>

typedef unsigned char Boolean; // any non-zero byte is true
typedef uint8_t UInt8;
typedef int8_t SInt8;
typedef uint16_t UInt16;
typedef int16_t SInt16;
#if __SIZEOF_LONG__ == 4
typedef unsigned long UInt32; // as the 32-bit API has it
typedef long SInt32;
#else
typedef uint32_t UInt32;
typedef int32_t SInt32;
#endif
typedef uint64_t UInt64;
typedef int64_t SInt64;
typedef SInt16 OSErr;
typedef SInt32 OSStatus;
typedef UInt32 OptionBits;
typedef UInt32 FourCharCode; // four characters read big-endian: 'cmds' is 0x636D6473
typedef FourCharCode OSType;
typedef FourCharCode ResType;
typedef UInt16 UniChar;
typedef long Size;
typedef char* Ptr;
typedef Ptr* Handle; // a pointer to a master pointer
typedef unsigned char Str255[256]; // byte 0 is the length
typedef unsigned char Str63[64];
typedef unsigned char* StringPtr;
typedef const unsigned char* ConstStringPtr;
typedef const unsigned char* ConstStr255Param;

#pragma pack(push, 2)

typedef struct Point
{
    SInt16 v;
    SInt16 h;
} Point;

typedef struct Rect
{
    SInt16 top; // vertical first
    SInt16 left;
    SInt16 bottom;
    SInt16 right;
} Rect;

typedef struct HFSUniStr255
{
    UInt16 length; // in 16-bit units
    UniChar unicode[255];
} HFSUniStr255;

#pragma pack(pop)

#ifdef __cplusplus
static_assert(sizeof(UInt32) == 4 && sizeof(SInt32) == 4);
#endif
