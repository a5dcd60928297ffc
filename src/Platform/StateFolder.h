#pragma once

#include <QString>

// wisp's own folder for files it keeps between runs but the user never edits, such as the logs of
// the servers it started. Qt 6.4 knows no such location, so each platform names it here.
struct StateFolder
{
    // macOS: ~/Library/Logs/wisp. Linux: $XDG_STATE_HOME/wisp, by default ~/.local/state/wisp.
    // Not created here.
    static QString path();
};
