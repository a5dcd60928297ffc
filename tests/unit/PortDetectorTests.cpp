#include "Utilities/PortDetector.h"

#include "Models/FolderEntries.h"
#include "support/QtPrinters.h"
#include "support/TestSupport.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <sys/stat.h>

using TestSupport::writeFile;

namespace {

class PortDetection : public ::testing::Test
{
protected:
    void file(const QString& name, const QByteArray& contents)
    {
        writeFile(dir.path(), name, contents);
    }
    DetectionResult detect() const { return PortDetector::detect(dir.path()); }

    QTemporaryDir dir;
};

DetectionResult found(int port, PortSource source)
{
    return DetectionResult{port, source};
}

} // namespace

void PrintTo(const DetectionResult& result, std::ostream* os)
{
    *os << "{port: " << (result.port ? std::to_string(*result.port) : std::string("none"))
        << ", source: " << (result.source ? result.source->rawValue().toStdString() : "none")
        << '}';
}

TEST(PortSourceModel, RawValuesInDeclarationOrder)
{
    const char* raws[] = {"env",         "packageJson", "viteConfig", "vueConfig",
                          "angularJson", "nuxtConfig",  "manual",     "defaultValue"};
    for (int i = 0; i < 8; ++i) {
        const PortSource source(static_cast<PortSource::Value>(i));
        EXPECT_EQ(source.rawValue(), QLatin1String(raws[i]));
        EXPECT_EQ(PortSource::fromRawValue(QLatin1String(raws[i])), source);
    }
    EXPECT_FALSE(PortSource::fromRawValue(QStringLiteral("ENV")).has_value());
}

// --- matchPort ---

TEST(MatchPort, TakesTheFirstMatchAndItsFirstGroup)
{
    EXPECT_EQ(PortDetector::matchPort(QStringLiteral("a port: 1234 b port: 5678"),
                                      QStringLiteral(R"(port:\s*(\d+))")),
              1234);
}

TEST(MatchPort, OnlyTheFirstMatchCounts)
{
    // The first match is out of range; later matches in the same text are not looked at.
    EXPECT_EQ(PortDetector::matchPort(QStringLiteral("PORT=0\nPORT=4000"),
                                      QStringLiteral(R"(^PORT=(\d+))")),
              std::nullopt);
}

TEST(MatchPort, IsCaseInsensitiveAndAnchorsMatchLines)
{
    EXPECT_EQ(PortDetector::matchPort(QStringLiteral("x=1\nport=4000\n"),
                                      QStringLiteral(R"(^PORT=(\d+))")),
              4000);
    EXPECT_EQ(PortDetector::matchPort(QStringLiteral("x=1\r\nPORT=4001\r\n"),
                                      QStringLiteral(R"(^PORT=(\d+)$)")),
              4001);
}

TEST(MatchPort, RejectsPatternsWithoutGroupOrThatDoNotCompile)
{
    EXPECT_EQ(PortDetector::matchPort(QStringLiteral("port 80"), QStringLiteral(R"(port \d+)")),
              std::nullopt);
    EXPECT_EQ(PortDetector::matchPort(QStringLiteral("port 80"), QStringLiteral(R"(port (\d+)")),
              std::nullopt);
}

TEST(MatchPort, EnforcesTheValidRange)
{
    const QString pattern = QStringLiteral(R"(p=(\d+))");
    EXPECT_EQ(PortDetector::matchPort(QStringLiteral("p=0"), pattern), std::nullopt);
    EXPECT_EQ(PortDetector::matchPort(QStringLiteral("p=1"), pattern), 1);
    EXPECT_EQ(PortDetector::matchPort(QStringLiteral("p=65535"), pattern), 65535);
    EXPECT_EQ(PortDetector::matchPort(QStringLiteral("p=65536"), pattern), std::nullopt);
    EXPECT_EQ(PortDetector::matchPort(QStringLiteral("p=99999999999999999999999"), pattern),
              std::nullopt);
    EXPECT_EQ(PortDetector::matchPort(QStringLiteral("p=0080"), pattern), 80);
}

TEST(MatchPort, UnmatchedOptionalGroupGivesNoPort)
{
    EXPECT_EQ(PortDetector::matchPort(QStringLiteral("port"), QStringLiteral(R"(port(\d+)?)")),
              std::nullopt);
}

