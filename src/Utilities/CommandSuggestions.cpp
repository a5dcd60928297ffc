#include "Utilities/CommandSuggestions.h"

#include "Models/FolderEntries.h"
#include "Utilities/FrameworkCatalogue.h"
#include "Utilities/Log.h"
#include "Utilities/ProjectFiles.h"

#include <QDir>
#include <QFileInfo>
#include <QJsonObject>
#include <QRegularExpression>

namespace {

// Scripts a developer starts a server with come first, in this order; the rest by name.
const QStringList& preferredScripts()
{
    static const QStringList names{QStringLiteral("dev"),     QStringLiteral("start"),
                                   QStringLiteral("serve"),   QStringLiteral("develop"),
                                   QStringLiteral("preview"), QStringLiteral("storybook")};
    return names;
}

QString logPrefix()
{
    return QStringLiteral("⚠️ [CommandSuggestions] ");
}

class Folder
{
public:
    Folder(const QString& path, const FolderEntries& entries) : dir(path), entries(entries) {}

    // The path of a listed file or folder that resolves, else empty. In "bin/rails" only the
    // first name is looked up in the listing.
    QString find(const QString& name) const
    {
        const QString first = name.section(u'/', 0, 0);
        const auto listed = entries.find(first);
        if (!listed) {
            return {};
        }
        const QString path = dir.filePath(*listed + name.mid(first.size()));
        return QFileInfo::exists(path) ? path : QString();
    }
    bool has(const QString& name) const { return !find(name).isEmpty(); }

    // Whether a listed text file matches `pattern` (case-insensitive, per line).
    bool mentions(const QString& name, const QString& pattern) const
    {
        const QString path = find(name);
        if (path.isEmpty()) {
            return false;
        }
        const auto text = ProjectFiles::readText(path);
        if (!text) {
            return false;
        }
        const QRegularExpression expression(pattern, QRegularExpression::CaseInsensitiveOption |
                                                         QRegularExpression::MultilineOption);
        return expression.match(*text).hasMatch();
    }

    bool hasGem(const QString& gem) const
    {
        return mentions(
            QStringLiteral("Gemfile"),
            QStringLiteral("^\\s*gem\\s+['\"]%1['\"]").arg(QRegularExpression::escape(gem)));
    }

private:
    QDir dir;
    const FolderEntries& entries;
};

} // namespace

QStringList CommandSuggestions::forProject(const QString& folderPath, Qt::CaseSensitivity nameCase,
                                           const QStringList& searchPath)
{
    const auto entries = FolderEntries::read(folderPath, nameCase);
    if (!entries) {
        return {};
    }
    QStringList commands = scriptCommands(folderPath, *entries);
    commands += FrameworkCatalogue::commands(folderPath, *entries, searchPath);
    commands += frameworkCommands(folderPath, *entries);
    commands.removeDuplicates();
    return commands;
}

QString CommandSuggestions::packageManager(const QString& folderPath, const FolderEntries& entries)
{
    const Folder folder(folderPath, entries);
    if (folder.has(QStringLiteral("bun.lockb")) || folder.has(QStringLiteral("bun.lock"))) {
        return QStringLiteral("bun");
    }
    if (folder.has(QStringLiteral("pnpm-lock.yaml"))) {
        return QStringLiteral("pnpm");
    }
    if (folder.has(QStringLiteral("yarn.lock"))) {
        return QStringLiteral("yarn");
    }
    if (folder.has(QStringLiteral("package-lock.json"))) {
        return QStringLiteral("npm");
    }
    // Corepack's field, such as "pnpm@9.1.0".
    const QString packageFile = folder.find(QStringLiteral("package.json"));
    if (!packageFile.isEmpty()) {
        if (const auto package = ProjectFiles::readJsonObject(packageFile)) {
            const QString named =
                package->value(QLatin1String("packageManager")).toString().section(u'@', 0, 0);
            static const QStringList known{QStringLiteral("bun"), QStringLiteral("pnpm"),
                                           QStringLiteral("yarn"), QStringLiteral("npm")};
            if (known.contains(named)) {
                return named;
            }
        }
    }
    return QStringLiteral("npm");
}

