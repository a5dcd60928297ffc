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
    // The desktop has been asked (it may be asking the user) and has not answered yet. Nothing
    // reaches the hot key meanwhile, but nothing has failed either.
    waiting,
    // The desktop (or the user in its dialog) declined to let the application have it.
    refused,
};

// "registered", "taken", "unavailable", "waiting" or "refused", for log lines and test output.
inline QString toString(HotKeyRegistration registration)
{
    switch (registration) {
    case HotKeyRegistration::registered:
        return QStringLiteral("registered");
    case HotKeyRegistration::taken:
        return QStringLiteral("taken");
    case HotKeyRegistration::waiting:
        return QStringLiteral("waiting");
    case HotKeyRegistration::refused:
        return QStringLiteral("refused");
    case HotKeyRegistration::unavailable:
        break;
    }
    return QStringLiteral("unavailable");
}