// --- .env files ---

TEST_F(PortDetection, ExportedPortInDotEnv)
{
    file(QStringLiteral(".env"), "export PORT=4000\n");
    EXPECT_EQ(detect(), found(4000, PortSource::env));
}

TEST_F(PortDetection, IndentedAssignmentMatchesNoPattern)
{
    file(QStringLiteral(".env"), "  PORT=4000\n");
    EXPECT_EQ(detect(), DetectionResult{});
}

TEST_F(PortDetection, LowerCaseAssignmentMatches)
{
    file(QStringLiteral(".env"), "port=4000\n");
    EXPECT_EQ(detect(), found(4000, PortSource::env));
}

TEST_F(PortDetection, EachEnvVariableIsRecognised)
{
    for (const char* name : {"PORT", "VITE_PORT", "DEV_PORT", "SERVER_PORT", "NEXT_PORT"}) {
        file(QStringLiteral(".env"), QByteArray("A=1\n") + name + " = 4100\n");
        EXPECT_EQ(detect(), found(4100, PortSource::env)) << name;
        file(QStringLiteral(".env"), QByteArray("export\t") + name + "=4200\n");
        EXPECT_EQ(detect(), found(4200, PortSource::env)) << name;
    }
}

TEST_F(PortDetection, PatternsAreTriedInOrderWithinAFile)
{
    // NEXT_PORT comes first in the file, but PORT is the first pattern.
    file(QStringLiteral(".env"), "NEXT_PORT=4005\nVITE_PORT=4002\nPORT=4001\n");
    EXPECT_EQ(detect(), found(4001, PortSource::env));
    file(QStringLiteral(".env"), "NEXT_PORT=4005\nSERVER_PORT=4004\nDEV_PORT=4003\n");
    EXPECT_EQ(detect(), found(4003, PortSource::env));
}

TEST_F(PortDetection, OtherVariablesEndingInPortDoNotMatch)
{
    file(QStringLiteral(".env"), "DB_PORT=5432\nREDIS_PORT=6379\n");
    EXPECT_EQ(detect(), DetectionResult{});
}

TEST_F(PortDetection, EnvLocalNextPortBeatsEnvPort)
{
    file(QStringLiteral(".env.local"), "NEXT_PORT=4001\n");
    file(QStringLiteral(".env"), "PORT=4000\n");
    EXPECT_EQ(detect(), found(4001, PortSource::env));
}

TEST_F(PortDetection, EnvFilesAreTriedInOrder)
{
    file(QStringLiteral(".env.development"), "PORT=4002\n");
    file(QStringLiteral(".env"), "PORT=4000\n");
    EXPECT_EQ(detect(), found(4002, PortSource::env));
    file(QStringLiteral(".env.local"), "DEV_PORT=4003\n");
    EXPECT_EQ(detect(), found(4003, PortSource::env));
}

TEST_F(PortDetection, OutOfRangeEnvPortFallsThroughToPackageJson)
{
    file(QStringLiteral("package.json"), R"({"scripts": {"dev": "vite --port 5174"}})");
    file(QStringLiteral(".env"), "PORT=0\n");
    EXPECT_EQ(detect(), found(5174, PortSource::packageJson));
    file(QStringLiteral(".env"), "PORT=70000\n");
    EXPECT_EQ(detect(), found(5174, PortSource::packageJson));
}

TEST_F(PortDetection, InvalidUtf8EnvFileIsSkipped)
{
    file(QStringLiteral(".env.local"), "PORT=4001\n\xff\xfe\x80\n");
    file(QStringLiteral(".env"), "PORT=4000\n");
    EXPECT_EQ(detect(), found(4000, PortSource::env));
}

TEST_F(PortDetection, FifoNamedDotEnvIsSkippedWithoutBlocking)
{
    const QByteArray path = QFile::encodeName(QDir(dir.path()).filePath(QStringLiteral(".env")));
    ASSERT_EQ(::mkfifo(path.constData(), 0600), 0);
    file(QStringLiteral(".env.development"), "PORT=4002\n");
    EXPECT_EQ(detect(), found(4002, PortSource::env));
}

