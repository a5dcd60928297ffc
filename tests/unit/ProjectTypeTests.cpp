#include "Models/ProjectType.h"

#include "Models/FolderEntries.h"
#include "Platform/FileNameCase.h"
#include "support/QtPrinters.h"
#include "support/TestSupport.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>

#include <gtest/gtest.h>

using TestSupport::makeDir;
using TestSupport::writeFile;

namespace {

class ProjectTypeDetection : public ::testing::Test
{
protected:
    // A folder named `name` inside the temporary root, holding the given files.
    QString folder(const QString& name, const QStringList& files)
    {
        makeDir(root.path(), name);
        for (const QString& file : files) {
            writeFile(root.path(), name + QLatin1Char('/') + file, "x");
        }
        return QDir(root.path()).filePath(name);
    }

    QTemporaryDir root;
};

// Detection under the rule the folder's own file system follows, as the scan asks it.
ProjectType detect(const QString& folderPath)
{
    return ProjectType::detect(folderPath, FileNameCase::of(folderPath));
}

} // namespace

TEST(ProjectTypeModel, RawValuesMarkersAndCommandsInDeclarationOrder)
{
    const QList<ProjectType> cases = ProjectType::allCases();
    const char* raws[] = {"nodejs", "rust", "go",     "ruby",   "python",
                          "php",    "java", "static", "unknown"};
    const char* markers[] = {"package.json", "Cargo.toml",       "go.mod",
                             "Gemfile",      "requirements.txt", "composer.json",
                             "pom.xml",      "index.html",       ""};
    ASSERT_EQ(cases.size(), 9);
    for (int i = 0; i < 9; ++i) {
        EXPECT_EQ(cases.at(i).rawValue(), QLatin1String(raws[i]));
        EXPECT_EQ(cases.at(i).markerFile(), QLatin1String(markers[i]));
        EXPECT_EQ(ProjectType::fromRawValue(QLatin1String(raws[i])), cases.at(i));
    }
    EXPECT_FALSE(ProjectType::fromRawValue(QStringLiteral("Static")).has_value());
    EXPECT_FALSE(ProjectType::fromRawValue(QString()).has_value());
}

TEST_F(ProjectTypeDetection, EmptyFolderIsUnknown)
{
    EXPECT_EQ(detect(folder(QStringLiteral("empty"), {})), ProjectType::unknown);
}

TEST_F(ProjectTypeDetection, EachMarkerGivesItsType)
{
    const std::pair<const char*, ProjectType> rows[] = {
        {"package.json", ProjectType::nodejs},
        {"Cargo.toml", ProjectType::rust},
        {"go.mod", ProjectType::go},
        {"Gemfile", ProjectType::ruby},
        {"requirements.txt", ProjectType::python},
        {"composer.json", ProjectType::php},
        {"pom.xml", ProjectType::java},
    };
    for (const auto& [marker, type] : rows) {
        const QString name = QStringLiteral("only-") + QLatin1String(marker);
        EXPECT_EQ(detect(folder(name, {QLatin1String(marker)})), type) << marker;
    }
}

TEST_F(ProjectTypeDetection, OnlyGoModIsGo)
{
    EXPECT_EQ(detect(folder(QStringLiteral("svc"), {QStringLiteral("go.mod")})), ProjectType::go);
}

TEST_F(ProjectTypeDetection, PythonAndGradleProjectsWithoutTheMainMarkerAreFound)
{
    for (const char* marker : {"pyproject.toml", "Pipfile", "manage.py"}) {
        const QString name = QStringLiteral("py-") + QString::fromLatin1(marker).remove(u'.');
        EXPECT_EQ(detect(folder(name, {QLatin1String(marker)})), ProjectType::python) << marker;
    }
    for (const char* marker : {"build.gradle", "build.gradle.kts"}) {
        const QString name = QStringLiteral("jvm-") + QString::fromLatin1(marker).remove(u'.');
        EXPECT_EQ(detect(folder(name, {QLatin1String(marker)})), ProjectType::java) << marker;
    }
    // At the kind's own turn: node still comes first.
    EXPECT_EQ(detect(folder(QStringLiteral("mixed"),
                            {QStringLiteral("manage.py"), QStringLiteral("package.json")})),
              ProjectType::nodejs);
}

