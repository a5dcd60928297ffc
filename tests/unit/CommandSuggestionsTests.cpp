#include "Utilities/CommandSuggestions.h"

#include "Platform/FileNameCase.h"
#include "support/LogCapture.h"
#include "support/QtPrinters.h"
#include "support/TestSupport.h"

#include <QFile>
#include <QTemporaryDir>

#include <gtest/gtest.h>

using TestSupport::makeDir;
using TestSupport::writeFile;

namespace {

const QByteArray scripts =
    R"({"name":"site","scripts":{"build":"vite build","dev":"vite","start":"vite preview","lint":"eslint ."}})";

class CommandSuggestionsTest : public ::testing::Test
{
protected:
    void file(const QString& name, const QByteArray& contents = {})
    {
        writeFile(dir.path(), name, contents);
    }
    QStringList suggestions() const
    {
        return CommandSuggestions::forProject(dir.path(), FileNameCase::of(dir.path()));
    }

    QTemporaryDir dir;
};

struct LockfileCase
{
    const char* lockfile;
    QStringList expected;
};

class LockfileTest : public CommandSuggestionsTest,
                     public ::testing::WithParamInterface<LockfileCase>
{};

} // namespace

TEST_P(LockfileTest, ScriptsRunWithThePackageManagerTheLockfileNames)
{
    file(QStringLiteral("package.json"), scripts);
    if (*GetParam().lockfile) {
        file(QString::fromLatin1(GetParam().lockfile), "lock");
    }
    // The server scripts first, then the others by name.
    EXPECT_EQ(suggestions(), GetParam().expected);
}

INSTANTIATE_TEST_SUITE_P(
    Lockfiles, LockfileTest,
    ::testing::Values(
        LockfileCase{"package-lock.json",
                     {"npm run dev", "npm run start", "npm run build", "npm run lint"}},
        LockfileCase{"pnpm-lock.yaml",
                     {"pnpm run dev", "pnpm run start", "pnpm run build", "pnpm run lint"}},
        LockfileCase{"yarn.lock", {"yarn dev", "yarn start", "yarn build", "yarn lint"}},
        LockfileCase{"bun.lockb",
                     {"bun run dev", "bun run start", "bun run build", "bun run lint"}},
        LockfileCase{"bun.lock", {"bun run dev", "bun run start", "bun run build", "bun run lint"}},
        LockfileCase{"", {"npm run dev", "npm run start", "npm run build", "npm run lint"}}));

TEST_F(CommandSuggestionsTest, WithoutALockfileThePackageManagerFieldDecides)
{
    file(QStringLiteral("package.json"),
         R"({"packageManager":"pnpm@9.1.0","scripts":{"serve":"vitepress dev"}})");
    EXPECT_EQ(suggestions(), QStringList{QStringLiteral("pnpm run serve")});
}

TEST_F(CommandSuggestionsTest, APackageWithoutScriptsSuggestsNothingAndSaysNothing)
{
    LogCapture log;
    file(QStringLiteral("package.json"), R"({"name":"lib"})");
    file(QStringLiteral("yarn.lock"));
    EXPECT_EQ(suggestions(), QStringList());
    EXPECT_EQ(log.lines(), QStringList());
}