TEST_F(PortDetection, FifoNamedPackageJsonIsSkipped)
{
    const QByteArray path =
        QFile::encodeName(QDir(dir.path()).filePath(QStringLiteral("package.json")));
    ASSERT_EQ(::mkfifo(path.constData(), 0600), 0);
    file(QStringLiteral("vite.config.js"), "server: { port: 5175 }");
    EXPECT_EQ(detect(), found(5175, PortSource::viteConfig));
}

TEST_F(PortDetection, DeviceNodeIsNotRead)
{
    // /dev/zero never ends; reading it would stall the scan.
    ASSERT_TRUE(QFile::link(QStringLiteral("/dev/zero"),
                            QDir(dir.path()).filePath(QStringLiteral(".env.local"))));
    file(QStringLiteral(".env"), "PORT=4000\n");
    EXPECT_EQ(detect(), found(4000, PortSource::env));
}

TEST_F(PortDetection, FilesOverSixteenMebibytesAreSkipped)
{
    QByteArray big = "PORT=4001\n";
    big.append(QByteArray(16 * 1024 * 1024, '#'));
    file(QStringLiteral(".env.local"), big);
    file(QStringLiteral(".env"), "PORT=4000\n");
    EXPECT_EQ(detect(), found(4000, PortSource::env));
}

TEST_F(PortDetection, FolderNamedDotEnvIsSkipped)
{
    TestSupport::makeDir(dir.path(), QStringLiteral(".env"));
    file(QStringLiteral("package.json"), R"({"scripts": {"dev": "next dev -p 3001"}})");
    EXPECT_EQ(detect(), found(3001, PortSource::packageJson));
}

// --- package.json scripts ---

TEST_F(PortDetection, DevScriptWithPortOption)
{
    file(QStringLiteral("package.json"), R"({"scripts": {"dev": "vite --port 5174"}})");
    EXPECT_EQ(detect(), found(5174, PortSource::packageJson));
    file(QStringLiteral("package.json"), R"({"scripts": {"dev": "vite --port=5176"}})");
    EXPECT_EQ(detect(), found(5176, PortSource::packageJson));
}

TEST_F(PortDetection, ShortPortOption)
{
    file(QStringLiteral("package.json"), R"({"scripts": {"dev": "next dev -p 3001"}})");
    EXPECT_EQ(detect(), found(3001, PortSource::packageJson));
    file(QStringLiteral("package.json"), R"({"scripts": {"dev": "serve -p=3002"}})");
    EXPECT_EQ(detect(), found(3002, PortSource::packageJson));
}

TEST_F(PortDetection, PortAssignmentInScript)
{
    file(QStringLiteral("package.json"),
         R"({"scripts": {"start": "PORT=8081 react-scripts start"}})");
    EXPECT_EQ(detect(), found(8081, PortSource::packageJson));
}

TEST_F(PortDetection, ScriptNamesAreLookedAtInOrder)
{
    file(QStringLiteral("package.json"),
         R"({"scripts": {"dev:server": "x --port 4004", "serve": "x --port 4003",
                         "start": "x --port 4002", "dev": "x --port 4001"}})");
    EXPECT_EQ(detect(), found(4001, PortSource::packageJson));
    file(QStringLiteral("package.json"),
         R"({"scripts": {"dev:server": "x --port 4004", "serve": "x --port 4003",
                         "start": "x --port 4002"}})");
    EXPECT_EQ(detect(), found(4002, PortSource::packageJson));
    file(QStringLiteral("package.json"),
         R"({"scripts": {"dev:server": "x --port 4004", "serve": "x --port 4003"}})");
    EXPECT_EQ(detect(), found(4003, PortSource::packageJson));
    file(QStringLiteral("package.json"), R"({"scripts": {"dev:server": "x --port 4004"}})");
    EXPECT_EQ(detect(), found(4004, PortSource::packageJson));
}

TEST_F(PortDetection, PatternsAreTriedInOrderWithinAScript)
{
    file(QStringLiteral("package.json"),
         R"({"scripts": {"dev": "PORT=4003 x -p 4002 --port 4001"}})");
    EXPECT_EQ(detect(), found(4001, PortSource::packageJson));
    file(QStringLiteral("package.json"), R"({"scripts": {"dev": "PORT=4003 x -p 4002"}})");
    EXPECT_EQ(detect(), found(4002, PortSource::packageJson));
}

