#include "Utilities/FrameworkCatalogue.h"

#include "Models/FolderEntries.h"
#include "Utilities/CommandSuggestions.h"
#include "Utilities/PortDetector.h"
#include "Utilities/ProjectFiles.h"

#include <QDir>
#include <QFileInfo>
#include <QJsonObject>
#include <QRegularExpression>
#include <QSet>

namespace {

using Entry = FrameworkCatalogue::Entry;
using Command = FrameworkCatalogue::Command;

QList<Command> always(const char* text)
{
    return {Command{QString(), QString::fromUtf8(text)}};
}

QStringList names(std::initializer_list<const char*> list)
{
    QStringList result;
    for (const char* name : list) {
        result.append(QString::fromUtf8(name));
    }
    return result;
}

// Each framework's command and port are the ones its own documentation starts a project with.
QList<Entry> buildEntries()
{
    const auto withExtensions = [](const char* stem, std::initializer_list<const char*> exts) {
        QStringList result;
        for (const char* ext : exts) {
            result.append(QString::fromUtf8(stem) + u'.' + QString::fromUtf8(ext));
        }
        return result;
    };
    const auto js = {"js", "mjs", "cjs", "ts", "mts"};

    QList<Entry> list;
    const auto node = [&](const char* id, const char* name, QStringList markers,
                          std::initializer_list<const char*> deps, const char* command,
                          const char* scriptText, int port) {
        Entry entry;
        entry.id = QString::fromUtf8(id);
        entry.displayName = QString::fromUtf8(name);
        entry.kind = ProjectType::nodejs;
        entry.markers = markers;
        entry.dependencies = names(deps);
        entry.commands = always(command);
        entry.scriptText = QString::fromUtf8(scriptText);
        entry.defaultPort = port;
        list.append(entry);
        return &list.last();
    };

    // Node: meta-frameworks and site generators before the bundlers and servers they build on.
    node("nextjs", "Next.js", withExtensions("next.config", js), {"next"}, "npx next dev",
         "next dev", 3000);
    node("nuxt", "Nuxt", withExtensions("nuxt.config", js), {"nuxt", "nuxt3"}, "npx nuxi dev",
         "nuxi dev", 3000);
    node("sveltekit", "SvelteKit", withExtensions("svelte.config", js), {"@sveltejs/kit"},
         "npx vite dev", "vite dev", 5173);
    node("remix", "Remix", {}, {"@remix-run/dev"}, "npx remix vite:dev", "remix vite:dev", 5173);
    node("react-router", "React Router", withExtensions("react-router.config", js),
         {"@react-router/dev"}, "npx react-router dev", "react-router dev", 5173);
    node("astro", "Astro", withExtensions("astro.config", js), {"astro"}, "npx astro dev",
         "astro dev", 4321);
    node("angular", "Angular", {QStringLiteral("angular.json")}, {"@angular/cli", "@angular/core"},
         "npx ng serve", "ng serve", 4200);
    node("gatsby", "Gatsby", withExtensions("gatsby-config", js), {"gatsby"}, "npx gatsby develop",
         "gatsby develop", 8000);
    node("docusaurus", "Docusaurus", withExtensions("docusaurus.config", js), {"@docusaurus/core"},
         "npx docusaurus start", "docusaurus start", 3000);
    node("vitepress", "VitePress", {QStringLiteral(".vitepress/")}, {"vitepress"},
         "npx vitepress dev docs", "vitepress dev", 5173)
        ->scripts = names({"docs:dev"});
    Entry* eleventy = node("eleventy", "Eleventy", {}, {"@11ty/eleventy"},
                           "npx @11ty/eleventy --serve", "eleventy --serve", 8080);
    eleventy->markers = QStringList{QStringLiteral(".eleventy.js")} +
                        withExtensions("eleventy.config", {"js", "mjs", "cjs"});
    node("vue-cli", "Vue CLI", {QStringLiteral("vue.config.js")}, {"@vue/cli-service"},
         "npx vue-cli-service serve", "vue-cli-service serve", 8080);
    node("create-react-app", "Create React App", {}, {"react-scripts"}, "npx react-scripts start",
         "react-scripts start", 3000);
    Entry* storybook = node("storybook", "Storybook", {QStringLiteral(".storybook/")},
                            {"storybook"}, "npx storybook dev -p 6006", "storybook dev", 6006);
    storybook->scripts = names({"storybook"});
    storybook->onlyWithoutDevScript = true;
    node("nestjs", "NestJS", {QStringLiteral("nest-cli.json")}, {"@nestjs/core"},
         "npx nest start --watch", "nest start", 3000);
    node("vite", "Vite", withExtensions("vite.config", js), {"vite"}, "npx vite", "vite", 5173);
    node("express", "Express", {}, {"express"}, "node .", "node ", 3000);

    const auto other = [&](const char* id, const char* name, ProjectType kind, QStringList markers,
                           std::initializer_list<const char*> deps, QList<Command> commands,
                           int port) {
        Entry entry;
        entry.id = QString::fromUtf8(id);
        entry.displayName = QString::fromUtf8(name);
        entry.kind = kind;
        entry.markers = markers;
        entry.dependencies = names(deps);
        entry.commands = commands;
        entry.defaultPort = port;
        list.append(entry);
        return &list.last();
    };

    other("django", "Django", ProjectType::python, {QStringLiteral("manage.py")}, {"django"},
          always("python manage.py runserver"), 8000);
    other("fastapi", "FastAPI", ProjectType::python, {}, {"fastapi"},
          always("python -m uvicorn main:app --reload"), 8000);
    other("flask", "Flask", ProjectType::python, {}, {"flask"}, always("python -m flask run"),
          5000);

    other("laravel", "Laravel", ProjectType::php, {QStringLiteral("artisan")},
          {"laravel/framework"}, always("php artisan serve"), 8000);
    other("symfony", "Symfony", ProjectType::php, {QStringLiteral("symfony.lock")},
          {"symfony/framework-bundle"},
          {{QStringLiteral("symfony.lock"), QStringLiteral("symfony server:start")},
           {QString(), QStringLiteral("php -S localhost:8000 -t public")}},
          8000);

    other("rails", "Rails", ProjectType::ruby, {QStringLiteral("bin/rails")}, {"rails"},
          {{QStringLiteral("bin/rails"), QStringLiteral("bin/rails server")},
           {QString(), QStringLiteral("bundle exec rails server")}},
          3000);
    other("jekyll", "Jekyll", ProjectType::ruby, {}, {"jekyll"}, always("bundle exec jekyll serve"),
          4000);
    other("sinatra", "Sinatra", ProjectType::ruby, {}, {"sinatra"},
          always("bundle exec ruby app.rb"), 4567);

    other("spring-boot", "Spring Boot", ProjectType::java, {}, {"org.springframework.boot"},
          {{QStringLiteral("mvnw"), QStringLiteral("./mvnw spring-boot:run")},
           {QStringLiteral("pom.xml"), QStringLiteral("mvn spring-boot:run")},
           {QStringLiteral("gradlew"), QStringLiteral("./gradlew bootRun")},
           {QString(), QStringLiteral("gradle bootRun")}},
          8080);

    other(
        "go-http", "Go net/http", ProjectType::go, {},
        {"net/http", "github.com/gin-gonic/gin", "github.com/go-chi/chi", "github.com/gorilla/mux"},
        always("go run ."), 8080);

    other("axum", "axum", ProjectType::rust, {}, {"axum"}, always("cargo run"), 3000);
    other("actix-web", "Actix Web", ProjectType::rust, {}, {"actix-web"}, always("cargo run"),
          8080);
    other("rocket", "Rocket", ProjectType::rust, {}, {"rocket"}, always("cargo run"), 8000);

    // Site generators that need no package file: their configuration makes the folder a site.
    other("hugo", "Hugo", ProjectType::static_,
          {QStringLiteral("hugo.toml"), QStringLiteral("hugo.yaml"), QStringLiteral("hugo.json")},
          {}, always("hugo server"), 1313)
        ->marksProject = true;
    Entry* hugoClassic = other("hugo", "Hugo", ProjectType::static_,
                               {QStringLiteral("config.toml")}, {}, always("hugo server"), 1313);
    hugoClassic->besideMarkers = {QStringLiteral("content/")};
    hugoClassic->marksProject = true;
    Entry* jekyllSite = other("jekyll", "Jekyll", ProjectType::static_,
                              {QStringLiteral("_config.yml")}, {}, always("jekyll serve"), 4000);
    jekyllSite->besideMarkers = names({"_layouts/", "_posts/", "index.md", "index.markdown"});
    jekyllSite->marksProject = true;
    return list;
}

class Folder
{
public:
    Folder(const QString& path, const FolderEntries& entries) : dir(path), entries(entries) {}

