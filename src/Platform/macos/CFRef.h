#pragma once

#include <CoreFoundation/CoreFoundation.h>

#include <utility>

// Owns one Core Foundation reference: adopts the +1 reference of a Create or Copy call and
// releases it on every way out. A Get call's reference is not owned; retain it to keep it.
//
//     const CFRef<CFStringRef> name(CFStringCreateWithCString(...));
//     if (!name) { return; }
//     CFRef<CFURLRef> url;
//     CFURLCopy...(..., url.adopt());
template <typename T>
class CFRef
{
public:
    CFRef() = default;
    // Takes over a reference the caller owns (may be null).
    explicit CFRef(T object) : object(object) {}
    ~CFRef() { reset(); }

    CFRef(const CFRef& other) : object(other.object)
    {
        if (object) {
            CFRetain(object);
        }
    }
    CFRef& operator=(const CFRef& other)
    {
        CFRef copy(other);
        swap(copy);
        return *this;
    }
    CFRef(CFRef&& other) noexcept : object(std::exchange(other.object, nullptr)) {}
    CFRef& operator=(CFRef&& other) noexcept
    {
        CFRef moved(std::move(other));
        swap(moved);
        return *this;
    }

    // Shares a reference the caller does not own (the Get rule).
    static CFRef retained(T object)
    {
        if (object) {
            CFRetain(object);
        }
        return CFRef(object);
    }

    T get() const { return object; }
    explicit operator bool() const { return object != nullptr; }

    // For an out-parameter that returns an owned reference, such as a CFErrorRef*.
    T* adopt()
    {
        reset();
        return &object;
    }

    void reset(T replacement = nullptr)
    {
        if (object) {
            CFRelease(object);
        }
        object = replacement;
    }

    void swap(CFRef& other) noexcept { std::swap(object, other.object); }

private:
    T object = nullptr;
};
