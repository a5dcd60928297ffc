#pragma once

#include <QStringList>

#include <chrono>
#include <optional>

// The two options a packaged program answers from a terminal, --help and --version. Anything
// else on the command line is left to Qt (-platform, -display, ...).
class CommandLine
{
public:
    // The exit code when the arguments asked for help or the version, which is then printed to
    // standard output; nullopt when the application should start.
    static std::optional<int> handle(const QStringList& arguments);

    // Test-only, left out of the help: --polling-interval-ms=N watches the server every N ms
    // instead of every two seconds, so that a soak test sees many status polls in a short run.
    // nullopt without the option or with anything but a positive number.
    static std::optional<std::chrono::milliseconds> pollingInterval(const QStringList& arguments);

    static QString helpText();
    static QString versionText();
};