TEST_F(CommandSuggestionsTest, ScriptsThatAreNoTextAreSkippedAndOddNamesAreQuoted)
{
    file(
        QStringLiteral("package.json"),
        R"({"scripts":{"dev":42,"start:docs":"vitepress dev","my server":"node s.js","it's":"x"}})");
    EXPECT_EQ(suggestions(), (QStringList{QStringLiteral("npm run 'it'\\''s'"),
                                          QStringLiteral("npm run 'my server'"),
                                          QStringLiteral("npm run start:docs")}));
}

TEST_F(CommandSuggestionsTest, ABrokenPackageFileGivesNoScriptsAndOneLogLine)
{
    LogCapture log;
    file(QStringLiteral("package.json"), R"({"scripts":{"dev":"vite")");
    file(QStringLiteral("manage.py"));
    EXPECT_EQ(suggestions(), QStringList{QStringLiteral("python3 manage.py runserver")});
    EXPECT_EQ(
        log.lines(),
        QStringList{QStringLiteral("⚠️ [CommandSuggestions] No script suggestions: %1 is not a "
                                   "readable JSON object")
                        .arg(dir.filePath(QStringLiteral("package.json")))});
}

TEST_F(CommandSuggestionsTest, ScriptsThatAreNoObjectGiveOneLogLine)
{
    LogCapture log;
    file(QStringLiteral("package.json"), R"({"scripts":["dev"]})");
    EXPECT_EQ(suggestions(), QStringList());
    EXPECT_EQ(log.lines(),
              QStringList{QStringLiteral("⚠️ [CommandSuggestions] No script suggestions: "
                                         "\"scripts\" in %1 is not an object")
                              .arg(dir.filePath(QStringLiteral("package.json")))});
}

TEST_F(CommandSuggestionsTest, AtMostTheFirstFortyScriptsAreOffered)
{
    QByteArray package = R"({"scripts":{)";
    for (int i = 0; i < 60; ++i) {
        package += QStringLiteral("\"task%1\":\"echo\",").arg(i, 2, 10, QLatin1Char('0')).toUtf8();
    }
    package += R"("dev":"vite"}})";
    file(QStringLiteral("package.json"), package);
    const QStringList offered = suggestions();
    ASSERT_EQ(offered.size(), CommandSuggestions::maxScripts);
    EXPECT_EQ(offered.first(), QStringLiteral("npm run dev"));
    EXPECT_EQ(offered.last(), QStringLiteral("npm run task38"));
}

TEST_F(CommandSuggestionsTest, APackageFileThatIsAFolderIsNotRead)
{
    makeDir(dir.path(), QStringLiteral("package.json"));
    LogCapture log;
    EXPECT_EQ(suggestions(), QStringList());
    EXPECT_EQ(log.lines().size(), 1);
}

struct MarkerCase
{
    const char* name;
    QList<QPair<QString, QByteArray>> files;
    QStringList expected;
};

class MarkerTest : public CommandSuggestionsTest, public ::testing::WithParamInterface<MarkerCase>
{};

TEST_P(MarkerTest, TheUsualDevelopmentCommandOfEachKindIsSuggested)
{
    for (const auto& [name, contents] : GetParam().files) {
        file(name, contents);
    }
    EXPECT_EQ(suggestions(), GetParam().expected);
}

INSTANTIATE_TEST_SUITE_P(
    Markers, MarkerTest,
    ::testing::Values(
        MarkerCase{"Django",
                   {{"manage.py", ""}, {"requirements.txt", "Django>=4\n"}},
                   {"python3 manage.py runserver"}},
        MarkerCase{
            "Flask", {{"requirements.txt", "flask==3.0\ngunicorn\n"}}, {"python3 -m flask run"}},
        MarkerCase{"FastApi",
                   {{"pyproject.toml", "dependencies = [\"fastapi>=0.110\"]\n"}, {"main.py", ""}},
                   {"python3 -m uvicorn main:app --reload"}},
        MarkerCase{"MkDocs", {{"mkdocs.yml", "site_name: docs\n"}}, {"mkdocs serve"}},
        MarkerCase{"Laravel", {{"artisan", ""}, {"composer.json", "{}"}}, {"php artisan serve"}},
        MarkerCase{
            "Symfony", {{"symfony.lock", "{}"}, {"composer.json", "{}"}}, {"symfony server:start"}},
        MarkerCase{"Jekyll",
                   {{"Gemfile", "source \"https://rubygems.org\"\ngem \"jekyll\", \"~> 4.3\"\n"}},
                   {"bundle exec jekyll serve"}},
        MarkerCase{"RailsWithBinstub",
                   {{"Gemfile", "gem 'rails'\n"}, {"bin/rails", ""}, {"config.ru", ""}},
                   {"bin/rails server"}},
        MarkerCase{"RailsWithoutBinstub",
                   {{"Gemfile", "  gem 'rails', '~> 7.1'\n"}},
                   {"bundle exec rails server"}},
        MarkerCase{"Rack",
                   {{"Gemfile", "gem 'sinatra'\n"}, {"config.ru", ""}},
                   {"bundle exec ruby app.rb", "bundle exec rackup"}},
        MarkerCase{
            "Middleman", {{"Gemfile", "gem \"middleman\"\n"}}, {"bundle exec middleman server"}},
        MarkerCase{"Cargo", {{"Cargo.toml", "[package]\n"}}, {"cargo run"}},
        MarkerCase{"Trunk",
                   {{"Cargo.toml", "[package]\n"}, {"Trunk.toml", ""}},
                   {"trunk serve", "cargo run"}},
        MarkerCase{"Go", {{"go.mod", "module x\n"}}, {"go run ."}},
        MarkerCase{"GoWithAir", {{"go.mod", "module x\n"}, {".air.toml", ""}}, {"air", "go run ."}},
        MarkerCase{
            "MavenWrapper", {{"pom.xml", "<project/>"}, {"mvnw", ""}}, {"./mvnw spring-boot:run"}},
        MarkerCase{"Maven", {{"pom.xml", "<project/>"}}, {"mvn spring-boot:run"}},
        MarkerCase{"Gradle", {{"gradlew", ""}, {"build.gradle", ""}}, {"./gradlew bootRun"}},
        MarkerCase{"Deno",
                   {{"deno.json", R"({"tasks":{"build":"x","dev":"deno run -A main.ts"}})"}},
                   {"deno task dev", "deno task build"}},
        MarkerCase{"Hugo", {{"hugo.toml", "title = 'x'\n"}}, {"hugo server"}},
        MarkerCase{"NothingKnown", {{"index.html", "<p>hi</p>"}, {"Gemfile", "gem 'puma'\n"}}, {}},
        MarkerCase{"ScriptsBeforeMarkers",
                   {{"package.json", R"({"scripts":{"dev":"vite"}})"}, {"manage.py", ""}},
                   {"npm run dev", "python3 manage.py runserver"}}),
    [](const ::testing::TestParamInfo<MarkerCase>& info) { return std::string(info.param.name); });
