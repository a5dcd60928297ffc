#pragma once

#include "HotKey/KeyCombo.h"

#include <QString>

// A key combination as a global shortcuts portal's preferred trigger, in the words of the XDG
// shortcuts standard: modifiers, then the key's X key symbol name ("CTRL+ALT+l").
class PortalTrigger
{
public:
    PortalTrigger() = delete;

    // Empty when the key has no X key symbol.
    static QString fromKeyCombo(const KeyCombo& keyCombo);
};