TEST_F(ProjectTypeDetection, NodeIsTestedBeforeRuby)
{
    EXPECT_EQ(detect(folder(QStringLiteral("app"),
                            {QStringLiteral("Gemfile"), QStringLiteral("package.json")})),
              ProjectType::nodejs);
}

TEST_F(ProjectTypeDetection, FirstMarkerInTableOrderWins)
{
    EXPECT_EQ(detect(folder(QStringLiteral("both"),
                            {QStringLiteral("package.json"), QStringLiteral("Cargo.toml")})),
              ProjectType::nodejs);
    EXPECT_EQ(detect(folder(QStringLiteral("py"),
                            {QStringLiteral("pom.xml"), QStringLiteral("requirements.txt")})),
              ProjectType::python);
    // A marker wins over a static site.
    EXPECT_EQ(detect(folder(QStringLiteral("site"),
                            {QStringLiteral("index.html"), QStringLiteral("a.css"),
                             QStringLiteral("composer.json")})),
              ProjectType::php);
}

TEST_F(ProjectTypeDetection, MarkerIsAnExistenceTestOnly)
{
    // Even a folder named like a marker counts: its contents are never read.
    makeDir(root.path(), QStringLiteral("odd/Cargo.toml"));
    EXPECT_EQ(detect(QDir(root.path()).filePath(QStringLiteral("odd"))), ProjectType::rust);
}

TEST_F(ProjectTypeDetection, DistFolderWithPageAndScriptIsUnknown)
{
    const QStringList files{QStringLiteral("index.html"), QStringLiteral("app.js")};
    EXPECT_EQ(detect(folder(QStringLiteral("dist"), files)), ProjectType::unknown);
    EXPECT_EQ(detect(folder(QStringLiteral("Dist"), files)), ProjectType::unknown);
    EXPECT_EQ(detect(folder(QStringLiteral("landing"), files)), ProjectType::static_);
}

TEST_F(ProjectTypeDetection, EveryNonSiteNameIsUnknown)
{
    const QStringList files{QStringLiteral("index.html"), QStringLiteral("style.css")};
    for (const char* name :
         {"docs", "documentation", "doc", "dist", "build", "out", "target", "public", "static",
          "assets", "coverage", "test", "tests", ".next", ".nuxt", ".output", "DOCS", "Public"}) {
        EXPECT_EQ(detect(folder(QLatin1String(name), files)), ProjectType::unknown) << name;
    }
}

TEST_F(ProjectTypeDetection, LonePageIsUnknown)
{
    EXPECT_EQ(detect(folder(QStringLiteral("page"), {QStringLiteral("index.html")})),
              ProjectType::unknown);
}

TEST_F(ProjectTypeDetection, PageWithStyleSheetIsStatic)
{
    EXPECT_EQ(detect(folder(QStringLiteral("s1"),
                            {QStringLiteral("index.html"), QStringLiteral("style.css")})),
              ProjectType::static_);
}

TEST_F(ProjectTypeDetection, PageWithSecondPageIsStatic)
{
    EXPECT_EQ(detect(folder(QStringLiteral("s2"),
                            {QStringLiteral("index.html"), QStringLiteral("about.html")})),
              ProjectType::static_);
}

TEST_F(ProjectTypeDetection, SuffixTestIsCaseSensitive)
{
    EXPECT_EQ(detect(folder(QStringLiteral("s3"),
                            {QStringLiteral("index.html"), QStringLiteral("STYLE.CSS"),
                             QStringLiteral("APP.JS")})),
              ProjectType::unknown);
}

TEST_F(ProjectTypeDetection, IndexHtmlMustExistForAStaticSite)
{
    EXPECT_EQ(detect(folder(QStringLiteral("s4"),
                            {QStringLiteral("home.html"), QStringLiteral("style.css")})),
              ProjectType::unknown);
}