    // "name" is a file or folder, "name/" only a folder; "bin/rails" looks "bin" up in the
    // listing. Listed names must also resolve (a dangling link does not count).
    bool has(const QString& name) const
    {
        const bool folderOnly = name.endsWith(u'/');
        const QString trimmed = folderOnly ? name.chopped(1) : name;
        const QString first = trimmed.section(u'/', 0, 0);
        const auto listed = entries.find(first);
        if (!listed) {
            return false;
        }
        const QFileInfo info(dir.filePath(*listed + trimmed.mid(first.size())));
        return info.exists() && (!folderOnly || info.isDir());
    }

    QString path(const QString& name) const
    {
        const auto listed = entries.find(name);
        return listed ? dir.filePath(*listed) : QString();
    }

    std::optional<QJsonObject> json(const char* name) const
    {
        const QString file = path(QLatin1String(name));
        return file.isEmpty() ? std::nullopt : ProjectFiles::readJsonObject(file);
    }

    QString text(std::initializer_list<const char*> names) const
    {
        QString all;
        for (const char* name : names) {
            const QString file = path(QLatin1String(name));
            if (const auto content = file.isEmpty() ? std::nullopt : ProjectFiles::readText(file)) {
                all += *content + u'\n';
            }
        }
        return all;
    }

private:
    QDir dir;
    const FolderEntries& entries;
};

QSet<QString> keysOf(const std::optional<QJsonObject>& object,
                     std::initializer_list<const char*> sections)
{
    QSet<QString> keys;
    if (!object) {
        return keys;
    }
    for (const char* section : sections) {
        const QStringList names = object->value(QLatin1String(section)).toObject().keys();
        keys.unite(QSet<QString>(names.begin(), names.end()));
    }
    return keys;
}

// The dependencies a project of `kind` declares: exact names from JSON package files, else the
// text of its dependency files, searched for whole names.
class Dependencies
{
public:
    Dependencies(const Folder& folder, ProjectType kind)
    {
        switch (kind) {
        case ProjectType::nodejs:
            names = keysOf(folder.json("package.json"), {"dependencies", "devDependencies"});
            break;
        case ProjectType::php:
            names = keysOf(folder.json("composer.json"), {"require", "require-dev"});
            break;
        case ProjectType::python:
            text = folder.text({"requirements.txt", "pyproject.toml", "Pipfile"});
            break;
        case ProjectType::ruby:
            text = folder.text({"Gemfile"});
            break;
        case ProjectType::java:
            text = folder.text({"pom.xml", "build.gradle", "build.gradle.kts"});
            break;
        case ProjectType::go:
            text = folder.text({"go.mod", "main.go"});
            break;
        case ProjectType::rust:
            text = folder.text({"Cargo.toml"});
            break;
        default:
            break;
        }
    }

