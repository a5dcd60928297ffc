#pragma once

#include <QStringList>

#include <optional>

// The two options a packaged program answers from a terminal, --help and --version. Anything
// else on the command line is left to Qt (-platform, -display, ...).
class CommandLine
{
public:
    // The exit code when the arguments asked for help or the version, which is then printed to
    // standard output; nullopt when the application should start.
    static std::optional<int> handle(const QStringList& arguments);

    static QString helpText();
    static QString versionText();
};
