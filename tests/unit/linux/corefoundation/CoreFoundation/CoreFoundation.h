#pragma once

// A stand-in for the few CoreFoundation declarations CFRef uses, so that its ownership rules are
// tested where no Mac compiles them: objects are counters, and every retain and release is
// counted.

#include <cstddef>

struct CFStandInObject
{
    int retainCount = 1;
};

using CFTypeRef = const void*;
using CFStringRef = const CFStandInObject*;

struct CFStandInCounts
{
    int retains = 0;
    int releases = 0;
};

inline CFStandInCounts& cfStandInCounts()
{
    static CFStandInCounts counts;
    return counts;
}

inline CFTypeRef CFRetain(CFTypeRef object)
{
    ++cfStandInCounts().retains;
    ++const_cast<CFStandInObject*>(static_cast<const CFStandInObject*>(object))->retainCount;
    return object;
}

inline void CFRelease(CFTypeRef object)
{
    ++cfStandInCounts().releases;
    --const_cast<CFStandInObject*>(static_cast<const CFStandInObject*>(object))->retainCount;
}