    bool contains(const QString& name) const
    {
        if (names.contains(name)) {
            return true;
        }
        if (text.isEmpty()) {
            return false;
        }
        // A whole name: "jekyll" is not "jekyll-feed", "rails" is not "rails-html-sanitizer".
        const QRegularExpression expression(
            QStringLiteral("(?<![\\w.\\-/])%1(?![\\w\\-])").arg(QRegularExpression::escape(name)),
            QRegularExpression::CaseInsensitiveOption);
        return expression.match(text).hasMatch();
    }

private:
    QSet<QString> names;
    QString text;
};

bool markersHold(const Entry& entry, const Folder& folder)
{
    const bool marked = std::any_of(entry.markers.cbegin(), entry.markers.cend(),
                                    [&](const QString& name) { return folder.has(name); });
    if (!marked) {
        return false;
    }
    return entry.besideMarkers.isEmpty() ||
           std::any_of(entry.besideMarkers.cbegin(), entry.besideMarkers.cend(),
                       [&](const QString& name) { return folder.has(name); });
}

bool isPresent(const Entry& entry, const Folder& folder, const Dependencies& dependencies)
{
    const bool named =
        std::any_of(entry.dependencies.cbegin(), entry.dependencies.cend(),
                    [&](const QString& name) { return dependencies.contains(name); });
    return named || markersHold(entry, folder);
}

QString withInterpreter(const QString& command, const QString& folderPath,
                        const FolderEntries& entries, const QStringList& searchPath)
{
    if (command == QLatin1String("python") || command.startsWith(QLatin1String("python "))) {
        return FrameworkCatalogue::pythonInterpreter(folderPath, entries, searchPath) +
               command.mid(6);
    }
    return command;
}

// The framework's own command: the first whose condition holds in the folder.
QString chosenCommand(const Entry& entry, const Folder& folder)
{
    for (const Command& command : entry.commands) {
        if (command.whenPresent.isEmpty() || folder.has(command.whenPresent)) {
            return command.text;
        }
    }
    return {};
}

// The script that starts a Node framework: a usual development script first, else the one that
// runs the framework; none when no script does.
QString nodeScript(const Entry& entry, const QJsonObject& scripts)
{
    for (const QString& name : FrameworkCatalogue::devScripts() + entry.scripts) {
        if (scripts.value(name).isString()) {
            return name;
        }
    }
    if (!entry.scriptText.isEmpty()) {
        for (auto it = scripts.begin(); it != scripts.end(); ++it) {
            if (it.value().toString().contains(entry.scriptText)) {
                return it.key();
            }
        }
    }
    return {};
}

std::optional<int> portInScript(const QString& script)
{
    for (const char* pattern : PortDetector::packageScriptPatterns) {
        if (const auto port = PortDetector::matchPort(script, QString::fromLatin1(pattern))) {
            return port;
        }
    }
    return std::nullopt;
}

} // namespace

