#pragma once

#include <QMap>
#include <QString>

#include <chrono>

// Packages from the npm registry for the end-to-end tests, installed once and kept between runs
// in the build tree's test-npm-cache folder, one folder per package and version
// with its node_modules. A project uses one by linking that node_modules into its own folder.
class NpmPackageCache
{
public:
    struct Outcome
    {
        // The cached folder holding node_modules; empty when the package could not be had.
        QString folder;
        // Why not, in a line.
        QString problem;
        // The registry could not be reached: a reason to skip rather than to fail.
        bool registryUnreachable = false;
    };

    // The folder of `name` at exactly `version`, installing it unless a complete one is cached.
    // Asked again in the same program, it answers from memory, also a failure.
    static Outcome folderOf(const QString& name, const QString& version,
                            std::chrono::milliseconds deadline);

    // Where the cached folders live.
    static QString root();

private:
    static Outcome install(const QString& name, const QString& version, const QString& folder,
                           std::chrono::milliseconds deadline);
    static QMap<QString, Outcome>& known();
};
