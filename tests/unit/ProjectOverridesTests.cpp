#include "Managers/ProjectOverrides.h"

#include "support/LogCapture.h"
#include "support/QtPrinters.h"
#include "support/TestProjects.h"
#include "support/TestSettings.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <QSignalSpy>

#include <gtest/gtest.h>

namespace {

QJsonObject stored(const std::optional<QByteArray>& raw)
{
    return raw ? QJsonDocument::fromJson(*raw).object() : QJsonObject();
}

QStringList emitted(const QSignalSpy& spy)
{
    QStringList folders;
    for (const QList<QVariant>& arguments : spy) {
        folders.append(arguments.at(0).toString());
    }
    return folders;
}

QString ignored(const QString& text)
{
    return QStringLiteral("⚠️ [ProjectOverrides] ") + text;
}

} // namespace

TEST(ProjectOverridesTest, StoresCommandsAndPortsAsJsonObjectsKeyedByFolderPath)
{
    TestSettings settings;
    ProjectOverrides overrides(settings.get());
    overrides.setCommand(QStringLiteral("/home/me/site"), QStringLiteral("yarn start"));
    overrides.setCommand(QStringLiteral("/home/me/api"), QStringLiteral("node server.js"));
    overrides.setPort(QStringLiteral("/home/me/site"), 4321);

    EXPECT_EQ(stored(settings->projectCommands()),
              (QJsonObject{{QStringLiteral("/home/me/site"), QStringLiteral("yarn start")},
                           {QStringLiteral("/home/me/api"), QStringLiteral("node server.js")}}));
    EXPECT_EQ(settings->projectPorts(), QByteArray(R"({"/home/me/site":4321})"));

    // What the next run reads from the same file.
    SettingsManager reopened(std::make_unique<QSettings>(
        settings.dir.filePath(QStringLiteral("wisp.conf")), QSettings::IniFormat));
    ProjectOverrides next(&reopened);
    EXPECT_EQ(next.command(QStringLiteral("/home/me/site")), QStringLiteral("yarn start"));
    EXPECT_EQ(next.command(QStringLiteral("/home/me/api")), QStringLiteral("node server.js"));
    EXPECT_EQ(next.port(QStringLiteral("/home/me/site")), 4321);
    EXPECT_EQ(next.port(QStringLiteral("/home/me/api")), std::nullopt);
}

TEST(ProjectOverridesTest, RemovingAnOverrideKeepsTheOthersAndTheLastOneRemovesTheKey)
{
    TestSettings settings;
    ProjectOverrides overrides(settings.get());
    overrides.setPort(QStringLiteral("/a"), 4000);
    overrides.setPort(QStringLiteral("/b"), 5000);

    overrides.setPort(QStringLiteral("/a"), std::nullopt);
    EXPECT_EQ(settings->projectPorts(), QByteArray(R"({"/b":5000})"));
    EXPECT_EQ(overrides.port(QStringLiteral("/a")), std::nullopt);

    overrides.setPort(QStringLiteral("/b"), std::nullopt);
    EXPECT_FALSE(settings->projectPorts().has_value());
    EXPECT_FALSE(settings.manager.store().contains(QStringLiteral("projectPorts")));
}

TEST(ProjectOverridesTest, ABlankCommandRemovesTheOverride)
{
    TestSettings settings;
    ProjectOverrides overrides(settings.get());
    overrides.setCommand(QStringLiteral("/a"), QStringLiteral("bun run dev"));
    overrides.setCommand(QStringLiteral("/a"), QStringLiteral("   "));
    EXPECT_EQ(overrides.command(QStringLiteral("/a")), std::nullopt);
    EXPECT_FALSE(settings->projectCommands().has_value());
}

TEST(ProjectOverridesTest, APortOutsideTheRangeIsRefusedWithALogLine)
{
    TestSettings settings;
    ProjectOverrides overrides(settings.get());
    overrides.setPort(QStringLiteral("/a"), 4000);
    LogCapture log;
    QSignalSpy spy(&overrides, &ProjectOverrides::changed);

    overrides.setPort(QStringLiteral("/a"), 0);
    overrides.setPort(QStringLiteral("/a"), 65536);

    EXPECT_EQ(
        log.lines(),
        (QStringList{
            ignored(QStringLiteral("Not setting port 0 for /a: a port is 1 ... 65535")),
            ignored(QStringLiteral("Not setting port 65536 for /a: a port is 1 ... 65535"))}));
    EXPECT_EQ(overrides.port(QStringLiteral("/a")), 4000);
    EXPECT_EQ(settings->projectPorts(), QByteArray(R"({"/a":4000})"));
    EXPECT_EQ(spy.count(), 0);
}

