#include "Platform/SettingsStore.h"

std::unique_ptr<QSettings> SettingsStore::makeSystemStore()
{
    // Qt's native macOS format is CFPreferences. Organization "wisp.io" with application "wisp"
    // names the defaults domain "io.wisp.wisp", the bundle identifier in Info.plist, so
    // `defaults read io.wisp.wisp` shows the values with their native types.
    return std::make_unique<QSettings>(QSettings::NativeFormat, QSettings::UserScope,
                                       QStringLiteral("wisp.io"), QStringLiteral("wisp"));
}