TEST_F(ProjectTypeDetection, MissingFolderIsUnknown)
{
    EXPECT_EQ(detect(QDir(root.path()).filePath(QStringLiteral("gone"))), ProjectType::unknown);
}

// --- marker names on case-insensitive folders ---

namespace {

// The folder's listing under an answer given by the test, since no case-insensitive volume is
// at hand here.
FolderEntries entriesOf(const QString& folderPath, Qt::CaseSensitivity nameCase)
{
    const auto entries = FolderEntries::read(folderPath, nameCase);
    EXPECT_TRUE(entries.has_value()) << folderPath.toStdString();
    return entries.value_or(FolderEntries());
}

} // namespace

TEST_F(ProjectTypeDetection, MarkerInAnotherCaseCountsOnlyWhereNamesIgnoreCase)
{
    const QString path = folder(QStringLiteral("shop"), {QStringLiteral("gemfile")});
    EXPECT_EQ(ProjectType::detect(path, entriesOf(path, Qt::CaseInsensitive)), ProjectType::ruby);
    EXPECT_EQ(ProjectType::detect(path, entriesOf(path, Qt::CaseSensitive)), ProjectType::unknown);
}

TEST_F(ProjectTypeDetection, IndexPageInAnotherCaseMakesASiteOnlyWhereNamesIgnoreCase)
{
    const QString path =
        folder(QStringLiteral("landing"), {QStringLiteral("Index.html"), QStringLiteral("a.css")});
    EXPECT_EQ(ProjectType::detect(path, entriesOf(path, Qt::CaseInsensitive)),
              ProjectType::static_);
    EXPECT_EQ(ProjectType::detect(path, entriesOf(path, Qt::CaseSensitive)), ProjectType::unknown);
}

TEST_F(ProjectTypeDetection, EveryMarkerIsFoundInAnyCaseWhereNamesIgnoreCase)
{
    for (const ProjectType type : ProjectType::allCases()) {
        if (type == ProjectType::static_ || type == ProjectType::unknown) {
            continue;
        }
        const QString marker = type.markerFile().toUpper();
        const QString path = folder(QStringLiteral("upper-") + type.rawValue(), {marker});
        EXPECT_EQ(ProjectType::detect(path, entriesOf(path, Qt::CaseInsensitive)), type)
            << marker.toStdString();
        EXPECT_EQ(ProjectType::detect(path, entriesOf(path, Qt::CaseSensitive)),
                  ProjectType::unknown)
            << marker.toStdString();
    }
}

TEST_F(ProjectTypeDetection, MarkerOrderStillDecidesWhereNamesIgnoreCase)
{
    const QString path =
        folder(QStringLiteral("both"), {QStringLiteral("GEMFILE"), QStringLiteral("Package.JSON")});
    EXPECT_EQ(ProjectType::detect(path, entriesOf(path, Qt::CaseInsensitive)), ProjectType::nodejs);
}

TEST_F(ProjectTypeDetection, DanglingMarkerInAnotherCaseIsNoMarker)
{
    const QString path = folder(QStringLiteral("dangling"), {});
    ASSERT_TRUE(QFile::link(QDir(root.path()).filePath(QStringLiteral("nowhere")),
                            QDir(path).filePath(QStringLiteral("GO.MOD"))));
    EXPECT_EQ(ProjectType::detect(path, entriesOf(path, Qt::CaseInsensitive)),
              ProjectType::unknown);
}

TEST_F(ProjectTypeDetection, DetectionMatchesNamesByTheRuleItIsGiven)
{
    const QString path =
        folder(QStringLiteral("site"), {QStringLiteral("Index.html"), QStringLiteral("style.css")});
    EXPECT_EQ(ProjectType::detect(path, Qt::CaseInsensitive), ProjectType::static_);
    EXPECT_EQ(ProjectType::detect(path, Qt::CaseSensitive), ProjectType::unknown);
}
