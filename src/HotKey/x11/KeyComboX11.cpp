#include "HotKey/KeyCombo.h"

// X11 has no registry of system-wide shortcuts to ask.
QList<KeyCombo> KeyCombo::systemKeyCombos()
{
    return {};
}
