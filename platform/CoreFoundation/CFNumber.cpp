// SPDX-License-Identifier: MIT
// CFNumber.cpp - numbers and truth values.
#include "CoreFoundation/CFObject.h"

#include <CoreFoundation/CFNumber.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <type_traits>
#include <utility>

// --- truth values ---

struct __CFBoolean final : CFObject
{
    constexpr __CFBoolean()
        : CFObject(kTypeBoolean, kConstantRefs)
    {
    }

    void End() noexcept override { } // only the two constants exist
};

static constinit const __CFBoolean sTrue;
static constinit const __CFBoolean sFalse;
const CFBooleanRef kCFBooleanTrue = &sTrue;
const CFBooleanRef kCFBooleanFalse = &sFalse;

CFTypeID CFBooleanGetTypeID(void) { return kTypeBoolean; }

Boolean CFBooleanGetValue(CFBooleanRef boolean) { return boolean == &sTrue; }

// --- numbers ---

// Converts to the nearest value of the integer type To. True if the conversion is exact.
template <typename To, typename From> static bool ConvertToInteger(From from, To& to)
{
    using Limits = std::numeric_limits<To>;
    if constexpr (std::is_integral_v<From>) {
        to = std::in_range<To>(from) ? static_cast<To>(from)
            : from < 0               ? Limits::min()
                                     : Limits::max();
        return std::in_range<To>(from);
    } else {
        const From above = std::ldexp(From(1), Limits::digits); // the smallest number out of range
        if (!(from > -above - 1 && from < above)) {
            to = std::isnan(from) ? To(0) : from < 0 ? Limits::min() : Limits::max();
            // -2^63 - 1 rounds to -2^63 as a double, so the smallest 64-bit value gets here
            return std::is_signed_v<To> && from == -above;
        }
        to = static_cast<To>(from);
        return static_cast<From>(to) == from;
    }
}

template <typename To, typename From> static bool Convert(From from, To& to)
{
    if constexpr (std::is_integral_v<To>) {
        return ConvertToInteger(from, to);
    } else {
        volatile To rounded
            = static_cast<To>(from); // volatile: x87 registers have excess precision
        to = rounded;
        if constexpr (std::is_integral_v<From>) {
            From back = 0;
            return ConvertToInteger(to, back) && back == from;
        } else {
            return static_cast<From>(to) == from || std::isnan(from);
        }
    }
}

bool __CFNumber::Equals(const CFObject& other, CFContainerPairs&) const
{
    const auto isEqual = [](auto first, auto second) {
        decltype(first) converted = 0;
        const bool areNaN = first != first && second != second;
        return areNaN || (Convert(second, converted) && converted == first);
    };
    return std::visit(isEqual, value, static_cast<const __CFNumber&>(other).value);
}

// Calls `use` with a zero of the C type of a CFNumberType; returns `unknown` for an unknown type.
template <typename Result, typename Use>
static Result WithType(CFNumberType type, Result unknown, Use use)
{
    switch (type) {
    case kCFNumberSInt8Type:
    case kCFNumberCharType:
        return use(SInt8());
    case kCFNumberSInt16Type:
    case kCFNumberShortType:
        return use(SInt16());
    case kCFNumberSInt32Type:
    case kCFNumberIntType:
        return use(SInt32());
    case kCFNumberSInt64Type:
    case kCFNumberLongLongType:
        return use(SInt64());
    case kCFNumberLongType:
        return use(0L);
    case kCFNumberCFIndexType:
        return use(CFIndex());
    case kCFNumberFloat32Type:
    case kCFNumberFloatType:
        return use(0.0f);
    case kCFNumberFloat64Type:
    case kCFNumberDoubleType:
        return use(0.0);
    default:
        return unknown;
    }
}

CFTypeID CFNumberGetTypeID(void) { return kTypeNumber; }

CFNumberRef CFNumberCreate(CFAllocatorRef, CFNumberType type, const void* value)
{
    if (value == nullptr)
        return nullptr;
    return WithType(type, CFNumberRef(nullptr), [value](auto typed) -> CFNumberRef {
        using Widest = std::conditional_t<std::is_integral_v<decltype(typed)>, SInt64, double>;
        std::memcpy(&typed, value, sizeof(typed));
        return CFObject_New<__CFNumber>(static_cast<Widest>(typed));
    });
}

Boolean CFNumberGetValue(CFNumberRef number, CFNumberType type, void* value)
{
    return WithType(type, false, [=](auto typed) {
        bool isExact
            = std::visit([&typed](auto held) { return Convert(held, typed); }, number->value);
        std::memcpy(value, &typed, sizeof(typed));
        return isExact;
    });
}

Boolean CFNumberIsFloatType(CFNumberRef number)
{
    return std::holds_alternative<double>(number->value);
}
