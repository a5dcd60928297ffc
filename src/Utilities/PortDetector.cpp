#include "Utilities/PortDetector.h"

#include "Models/FolderEntries.h"
#include "Utilities/ProjectFiles.h"

#include <QDir>
#include <QJsonArray>
#include <QJsonObject>
#include <QJsonValue>
#include <QMutex>
#include <QMutexLocker>
#include <QRegularExpression>
#include <QSet>

#include <cmath>
#include <initializer_list>
#include <span>
#include <vector>

namespace {

bool isValidPort(qint64 port)
{
    return port >= 1 && port <= 65535;
}

// Names the scan already knows are absent are not opened at all.
class Candidates
{
public:
    Candidates(const QString& projectPath, const FolderEntries* entries)
        : folder(projectPath), entries(entries)
    {}

    // The path that opening `name` in the folder opens; in "src/main.rs" only "src" is looked
    // up in the listing.
    std::optional<QString> path(const QString& name) const
    {
        if (!entries) {
            return folder.filePath(name);
        }
        const QString first = name.section(u'/', 0, 0);
        const auto listed = entries->find(first);
        if (!listed) {
            return std::nullopt;
        }
        return folder.filePath(*listed + name.mid(first.size()));
    }

private:
    QDir folder;
    const FolderEntries* entries;
};

// Patterns are compiled once and shared: the scan matches the same few hundred times.
QRegularExpression compiled(const QString& pattern)
{
    static QMutex mutex;
    static QHash<QString, QRegularExpression> cache;
    QMutexLocker locker(&mutex);
    auto it = cache.constFind(pattern);
    if (it == cache.constEnd()) {
        if (cache.size() > 256) {
            cache.clear();
        }
        // (*ANY) makes every Unicode line ending a line boundary for ^ and $, not just line feeds.
        QRegularExpression expression(QStringLiteral("(*ANY)") + pattern,
                                      QRegularExpression::CaseInsensitiveOption |
                                          QRegularExpression::MultilineOption);
        expression.optimize();
        it = cache.insert(pattern, expression);
    }
    return *it;
}

// The first valid port that any of `patterns` finds in the file, tried in order.
std::optional<int> searchFile(const std::optional<QString>& path,
                              std::span<const char* const> patterns)
{
    if (!path) {
        return std::nullopt;
    }
    const auto text = ProjectFiles::readText(*path);
    if (!text) {
        return std::nullopt;
    }
    for (const char* pattern : patterns) {
        if (const auto port = PortDetector::matchPort(*text, QString::fromLatin1(pattern))) {
            return port;
        }
    }
    return std::nullopt;
}

// Searches "<stem>.<ext>" for each extension in turn; the first file with a valid port wins.
std::optional<int> searchConfigFiles(const Candidates& project, const char* stem,
                                     std::initializer_list<const char*> extensions,
                                     std::span<const char* const> patterns)
{
    for (const char* extension : extensions) {
        const QString name = QLatin1String(stem) + QLatin1Char('.') + QLatin1String(extension);
        if (const auto port = searchFile(project.path(name), patterns)) {
            return port;
        }
    }
    return std::nullopt;
}

QSet<QString> objectKeys(const QJsonObject& object, const char* section)
{
    const QJsonValue value = object.value(QLatin1String(section));
    if (!value.isObject()) {
        return {};
    }
    const QStringList keys = value.toObject().keys();
    return QSet<QString>(keys.begin(), keys.end());
}

struct EntryFiles
{
    std::initializer_list<const char*> names;
    std::initializer_list<const char*> patterns;
};

// Where servers' own code names their port, by language.
const EntryFiles entryFiles[] = {
    {{"server.js", "index.js", "app.js", "main.js", "server.ts", "index.ts", "app.ts", "main.ts",
      "src/server.js", "src/index.js", "src/app.js", "src/main.js", "src/server.ts", "src/index.ts",
      "src/app.ts", "src/main.ts"},
     {R"re(\.listen\(\s*(\d+))re"}},
    {{"main.go", "server.go", "cmd/server/main.go"},
     {R"re(ListenAndServe(?:TLS)?\(\s*"[^"\n]*:(\d+)")re", R"re(\.Run\(\s*"[^"\n]*:(\d+)")re"}},
    {{"app.py", "main.py", "wsgi.py", "run.py", "server.py"},
     {R"re(\.run\([^)]*\bport\s*=\s*(\d+))re"}},
    {{"app.rb", "server.rb", "main.rb"}, {R"re(set\s+:port\s*,\s*(\d+))re"}},
    {{"src/main/resources/application.properties"}, {R"re(^\s*server\.port\s*[=:]\s*(\d+))re"}},
    {{"src/main/resources/application.yml", "src/main/resources/application.yaml"},
     {R"re(^server:[ \t]*\n(?:[ \t]+.*\n)*?[ \t]+port:\s*(\d+))re"}},
    {{"Procfile"}, {R"re(^web:.*--port[=\s](\d+))re", R"re(^web:.*\s-p\s+(\d+))re"}},
    {{"src/main.rs"},
     {R"re(bind\(\s*"[^"\n]*:(\d+)")re", R"re(bind\(\s*\(\s*"[^"\n]*"\s*,\s*(\d+)\s*\))re",
      R"re(SocketAddr::from\(\(\s*\[[^\]]*\]\s*,\s*(\d+)\s*\)\))re"}},
};

} // namespace

PortDetector::DetectionResult PortDetector::detect(const QString& projectPath,
                                                   const FolderEntries* entries)
{
    const DetectionResult written = detectWritten(projectPath, entries);
    if (written.port) {
        return written;
    }
    const Candidates project(projectPath, entries);
    const auto packageJson = project.path(QStringLiteral("package.json"));
    return packageJson ? defaultPortFromPackage(*packageJson) : DetectionResult{};
}

PortDetector::DetectionResult PortDetector::detectForProject(const QString& projectPath,
                                                             const FolderEntries* entries,
                                                             std::optional<int> scriptPort,
                                                             std::optional<int> frameworkPort)
{
    const DetectionResult written = detectWritten(projectPath, entries);
    if (written.port) {
        return written;
    }
    if (scriptPort && isValidPort(*scriptPort)) {
        return {scriptPort, PortSource::packageJson};
    }
    // The server's own code is as explicit as its configuration; a default is only a guess.
    if (const auto port = detectInEntryFiles(projectPath, entries)) {
        return {port, PortSource::entryFile};
    }
    const Candidates project(projectPath, entries);
    const auto packageJson = project.path(QStringLiteral("package.json"));
    const DetectionResult dependencyDefault =
        packageJson ? defaultPortFromPackage(*packageJson) : DetectionResult{};
    if (dependencyDefault.port) {
        return dependencyDefault;
    }
    if (frameworkPort && isValidPort(*frameworkPort)) {
        return {frameworkPort, PortSource::framework};
    }
    return {};
}

std::optional<int> PortDetector::detectInEntryFiles(const QString& projectPath,
                                                    const FolderEntries* entries)
{
    const Candidates project(projectPath, entries);
    for (const EntryFiles& kind : entryFiles) {
        const std::vector<const char*> patterns(kind.patterns);
        for (const char* name : kind.names) {
            if (const auto port = searchFile(project.path(QLatin1String(name)), patterns)) {
                return port;
            }
        }
    }
    return std::nullopt;
}

PortDetector::DetectionResult PortDetector::detectWritten(const QString& projectPath,
                                                          const FolderEntries* entries)
{
    const Candidates project(projectPath, entries);

    for (const char* envFile : {".env.local", ".env.development", ".env"}) {
        const auto port = searchFile(project.path(QLatin1String(envFile)), envFilePatterns);
        if (port) {
            return {port, PortSource::env};
        }
    }

    const auto packageJson = project.path(QStringLiteral("package.json"));
    if (const auto port = packageJson ? parsePackageJson(*packageJson) : std::nullopt) {
        return {port, PortSource::packageJson};
    }

    if (const auto port = searchConfigFiles(project, "vite.config", {"js", "ts", "mjs", "mts"},
                                            viteConfigPatterns)) {
        return {port, PortSource::viteConfig};
    }

    if (const auto port =
            searchFile(project.path(QStringLiteral("vue.config.js")), configPatterns)) {
        return {port, PortSource::vueConfig};
    }

    const auto angularJson = project.path(QStringLiteral("angular.json"));
    if (const auto port = angularJson ? parseAngularJson(*angularJson) : std::nullopt) {
        return {port, PortSource::angularJson};
    }

    if (const auto port = searchConfigFiles(project, "nuxt.config", {"js", "ts"}, configPatterns)) {
        return {port, PortSource::nuxtConfig};
    }
    return {};
}

std::optional<int> PortDetector::matchPort(const QString& text, const QString& pattern)
{
    const QRegularExpression expression = compiled(pattern);
    if (!expression.isValid() || expression.captureCount() < 1) {
        return std::nullopt;
    }
    const QRegularExpressionMatch match = expression.match(text);
    if (!match.hasMatch()) {
        return std::nullopt;
    }
    bool ok = false;
    const qint64 port = match.captured(1).toLongLong(&ok, 10);
    if (!ok || !isValidPort(port)) {
        return std::nullopt;
    }
    return static_cast<int>(port);
}

std::optional<int> PortDetector::parsePackageJson(const QString& filePath)
{
    const auto package = ProjectFiles::readJsonObject(filePath);
    if (!package) {
        return std::nullopt;
    }
    const QJsonValue scriptsValue = package->value(QLatin1String("scripts"));
    if (!scriptsValue.isObject()) {
        return std::nullopt;
    }
    const QJsonObject scripts = scriptsValue.toObject();
    for (const char* name : {"dev", "start", "serve", "dev:server"}) {
        const QJsonValue command = scripts.value(QLatin1String(name));
        if (!command.isString()) {
            continue;
        }
        for (const char* pattern : packageScriptPatterns) {
            if (const auto port = matchPort(command.toString(), QString::fromLatin1(pattern))) {
                return port;
            }
        }
    }
    return std::nullopt;
}

std::optional<int> PortDetector::parseAngularJson(const QString& filePath)
{
    const auto angular = ProjectFiles::readJsonObject(filePath);
    if (!angular) {
        return std::nullopt;
    }
    const QJsonObject projects = angular->value(QLatin1String("projects")).toObject();
    // Projects are looked at in key order, which keeps the choice stable between scans.
    for (const QString& name : projects.keys()) {
        QJsonValue value = projects.value(name);
        for (const char* level : {"architect", "serve", "options", "port"}) {
            value = value.toObject().value(QLatin1String(level));
        }
        if (!value.isDouble()) {
            continue;
        }
        // In range before any conversion: converting a number beyond 64 bits is undefined.
        const double number = value.toDouble();
        if (number >= 1 && number <= 65535 && std::trunc(number) == number) {
            return static_cast<int>(number);
        }
    }
    return std::nullopt;
}

PortDetector::DetectionResult PortDetector::detectDefaultPort(const QString& projectPath)
{
    return defaultPortFromPackage(QDir(projectPath).filePath(QStringLiteral("package.json")));
}

PortDetector::DetectionResult PortDetector::defaultPortFromPackage(const QString& packagePath)
{
    const auto package = ProjectFiles::readJsonObject(packagePath);
    if (!package) {
        return {};
    }
    const QSet<QString> dependencies =
        objectKeys(*package, "dependencies") | objectKeys(*package, "devDependencies");

    struct Rule
    {
        std::initializer_list<const char*> names;
        int port;
    };
    // The order is deliberate: an Angular project that also lists vite gets vite's port.
    const Rule rules[] = {
        {{"vite", "@vitejs/plugin-react", "@vitejs/plugin-vue"}, 5173},
        {{"@sveltejs/kit"}, 5173},
        {{"@angular/cli", "@angular/core"}, 4200},
        {{"@vue/cli-service"}, 8080},
        {{"gatsby"}, 8000},
        {{"next", "nuxt", "nuxt3", "react-scripts", "@remix-run/dev", "react"}, 3000},
        {{"express"}, 3000},
    };
    for (const Rule& rule : rules) {
        for (const char* name : rule.names) {
            if (dependencies.contains(QLatin1String(name))) {
                return {rule.port, PortSource::defaultValue};
            }
        }
    }
    return {};
}