const QList<FrameworkCatalogue::Entry>& FrameworkCatalogue::entries()
{
    static const QList<Entry> list = buildEntries();
    return list;
}

const FrameworkCatalogue::Entry* FrameworkCatalogue::find(const QString& id)
{
    for (const Entry& entry : entries()) {
        if (entry.id == id) {
            return &entry;
        }
    }
    return nullptr;
}

QString FrameworkCatalogue::displayName(const QString& id)
{
    const Entry* entry = find(id);
    return entry ? entry->displayName : id;
}

const QStringList& FrameworkCatalogue::devScripts()
{
    static const QStringList names{QStringLiteral("dev"), QStringLiteral("develop"),
                                   QStringLiteral("start"), QStringLiteral("serve")};
    return names;
}

std::optional<FrameworkCatalogue::Match> FrameworkCatalogue::detect(const QString& folderPath,
                                                                    const FolderEntries& entries,
                                                                    ProjectType kind,
                                                                    const QStringList& searchPath)
{
    const Folder folder(folderPath, entries);
    const Dependencies dependencies(folder, kind);
    const QJsonObject scripts = kind == ProjectType::nodejs ? folder.json("package.json")
                                                                  .value_or(QJsonObject())
                                                                  .value(QLatin1String("scripts"))
                                                                  .toObject()
                                                            : QJsonObject();
    const bool hasDevScript =
        std::any_of(devScripts().cbegin(), devScripts().cend(),
                    [&](const QString& name) { return scripts.value(name).isString(); });

    for (const Entry& entry : FrameworkCatalogue::entries()) {
        if (entry.kind != kind || (entry.onlyWithoutDevScript && hasDevScript) ||
            !isPresent(entry, folder, dependencies)) {
            continue;
        }
        Match match{entry.id,          entry.displayName, kind, chosenCommand(entry, folder),
                    entry.defaultPort, std::nullopt};
        if (kind == ProjectType::nodejs) {
            // The project's own script, run by the package manager its lockfile names.
            const QString script = nodeScript(entry, scripts);
            if (!script.isEmpty()) {
                match.command = CommandSuggestions::scriptCommand(
                    CommandSuggestions::packageManager(folderPath, entries), script);
                match.scriptPort = portInScript(scripts.value(script).toString());
            }
        }
        match.command = withInterpreter(match.command, folderPath, entries, searchPath);
        return match;
    }
    return std::nullopt;
}

QStringList FrameworkCatalogue::commands(const QString& folderPath, const FolderEntries& entries,
                                         const QStringList& searchPath)
{
    const Folder folder(folderPath, entries);
    QStringList result;
    for (const ProjectType kind : ProjectType::allCases()) {
        const Dependencies dependencies(folder, kind);
        for (const Entry& entry : FrameworkCatalogue::entries()) {
            if (entry.kind == kind && isPresent(entry, folder, dependencies)) {
                result.append(
                    withInterpreter(chosenCommand(entry, folder), folderPath, entries, searchPath));
            }
        }
    }
    result.removeDuplicates();
    return result;
}

std::optional<ProjectType> FrameworkCatalogue::projectKind(const QString& folderPath,
                                                           const FolderEntries& entries)
{
    const Folder folder(folderPath, entries);
    for (const Entry& entry : FrameworkCatalogue::entries()) {
        if (entry.marksProject && markersHold(entry, folder)) {
            return entry.kind;
        }
    }
    return std::nullopt;
}

QString FrameworkCatalogue::pythonInterpreter(const QString& folderPath,
                                              const FolderEntries& entries,
                                              const QStringList& searchPath)
{
    const Folder folder(folderPath, entries);
    for (const char* environment : {".venv/bin/python", "venv/bin/python"}) {
        if (folder.has(QLatin1String(environment))) {
            return QLatin1String(environment);
        }
    }
    for (const QString& directory : searchPath) {
        const QFileInfo python(QDir(directory).filePath(QStringLiteral("python")));
        if (!directory.isEmpty() && python.isFile() && python.isExecutable()) {
            return QStringLiteral("python");
        }
    }
    return QStringLiteral("python3");
}