TEST_F(PortDetection, PortOptionOnlyInBuildScriptIsNotSeen)
{
    file(QStringLiteral("package.json"),
         R"({"scripts": {"build": "vite build --port 5000", "dev": "vite"}})");
    EXPECT_EQ(detect(), DetectionResult{});
}

TEST_F(PortDetection, ScriptValuesThatAreNotTextAreSkipped)
{
    file(QStringLiteral("package.json"),
         R"({"scripts": {"dev": ["--port", 4001], "start": 4002, "serve": "x --port 4003"}})");
    EXPECT_EQ(detect(), found(4003, PortSource::packageJson));
}

TEST_F(PortDetection, InvalidScriptPortFallsThroughToTheNextScript)
{
    file(QStringLiteral("package.json"),
         R"({"scripts": {"dev": "x --port 99999", "start": "x --port 4002"}})");
    EXPECT_EQ(detect(), found(4002, PortSource::packageJson));
}

TEST_F(PortDetection, InvalidJsonFallsThroughToTheNextSource)
{
    file(QStringLiteral("package.json"), R"({"scripts": {"dev": "vite --port 5174"})");
    file(QStringLiteral("vue.config.js"), "devServer: { port: 8085 }");
    EXPECT_EQ(detect(), found(8085, PortSource::vueConfig));
}

TEST_F(PortDetection, NonObjectJsonGivesNothing)
{
    file(QStringLiteral("package.json"), R"(["vite --port 5174"])");
    EXPECT_EQ(detect(), DetectionResult{});
    file(QStringLiteral("package.json"), R"({"scripts": "vite --port 5174"})");
    EXPECT_EQ(detect(), DetectionResult{});
}

TEST_F(PortDetection, PackageJsonWithoutHintsGivesAnEmptyResult)
{
    file(QStringLiteral("package.json"),
         R"({"name": "x", "scripts": {"dev": "node server.js"}, "dependencies": {"lodash": "1"}})");
    const DetectionResult result = detect();
    EXPECT_FALSE(result.port.has_value());
    EXPECT_FALSE(result.source.has_value());
}

// --- configuration files ---

TEST_F(PortDetection, ViteTsWithQuotedPortUsesTheSecondPattern)
{
    file(QStringLiteral("vite.config.ts"), "export default { server: { port: '5180' } }");
    EXPECT_EQ(detect(), found(5180, PortSource::viteConfig));
}

TEST_F(PortDetection, ViteTsWithBarePortUsesTheFirstPattern)
{
    file(QStringLiteral("vite.config.ts"), "export default { server: { port: 5181 } }");
    EXPECT_EQ(detect(), found(5181, PortSource::viteConfig));
}

TEST_F(PortDetection, ViteExtensionsAreTriedInOrder)
{
    file(QStringLiteral("vite.config.mts"), "port: 5004");
    EXPECT_EQ(detect(), found(5004, PortSource::viteConfig));
    file(QStringLiteral("vite.config.mjs"), "port: 5003");
    EXPECT_EQ(detect(), found(5003, PortSource::viteConfig));
    file(QStringLiteral("vite.config.ts"), "port: 5002");
    EXPECT_EQ(detect(), found(5002, PortSource::viteConfig));
    file(QStringLiteral("vite.config.js"), "port: 5001");
    EXPECT_EQ(detect(), found(5001, PortSource::viteConfig));
}

TEST_F(PortDetection, ViteFileWithoutPortPassesOnToTheNextExtension)
{
    file(QStringLiteral("vite.config.js"), "export default {}");
    file(QStringLiteral("vite.config.ts"), "port: 0");
    file(QStringLiteral("vite.config.mjs"), "port: \"5190\"");
    EXPECT_EQ(detect(), found(5190, PortSource::viteConfig));
}

TEST_F(PortDetection, VueConfig)
{
    file(QStringLiteral("vue.config.js"), "module.exports = { devServer: { port: 8088 } }");
    EXPECT_EQ(detect(), found(8088, PortSource::vueConfig));
}

TEST_F(PortDetection, VueConfigOnlyTakesBareNumbers)
{
    file(QStringLiteral("vue.config.js"), "devServer: { port: '8088' }");
    EXPECT_EQ(detect(), DetectionResult{});
}

