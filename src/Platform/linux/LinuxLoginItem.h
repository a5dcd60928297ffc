#pragma once

#include "Platform/LoginItem.h"

// The autostart entry of freedesktop desktops:
// $XDG_CONFIG_HOME/autostart/wisp.desktop (by default ~/.config/autostart/wisp.desktop), which
// desktops start at login. It starts the executable that wrote it.
class LinuxLoginItem final : public LoginItem
{
public:
    bool isEnabled() const override;
    bool setEnabled(bool enabled, QString* error) override;

    // Where the entry lives now; the configuration home is read at every call.
    static QString entryPath();
    // The entry that starts `executable`.
    static QString entryText(const QString& executable);
};