TEST(ProjectOverridesTest, BadEntriesAreIgnoredOneByOneWithOneLogLineEach)
{
    TestSettings settings;
    settings->setProjectPorts(QByteArray(
        R"({"/ok":4000,"/text":"4001","/zero":0,"/big":70000,"/half":3000.5,"/null":null,"/top":65535,"/one":1})"));
    settings->setProjectCommands(
        QByteArray(R"({"/ok":"pnpm dev","/number":5,"/blank":" ","/list":["npm","start"]})"));
    LogCapture log;
    ProjectOverrides overrides(settings.get());

    EXPECT_EQ(overrides.port(QStringLiteral("/ok")), 4000);
    EXPECT_EQ(overrides.port(QStringLiteral("/top")), 65535);
    EXPECT_EQ(overrides.port(QStringLiteral("/one")), 1);
    for (const char* folder : {"/text", "/zero", "/big", "/half", "/null"}) {
        EXPECT_EQ(overrides.port(QString::fromLatin1(folder)), std::nullopt) << folder;
    }
    EXPECT_EQ(overrides.command(QStringLiteral("/ok")), QStringLiteral("pnpm dev"));
    for (const char* folder : {"/number", "/blank", "/list"}) {
        EXPECT_EQ(overrides.command(QString::fromLatin1(folder)), std::nullopt) << folder;
    }

    QStringList lines = log.lines();
    lines.sort();
    QStringList expected;
    for (const char* folder : {"/text", "/zero", "/big", "/half", "/null"}) {
        expected << ignored(
            QStringLiteral("Ignoring the \"projectPorts\" entry for %1: not a port from 1 to 65535")
                .arg(QLatin1String(folder)));
    }
    expected << ignored(
        QStringLiteral("Ignoring the \"projectCommands\" entry for /number: not a string"));
    expected << ignored(
        QStringLiteral("Ignoring the \"projectCommands\" entry for /list: not a string"));
    expected << ignored(
        QStringLiteral("Ignoring the \"projectCommands\" entry for /blank: empty command"));
    expected.sort();
    EXPECT_EQ(lines, expected);

    // Read again: nothing new to say about the same stored bytes.
    log.clear();
    overrides.port(QStringLiteral("/ok"));
    overrides.command(QStringLiteral("/ok"));
    EXPECT_EQ(log.lines(), QStringList());
}

TEST(ProjectOverridesTest, WritingOneEntryKeepsEveryOtherEntryAsStored)
{
    TestSettings settings;
    settings->setProjectPorts(QByteArray(R"({"/ok":4000,"/text":"4001"})"));
    settings->setProjectCommands(QByteArray(R"({"/ok":"pnpm dev","/number":5})"));
    LogCapture log;
    ProjectOverrides overrides(settings.get());

    overrides.setPort(QStringLiteral("/new"), 8080);
    overrides.setCommand(QStringLiteral("/new"), QStringLiteral("make serve"));

    EXPECT_EQ(stored(settings->projectPorts()),
              (QJsonObject{{QStringLiteral("/ok"), 4000},
                           {QStringLiteral("/text"), QStringLiteral("4001")},
                           {QStringLiteral("/new"), 8080}}));
    EXPECT_EQ(stored(settings->projectCommands()),
              (QJsonObject{{QStringLiteral("/ok"), QStringLiteral("pnpm dev")},
                           {QStringLiteral("/number"), 5},
                           {QStringLiteral("/new"), QStringLiteral("make serve")}}));
    EXPECT_EQ(overrides.port(QStringLiteral("/ok")), 4000);
    EXPECT_EQ(overrides.port(QStringLiteral("/new")), 8080);
    // The entries kept as they were are not reported again.
    EXPECT_EQ(log.lines().size(), 2);
}