TEST_F(PortDetection, AngularServeOptionsPort)
{
    file(QStringLiteral("angular.json"),
         R"({"projects": {"app": {"architect": {"serve": {"options": {"port": 4300}}}}}})");
    EXPECT_EQ(detect(), found(4300, PortSource::angularJson));
}

TEST_F(PortDetection, AngularProjectMissingALevelGivesNothingForThatProject)
{
    file(QStringLiteral("angular.json"),
         R"({"projects": {"a": {"architect": {"serve": {}}},
                          "b": {"architect": {"serve": {"options": {"port": 4301}}}}}})");
    EXPECT_EQ(detect(), found(4301, PortSource::angularJson));
    file(QStringLiteral("angular.json"),
         R"({"projects": {"a": {"architect": {"serve": {"options": {"port": "4302"}}}}}})");
    EXPECT_EQ(detect(), DetectionResult{});
}

TEST_F(PortDetection, AngularPortBeyondSixtyFourBitsGivesNothing)
{
    // Converting such a number to an integer before the range check was undefined.
    file(QStringLiteral("angular.json"),
         R"({"projects": {"app": {"architect": {"serve": {"options": {"port": 1e300}}}}}})");
    EXPECT_EQ(detect(), DetectionResult{});
    file(QStringLiteral("angular.json"),
         R"({"projects": {"app": {"architect": {"serve": {"options": {"port": -1e19}}}}}})");
    EXPECT_EQ(detect(), DetectionResult{});
}

TEST_F(PortDetection, NuxtJsThenTs)
{
    file(QStringLiteral("nuxt.config.ts"), "devServer: { port: 3200 }");
    EXPECT_EQ(detect(), found(3200, PortSource::nuxtConfig));
    file(QStringLiteral("nuxt.config.js"), "devServer: { port: 3100 }");
    EXPECT_EQ(detect(), found(3100, PortSource::nuxtConfig));
}

TEST_F(PortDetection, SourcesAreTriedInOrder)
{
    file(QStringLiteral("nuxt.config.js"), "port: 3100");
    file(QStringLiteral("package.json"), R"({"dependencies": {"nuxt": "3"}})");
    EXPECT_EQ(detect(), found(3100, PortSource::nuxtConfig));
    file(QStringLiteral("angular.json"),
         R"({"projects": {"a": {"architect": {"serve": {"options": {"port": 4300}}}}}})");
    EXPECT_EQ(detect(), found(4300, PortSource::angularJson));
    file(QStringLiteral("vue.config.js"), "port: 8081");
    EXPECT_EQ(detect(), found(8081, PortSource::vueConfig));
    file(QStringLiteral("vite.config.js"), "port: 5005");
    EXPECT_EQ(detect(), found(5005, PortSource::viteConfig));
    file(QStringLiteral("package.json"),
         R"({"scripts": {"dev": "x --port 4444"}, "dependencies": {"nuxt": "3"}})");
    EXPECT_EQ(detect(), found(4444, PortSource::packageJson));
    file(QStringLiteral(".env"), "PORT=4000");
    EXPECT_EQ(detect(), found(4000, PortSource::env));
}

// --- default ports from dependencies ---

