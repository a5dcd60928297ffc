#include "Models/ProjectType.h"

#include "Models/FolderEntries.h"

#include <QDir>
#include <QFileInfo>
#include <QSet>

#include <array>

namespace {

struct Row
{
    ProjectType::Value value;
    const char* raw;
    const char* marker;
    const char* command;
    const char* displayName;
    // Further files that make a project of the kind, tested at the kind's own turn.
    std::array<const char*, 3> otherMarkers{};
};

// Indexed by ProjectType::Value.
constexpr Row rows[] = {
    {ProjectType::nodejs, "nodejs", "package.json", "npm run dev", "Node.js"},
    {ProjectType::rust, "rust", "Cargo.toml", "cargo run", "Rust"},
    {ProjectType::go, "go", "go.mod", "go run .", "Go"},
    {ProjectType::ruby, "ruby", "Gemfile", "rails s", "Ruby"},
    {ProjectType::python,
     "python",
     "requirements.txt",
     "python -m http.server 3000",
     "Python",
     {"pyproject.toml", "Pipfile", "manage.py"}},
    {ProjectType::php, "php", "composer.json", "php -S localhost:3000", "PHP"},
    {ProjectType::java,
     "java",
     "pom.xml",
     "./mvnw spring-boot:run",
     "Java",
     {"build.gradle", "build.gradle.kts", nullptr}},
    {ProjectType::static_, "static", "index.html", "python3 -m http.server 8080", "Static"},
    {ProjectType::unknown, "unknown", "", "", "Unknown"},
};

const Row& rowFor(ProjectType::Value value)
{
    return rows[static_cast<int>(value)];
}

// Folders that hold pages but are never a site of their own.
const QSet<QString>& nonSiteFolderNames()
{
    static const QSet<QString> names{
        QStringLiteral("docs"),    QStringLiteral("documentation"), QStringLiteral("doc"),
        QStringLiteral("dist"),    QStringLiteral("build"),         QStringLiteral("out"),
        QStringLiteral("target"),  QStringLiteral("public"),        QStringLiteral("static"),
        QStringLiteral("assets"),  QStringLiteral("coverage"),      QStringLiteral("test"),
        QStringLiteral("tests"),   QStringLiteral(".next"),         QStringLiteral(".nuxt"),
        QStringLiteral(".output"),
    };
    return names;
}

} // namespace

QList<ProjectType> ProjectType::allCases()
{
    QList<ProjectType> cases;
    for (const Row& row : rows) {
        cases.append(row.value);
    }
    return cases;
}

std::optional<ProjectType> ProjectType::fromRawValue(const QString& raw)
{
    for (const Row& row : rows) {
        if (raw == QLatin1String(row.raw)) {
            return ProjectType(row.value);
        }
    }
    return std::nullopt;
}

QString ProjectType::rawValue() const
{
    return QString::fromLatin1(rowFor(value).raw);
}

QString ProjectType::markerFile() const
{
    return QString::fromLatin1(rowFor(value).marker);
}

QString ProjectType::defaultCommand() const
{
    return QString::fromLatin1(rowFor(value).command);
}

QString ProjectType::displayName() const
{
    return QString::fromLatin1(rowFor(value).displayName);
}

ProjectType ProjectType::detect(const QString& folderPath, Qt::CaseSensitivity nameCase)
{
    if (const auto entries = FolderEntries::read(folderPath, nameCase)) {
        return detect(folderPath, *entries);
    }
    // A folder that can be searched but not listed still answers existence tests by name; with
    // nothing listed it is no site.
    const QDir folder(folderPath);
    for (const Row& row : rows) {
        if (row.value == static_ || row.value == unknown) {
            continue;
        }
        if (QFileInfo::exists(folder.filePath(QString::fromLatin1(row.marker)))) {
            return row.value;
        }
        for (const char* marker : row.otherMarkers) {
            if (marker && QFileInfo::exists(folder.filePath(QString::fromLatin1(marker)))) {
                return row.value;
            }
        }
    }
    return unknown;
}

ProjectType ProjectType::detect(const QString& folderPath, const FolderEntries& entries)
{
    const QDir folder(folderPath);
    // Markers are existence tests: the listed name must also resolve (a dangling link does not).
    auto exists = [&](const char* name) {
        const auto listed = entries.find(QString::fromLatin1(name));
        return listed && QFileInfo::exists(folder.filePath(*listed));
    };

    for (const Row& row : rows) {
        if (row.value == static_ || row.value == unknown) {
            continue;
        }
        if (exists(row.marker)) {
            return row.value;
        }
        for (const char* marker : row.otherMarkers) {
            if (marker && exists(marker)) {
                return row.value;
            }
        }
    }

    if (!exists("index.html")) {
        return unknown;
    }
    if (nonSiteFolderNames().contains(QFileInfo(folderPath).fileName().toLower())) {
        return unknown;
    }

    // A lone page is not a site: it takes a style sheet, a second page or a script as well.
    int html = 0;
    int css = 0;
    int js = 0;
    for (const QString& name : entries.names()) {
        if (name.endsWith(QLatin1String(".html"))) {
            ++html;
        } else if (name.endsWith(QLatin1String(".css"))) {
            ++css;
        } else if (name.endsWith(QLatin1String(".js"))) {
            ++js;
        }
    }
    if (css > 0) {
        return html > 0 ? static_ : unknown;
    }
    return (html >= 2 || (html >= 1 && js >= 1)) ? static_ : unknown;
}
