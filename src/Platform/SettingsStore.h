#pragma once

#include <QSettings>

#include <memory>

// The platform's preferences store: the app's defaults domain on macOS, an INI file at
// $XDG_CONFIG_HOME/wisp/wisp.conf on Linux.
struct SettingsStore
{
    static std::unique_ptr<QSettings> makeSystemStore();
};