TEST_F(PortDetection, EveryDefaultPortRule)
{
    const std::pair<const char*, int> rows[] = {
        {"vite", 5173},
        {"@vitejs/plugin-react", 5173},
        {"@vitejs/plugin-vue", 5173},
        {"@sveltejs/kit", 5173},
        {"@angular/cli", 4200},
        {"@angular/core", 4200},
        {"@vue/cli-service", 8080},
        {"gatsby", 8000},
        {"next", 3000},
        {"nuxt", 3000},
        {"nuxt3", 3000},
        {"react-scripts", 3000},
        {"@remix-run/dev", 3000},
        {"react", 3000},
        {"express", 3000},
    };
    for (const auto& [name, port] : rows) {
        file(QStringLiteral("package.json"),
             QByteArray(R"({"dependencies": {")") + name + R"(": "1"}})");
        EXPECT_EQ(detect(), found(port, PortSource::defaultValue)) << name;
        file(QStringLiteral("package.json"),
             QByteArray(R"({"devDependencies": {")") + name + R"(": "1"}})");
        EXPECT_EQ(detect(), found(port, PortSource::defaultValue)) << name;
    }
}

TEST_F(PortDetection, DefaultPortRulesAreTakenInOrder)
{
    file(QStringLiteral("package.json"),
         R"({"dependencies": {"@angular/core": "17", "express": "4"},
             "devDependencies": {"vite": "5"}})");
    EXPECT_EQ(detect(), found(5173, PortSource::defaultValue));
    file(QStringLiteral("package.json"),
         R"({"dependencies": {"react": "18", "gatsby": "5", "@vue/cli-service": "5"}})");
    EXPECT_EQ(detect(), found(8080, PortSource::defaultValue));
    file(QStringLiteral("package.json"), R"({"dependencies": {"react": "18", "gatsby": "5"}})");
    EXPECT_EQ(detect(), found(8000, PortSource::defaultValue));
    file(QStringLiteral("package.json"), R"({"dependencies": {"express": "4", "next": "14"}})");
    EXPECT_EQ(detect(), found(3000, PortSource::defaultValue));
}

TEST_F(PortDetection, MalformedDependencySectionsCountAsEmpty)
{
    file(QStringLiteral("package.json"),
         R"({"dependencies": ["vite"], "devDependencies": {"gatsby": "5"}})");
    EXPECT_EQ(detect(), found(8000, PortSource::defaultValue));
}

TEST_F(PortDetection, NoFilesGiveAnEmptyResult)
{
    EXPECT_EQ(detect(), DetectionResult{});
}

// --- configuration file names on case-insensitive folders ---

namespace {

class PortDetectionByName : public PortDetection
{
protected:
    // Detection over the folder's listing, under an answer given by the test.
    DetectionResult detectListed(Qt::CaseSensitivity nameCase) const
    {
        const auto entries = FolderEntries::read(dir.path(), nameCase);
        EXPECT_TRUE(entries.has_value());
        return PortDetector::detect(dir.path(), entries ? &*entries : nullptr);
    }
};

} // namespace

TEST_F(PortDetectionByName, EnvFileInAnotherCaseCountsOnlyWhereNamesIgnoreCase)
{
    file(QStringLiteral(".ENV.Local"), "PORT=4100\n");
    EXPECT_EQ(detectListed(Qt::CaseInsensitive), found(4100, PortSource::env));
    EXPECT_EQ(detectListed(Qt::CaseSensitive), DetectionResult{});
}

TEST_F(PortDetectionByName, PackageJsonInAnotherCaseGivesItsScriptAndDefaultPorts)
{
    file(QStringLiteral("Package.json"), R"({"scripts": {"dev": "x --port 4444"}})");
    EXPECT_EQ(detectListed(Qt::CaseInsensitive), found(4444, PortSource::packageJson));
    EXPECT_EQ(detectListed(Qt::CaseSensitive), DetectionResult{});

    file(QStringLiteral("Package.json"), R"({"devDependencies": {"vite": "5"}})");
    EXPECT_EQ(detectListed(Qt::CaseInsensitive), found(5173, PortSource::defaultValue));
    EXPECT_EQ(detectListed(Qt::CaseSensitive), DetectionResult{});
}

TEST_F(PortDetectionByName, FrameworkConfigurationsInAnotherCaseCountOnlyWhereNamesIgnoreCase)
{
    const std::pair<const char*, DetectionResult> rows[] = {
        {"Vite.Config.TS", found(5001, PortSource::viteConfig)},
        {"VUE.CONFIG.JS", found(5001, PortSource::vueConfig)},
        {"Nuxt.config.js", found(5001, PortSource::nuxtConfig)},
    };
    for (const auto& [name, expected] : rows) {
        QDir(dir.path()).removeRecursively();
        QDir().mkpath(dir.path());
        file(QLatin1String(name), "port: 5001");
        EXPECT_EQ(detectListed(Qt::CaseInsensitive), expected) << name;
        EXPECT_EQ(detectListed(Qt::CaseSensitive), DetectionResult{}) << name;
    }
    QDir(dir.path()).removeRecursively();
    QDir().mkpath(dir.path());
    file(QStringLiteral("Angular.json"),
         R"({"projects": {"a": {"architect": {"serve": {"options": {"port": 4300}}}}}})");
    EXPECT_EQ(detectListed(Qt::CaseInsensitive), found(4300, PortSource::angularJson));
    EXPECT_EQ(detectListed(Qt::CaseSensitive), DetectionResult{});
}
