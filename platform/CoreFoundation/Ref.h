// SPDX-License-Identifier: MIT
// Ref.h - a reference that gives itself back.
#pragma once

#include <CoreFoundation/CFBase.h>

#include <utility>

/// Owns one reference, or none when null.
template <typename Pointer = CFTypeRef> class Ref
{
public:
    Ref() = default;
    explicit Ref(Pointer owned)
        : m_object(owned)
    {
    }
    Ref(Ref&& other) noexcept
        : m_object(std::exchange(other.m_object, nullptr))
    {
    }
    Ref& operator=(Ref&& other) noexcept
    {
        std::swap(m_object, other.m_object);
        return *this;
    }
    ~Ref()
    {
        if (m_object != nullptr) {
            CFRelease(m_object);
        }
    }

    static Ref Retained(Pointer borrowed)
    {
        CFRetain(borrowed);
        return Ref(borrowed);
    }

    Pointer Get() const { return m_object; }
    Pointer operator->() const { return m_object; }
    explicit operator bool() const { return m_object != nullptr; }
    Pointer Release() { return std::exchange(m_object, nullptr); } // to the caller

private:
    Pointer m_object = nullptr;
};
