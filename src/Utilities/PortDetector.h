#pragma once

#include "Models/PortSource.h"

#include <QString>
#include <QStringList>

#include <array>
#include <optional>

class FolderEntries;

// Finds the port a project's development server will listen on, from the project's own files.
// Stateless: every function reads the files afresh and may run on any thread.
class PortDetector
{
public:
    // Declared with the project model, which holds one.
    using PortSource = ::PortSource;

    struct DetectionResult
    {
        std::optional<int> port;
        std::optional<PortSource> source;

        bool operator==(const DetectionResult&) const = default;
    };

    // `projectPath` is the project folder's absolute local path. A caller that has listed the
    // folder may pass its entries, so that files that are not there are not tried; file names
    // are then matched as the folder's file system matches them.
    static DetectionResult detect(const QString& projectPath,
                                  const FolderEntries* entries = nullptr);

    // What each kind of file is searched with; the first capture group is the port.
    static constexpr std::array<const char*, 5> envFilePatterns{
        R"((?:^|export\s+)PORT\s*=\s*(\d+))", R"((?:^|export\s+)VITE_PORT\s*=\s*(\d+))",
        R"((?:^|export\s+)DEV_PORT\s*=\s*(\d+))", R"((?:^|export\s+)SERVER_PORT\s*=\s*(\d+))",
        R"((?:^|export\s+)NEXT_PORT\s*=\s*(\d+))"};
    static constexpr std::array<const char*, 3> packageScriptPatterns{
        R"(--port[=\s](\d+))", R"(-p[=\s](\d+))", R"(PORT=(\d+))"};
    static constexpr std::array<const char*, 2> viteConfigPatterns{R"(port:\s*(\d+))",
                                                                   R"(port:\s*['"]?(\d+)['"]?)"};
    // vue.config.js and nuxt.config.*
    static constexpr std::array<const char*, 1> configPatterns{R"(port:\s*(\d+))"};

    // The port of a project whose framework may be known: a port written in its configuration
    // first (as `detect`), then `scriptPort` (written in the script that starts it), then one
    // its entry file listens on, then the usual port of its dependencies, then `frameworkPort`.
    static DetectionResult detectForProject(const QString& projectPath,
                                            const FolderEntries* entries,
                                            std::optional<int> scriptPort,
                                            std::optional<int> frameworkPort);
    // The port written in the listen call of a server's entry file (app.listen(4567),
    // http.ListenAndServe(":8080", ...), app.run(port=5001)), in Spring Boot's server.port or
    // in the --port of a Procfile's web process.
    static std::optional<int> detectInEntryFiles(const QString& projectPath,
                                                 const FolderEntries* entries = nullptr);

    static std::optional<int> matchPort(const QString& text, const QString& pattern);
    static std::optional<int> parsePackageJson(const QString& filePath);
    static std::optional<int> parseAngularJson(const QString& filePath);
    static DetectionResult detectDefaultPort(const QString& projectPath);

private:
    // The sources that read a port written in the project's configuration.
    static DetectionResult detectWritten(const QString& projectPath, const FolderEntries* entries);
    // The framework default from the dependencies of the package file at `packagePath`.
    static DetectionResult defaultPortFromPackage(const QString& packagePath);
};

using DetectionResult = PortDetector::DetectionResult;