QString CommandSuggestions::scriptCommand(const QString& manager, const QString& script)
{
    static const QRegularExpression plain(QStringLiteral("^[A-Za-z0-9_.:@/+=,-]+$"));
    QString name = script;
    if (!plain.match(script).hasMatch()) {
        name = u'\'' + QString(script).replace(u'\'', QStringLiteral("'\\''")) + u'\'';
    }
    if (manager == QLatin1String("yarn")) {
        return QStringLiteral("yarn ") + name;
    }
    if (manager == QLatin1String("deno")) {
        return QStringLiteral("deno task ") + name;
    }
    return QStringLiteral("%1 run %2").arg(manager, name);
}

QStringList CommandSuggestions::scriptCommands(const QString& folderPath,
                                               const FolderEntries& entries)
{
    const Folder folder(folderPath, entries);
    const QString packageFile = folder.find(QStringLiteral("package.json"));
    if (packageFile.isEmpty()) {
        return {};
    }
    const auto package = ProjectFiles::readJsonObject(packageFile);
    if (!package) {
        Log::line(logPrefix() +
                  QStringLiteral("No script suggestions: %1 is not a readable JSON object")
                      .arg(packageFile));
        return {};
    }
    const QJsonValue scripts = package->value(QLatin1String("scripts"));
    if (scripts.isUndefined()) {
        return {};
    }
    if (!scripts.isObject()) {
        Log::line(logPrefix() +
                  QStringLiteral("No script suggestions: \"scripts\" in %1 is not an object")
                      .arg(packageFile));
        return {};
    }

    QStringList names;
    const QJsonObject object = scripts.toObject();
    for (const QString& name : preferredScripts()) {
        if (object.value(name).isString()) {
            names.append(name);
        }
    }
    // QJsonObject keeps its keys sorted.
    for (auto it = object.begin(); it != object.end(); ++it) {
        if (it.value().isString() && !it.key().isEmpty() && !names.contains(it.key())) {
            names.append(it.key());
        }
    }
    names = names.mid(0, maxScripts);

    const QString manager = packageManager(folderPath, entries);
    QStringList commands;
    for (const QString& name : std::as_const(names)) {
        commands.append(scriptCommand(manager, name));
    }
    return commands;
}

QStringList CommandSuggestions::frameworkCommands(const QString& folderPath,
                                                  const FolderEntries& entries)
{
    const Folder folder(folderPath, entries);
    QStringList commands;
    auto suggest = [&](bool when, const char* command) {
        if (when) {
            commands.append(QString::fromLatin1(command));
        }
    };

    // Tools the framework catalogue leaves out, and the usual commands of each kind.
    suggest(folder.has(QStringLiteral("mkdocs.yml")), "mkdocs serve");
    suggest(folder.hasGem(QStringLiteral("middleman")), "bundle exec middleman server");
    suggest(folder.has(QStringLiteral("config.ru")) && !folder.hasGem(QStringLiteral("rails")),
            "bundle exec rackup");

    // Rust
    suggest(folder.has(QStringLiteral("Trunk.toml")), "trunk serve");
    suggest(folder.has(QStringLiteral("Cargo.toml")), "cargo run");

    // Go
    suggest(folder.has(QStringLiteral(".air.toml")), "air");
    suggest(folder.has(QStringLiteral("go.mod")), "go run .");

    // Java
    suggest(folder.has(QStringLiteral("mvnw")), "./mvnw spring-boot:run");
    suggest(!folder.has(QStringLiteral("mvnw")) && folder.has(QStringLiteral("pom.xml")),
            "mvn spring-boot:run");
    suggest(folder.has(QStringLiteral("gradlew")), "./gradlew bootRun");

    // Deno's own tasks, the development ones first.
    const QString denoFile = folder.find(QStringLiteral("deno.json"));
    if (!denoFile.isEmpty()) {
        const auto deno = ProjectFiles::readJsonObject(denoFile);
        const QJsonObject tasks =
            deno ? deno->value(QLatin1String("tasks")).toObject() : QJsonObject();
        QStringList names;
        for (const QString& name : preferredScripts()) {
            if (tasks.contains(name)) {
                names.append(name);
            }
        }
        for (auto it = tasks.begin(); it != tasks.end(); ++it) {
            if (!it.key().isEmpty() && !names.contains(it.key())) {
                names.append(it.key());
            }
        }
        for (const QString& name : names.mid(0, maxScripts)) {
            commands.append(scriptCommand(QStringLiteral("deno"), name));
        }
    }
    return commands;
}
