#include "Platform/SettingsStore.h"

std::unique_ptr<QSettings> SettingsStore::makeSystemStore()
{
    // On Linux the native format is INI text; under UserScope it lives in
    // $XDG_CONFIG_HOME (default ~/.config)/wisp/wisp.conf.
    return std::make_unique<QSettings>(QSettings::NativeFormat, QSettings::UserScope,
                                       QStringLiteral("wisp"), QStringLiteral("wisp"));
}
