#pragma once

#include <QString>

// What the event manager answered to a hot key registration.
enum class HotKeyRegistration {
    // The combination is ours: pressing it reaches the hot key.
    registered,
    // Another application (or another hot key of ours) holds the combination.
    taken,
    // This session cannot deliver the combination at all: no such key, no event manager.
    unavailable,
};

// "registered", "taken" or "unavailable", for log lines and test output.
inline QString toString(HotKeyRegistration registration)
{
    switch (registration) {
    case HotKeyRegistration::registered:
        return QStringLiteral("registered");
    case HotKeyRegistration::taken:
        return QStringLiteral("taken");
    case HotKeyRegistration::unavailable:
        break;
    }
    return QStringLiteral("unavailable");
}