TEST(ProjectOverridesTest, AKeyThatIsNoJsonObjectIsIgnoredWithOneLogLineAndReplacedOnWrite)
{
    TestSettings settings;
    settings->setProjectPorts(QByteArray("{not json"));
    settings->setProjectCommands(QByteArray(R"(["npm run dev"])"));
    LogCapture log;
    ProjectOverrides overrides(settings.get());

    EXPECT_EQ(overrides.port(QStringLiteral("/a")), std::nullopt);
    EXPECT_EQ(overrides.command(QStringLiteral("/a")), std::nullopt);
    EXPECT_EQ(
        log.lines(),
        (QStringList{ignored(QStringLiteral("Ignoring \"projectCommands\": not a JSON object")),
                     ignored(QStringLiteral("Ignoring \"projectPorts\": not JSON"))}));

    overrides.setPort(QStringLiteral("/a"), 3001);
    EXPECT_EQ(settings->projectPorts(), QByteArray(R"({"/a":3001})"));
    EXPECT_EQ(log.lines().size(), 2);
}

TEST(ProjectOverridesTest, AppliedSetsCommandAndManualPortOnTheProjectAndItsSubprojects)
{
    TestSettings settings;
    ProjectOverrides overrides(settings.get());
    Project web = TestProjects::make(QStringLiteral("web"), 5173, QStringLiteral("/m/web"));
    web.customCommand.reset();
    web.detectedPort = 5173;
    web.portSource = PortSource::defaultValue;
    Project docs = TestProjects::make(QStringLiteral("docs"), 3000, QStringLiteral("/m/docs"));
    Project mono =
        TestProjects::make(QStringLiteral("mono"), 3000, QStringLiteral("/m"), {web, docs});
    overrides.setCommand(QStringLiteral("/m/web"), QStringLiteral("pnpm --filter web dev"));
    overrides.setPort(QStringLiteral("/m/web"), 4321);
    overrides.setPort(QStringLiteral("/m"), 8080);

    const Project result = overrides.applied(mono);

    EXPECT_EQ(result.port, 8080);
    EXPECT_EQ(result.detectedPort, 8080);
    EXPECT_EQ(result.portSource, PortSource::manual);
    EXPECT_EQ(result.customCommand, QStringLiteral("npm run dev"));
    ASSERT_EQ(result.subprojects.size(), 2);
    const Project& appliedWeb = result.subprojects.at(0);
    EXPECT_EQ(appliedWeb.customCommand, QStringLiteral("pnpm --filter web dev"));
    EXPECT_EQ(appliedWeb.effectiveCommand(), QStringLiteral("pnpm --filter web dev"));
    EXPECT_EQ(appliedWeb.port, 4321);
    EXPECT_EQ(appliedWeb.detectedPort, 4321);
    EXPECT_EQ(appliedWeb.portSource, PortSource::manual);
    EXPECT_EQ(result.subprojects.at(1), docs);
    EXPECT_EQ(overrides.applied(docs), docs);
}

TEST(ProjectOverridesTest, ChangedNamesEveryFolderWhoseOverrideChanged)
{
    TestSettings settings;
    ProjectOverrides overrides(settings.get());
    QSignalSpy spy(&overrides, &ProjectOverrides::changed);

    overrides.setPort(QStringLiteral("/a"), 4000);
    overrides.setCommand(QStringLiteral("/b"), QStringLiteral("yarn dev"));
    overrides.setPort(QStringLiteral("/a"), 4000); // no change
    overrides.setPort(QStringLiteral("/a"), std::nullopt);
    EXPECT_EQ(emitted(spy),
              (QStringList{QStringLiteral("/a"), QStringLiteral("/b"), QStringLiteral("/a")}));

    // A write to the store by anyone else is seen as well.
    spy.clear();
    settings->setProjectPorts(QByteArray(R"({"/c":1234,"/d":2345})"));
    settings->setProjectCommands(std::nullopt);
    EXPECT_EQ(emitted(spy),
              (QStringList{QStringLiteral("/c"), QStringLiteral("/d"), QStringLiteral("/b")}));
    EXPECT_EQ(overrides.port(QStringLiteral("/c")), 1234);
}
