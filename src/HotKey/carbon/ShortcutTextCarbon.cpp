#include "HotKey/ShortcutText.h"

ShortcutText::Style ShortcutText::platformStyle()
{
    return Style::symbols;
}
