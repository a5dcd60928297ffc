#pragma once

#include <QString>

// wisp's own folder for files it keeps between runs but the user never edits, such as the logs of
// the servers it started. Qt 6.4 knows no such location, so each platform names it here.
struct StateFolder
{
    // $XDG_STATE_HOME/wisp when XDG_STATE_HOME is an absolute path; otherwise ~/Library/Logs/wisp
    // on macOS and ~/.local/state/wisp on Linux. Not created here.
    static QString path();
};
