#pragma once

#include <QString>
#include <QStringList>

// Absolute paths of the system tools wisp runs as child processes. Children are always started
// by absolute path; tests may point a path elsewhere to simulate a missing tool.
struct SystemTools
{
    static QString lsof();
    static void setLsof(const QString& path);

    static QString shell() { return QStringLiteral("/bin/sh"); }
    static QString env() { return QStringLiteral("/usr/bin/env"); }
    static QString open() { return QStringLiteral("/usr/bin/open"); }
    static QString osascript() { return QStringLiteral("/usr/bin/osascript"); }

    // The platform's own lsof location.
    static QString defaultLsof();
    // Options that go before every lsof query. Linux lsof warns on standard error about file
    // systems it cannot look into (FUSE, network mounts), and that text must never read as a
    // listener: "-w" there. None on macOS.
    static QStringList lsofOptions();

    // The directories a development server's PATH always holds, after those of the user's login
    // shell; its whole PATH when the shell cannot tell.
    static QString serverSearchPath()
    {
        return QStringLiteral("/usr/local/bin:/usr/bin:/bin:/usr/sbin:/sbin:/opt/homebrew/bin");
    }
};
