#include "Models/Project.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include "support/QtPrinters.h"

#include <gtest/gtest.h>

namespace {

Project makeProject()
{
    Project project;
    project.id = QUuid::createUuid();
    project.name = QStringLiteral("web");
    project.path = QUrl::fromLocalFile(QStringLiteral("/tmp/projects/web"));
    project.type = ProjectType::nodejs;
    project.port = 3000;
    return project;
}

QStringList keysInOrder(const QByteArray& json)
{
    // QJsonObject sorts its keys, so read the order off the text itself.
    QStringList keys;
    int depth = 0;
    bool inString = false;
    QString current;
    for (int i = 0; i < json.size(); ++i) {
        const char c = json.at(i);
        if (inString) {
            if (c == '\\') {
                current += QLatin1Char(c);
                current += QLatin1Char(json.at(++i));
            } else if (c == '"') {
                inString = false;
                int j = i + 1;
                while (j < json.size() && json.at(j) == ' ') {
                    ++j;
                }
                if (depth == 1 && j < json.size() && json.at(j) == ':') {
                    keys.append(current);
                }
            } else {
                current += QLatin1Char(c);
            }
        } else if (c == '"') {
            inString = true;
            current.clear();
        } else if (c == '{' || c == '[') {
            ++depth;
        } else if (c == '}' || c == ']') {
            --depth;
        }
    }
    return keys;
}

} // namespace

TEST(ProjectModel, CustomCommandIsReturnedWhateverTheType)
{
    for (const ProjectType type : ProjectType::allCases()) {
        Project project = makeProject();
        project.type = type;
        project.customCommand = QStringLiteral("yarn dev");
        EXPECT_EQ(project.effectiveCommand(), QStringLiteral("yarn dev"))
            << type.rawValue().toStdString();
    }
}

TEST(ProjectModel, UnknownProjectWithoutCustomCommandHasEmptyCommand)
{
    Project project = makeProject();
    project.type = ProjectType::unknown;
    EXPECT_EQ(project.effectiveCommand(), QString());
}

TEST(ProjectModel, EmptyCustomCommandStillCountsAsPresent)
{
    Project project = makeProject();
    project.customCommand = QString();
    EXPECT_EQ(project.effectiveCommand(), QString());
}

TEST(ProjectModel, DefaultCommandsFollowTheType)
{
    const std::pair<ProjectType, const char*> expected[] = {
        {ProjectType::nodejs, "npm run dev"},
        {ProjectType::rust, "cargo run"},
        {ProjectType::go, "go run ."},
        {ProjectType::ruby, "rails s"},
        {ProjectType::python, "python -m http.server 3000"},
        {ProjectType::php, "php -S localhost:3000"},
        {ProjectType::java, "./mvnw spring-boot:run"},
        {ProjectType::static_, "python3 -m http.server 8080"},
        {ProjectType::unknown, ""},
    };
    for (const auto& [type, command] : expected) {
        Project project = makeProject();
        project.type = type;
        EXPECT_EQ(project.effectiveCommand(), QString::fromUtf8(command));
    }
}

TEST(ProjectModel, EncodingWithoutOptionalsWritesExactlyTheRequiredKeys)
{
    const Project project = makeProject();
    const QByteArray json = project.toJson();
    EXPECT_EQ(keysInOrder(json),
              (QStringList{QStringLiteral("id"), QStringLiteral("name"), QStringLiteral("path"),
                           QStringLiteral("type"), QStringLiteral("port"),
                           QStringLiteral("subprojects")}));
    const auto decoded = Project::fromJson(json);
    ASSERT_TRUE(decoded.has_value());
    EXPECT_EQ(*decoded, project);
}

TEST(ProjectModel, EncodingWritesAllKeysInDeclarationOrder)
{
    Project project = makeProject();
    project.customCommand = QStringLiteral("pnpm dev");
    project.detectedPort = 5173;
    project.portSource = PortSource::viteConfig;
    project.relativePath = QStringLiteral("clients/web");
    Project child = makeProject();
    child.name = QStringLiteral("child");
    project.subprojects.append(child);

    const QByteArray json = project.toJson(QJsonDocument::Indented);
    EXPECT_EQ(keysInOrder(json),
              (QStringList{QStringLiteral("id"), QStringLiteral("name"), QStringLiteral("path"),
                           QStringLiteral("type"), QStringLiteral("customCommand"),
                           QStringLiteral("port"), QStringLiteral("detectedPort"),
                           QStringLiteral("portSource"), QStringLiteral("subprojects"),
                           QStringLiteral("relativePath")}));
    const auto decoded = Project::fromJson(json);
    ASSERT_TRUE(decoded.has_value());
    EXPECT_EQ(*decoded, project);
    EXPECT_EQ(QJsonDocument::fromJson(json).object().value(QStringLiteral("portSource")).toString(),
              QStringLiteral("viteConfig"));
}

TEST(ProjectModel, APathWithHashesInItsFragmentSurvivesTheRoundTrip)
{
    // Found by fuzzing: QUrl kept the second "#" as given, and compared it unequal to the "%23"
    // the encoder writes for it.
    const QByteArray json = R"({
    "id": "6f9619ff-8b86-d011-b42d-00c04fc964ff",
    "name": "caf\u00e9 \"x\"",
    "path": "file:///home/me/My##############################################################################%20Projects/caf%C3%A9",
    "type": "static",
    "port": 8080,
    "subprojects": []
})";
    const auto decoded = Project::fromJson(json);
    ASSERT_TRUE(decoded.has_value());
    const auto again = Project::fromJson(decoded->toJson());
    ASSERT_TRUE(again.has_value());
    EXPECT_EQ(*again, *decoded);
    EXPECT_EQ(again->toJson(), decoded->toJson());
}

TEST(ProjectModel, PortsBeyondSixtyFourBitsAreNoIntegers)
{
    // Found by fuzzing: such a number was converted to an integer before the range check,
    // which is undefined.
    const QByteArray found =
        R"({"id":"6F9619FF-8B86-D011-B42D-00C04FC964FF","name":"web","path":"finamele:///",)"
        R"("type":"nodejs","port":3000333333333333333333333333333,"subprojects":[]})";
    QString error;
    EXPECT_FALSE(Project::fromJson(found, &error).has_value());
    EXPECT_EQ(error, QStringLiteral("\"port\" is not an integer"));
    for (const char* port : {"1e300", "-1e300", "9223372036854775808"}) {
        const QByteArray json = QByteArray(R"({"id":"6F9619FF-8B86-D011-B42D-00C04FC964FF",)") +
                                R"("name":"web","path":"file:///tmp/web","type":"nodejs",)" +
                                R"("port":)" + port + R"(,"subprojects":[]})";
        EXPECT_FALSE(Project::fromJson(json, &error).has_value()) << port;
        EXPECT_EQ(error, QStringLiteral("\"port\" is not an integer"));
    }
}

TEST(ProjectModel, DecodingIgnoresUnknownKeys)
{
    QJsonObject object = QJsonDocument::fromJson(makeProject().toJson()).object();
    object.insert(QStringLiteral("colour"), QStringLiteral("blue"));
    EXPECT_TRUE(Project::fromJson(object).has_value());
}

TEST(ProjectModel, DecodingRequiresEveryRequiredKey)
{
    const QJsonObject complete = QJsonDocument::fromJson(makeProject().toJson()).object();
    for (const char* key : {"id", "name", "path", "type", "port", "subprojects"}) {
        QJsonObject object = complete;
        object.remove(QLatin1String(key));
        QString error;
        EXPECT_FALSE(Project::fromJson(object, &error).has_value()) << key;
        EXPECT_TRUE(error.contains(QLatin1String(key))) << error.toStdString();
    }
}

TEST(ProjectModel, DecodingRejectsMistypedValues)
{
    const QJsonObject complete = QJsonDocument::fromJson(makeProject().toJson()).object();
    const std::pair<const char*, QJsonValue> broken[] = {
        {"id", QStringLiteral("not-a-uuid")},  {"type", QStringLiteral("cobol")},
        {"port", QStringLiteral("3000")},      {"port", 3000.5},
        {"subprojects", QJsonObject()},        {"portSource", QStringLiteral("guess")},
        {"detectedPort", QStringLiteral("x")}, {"customCommand", 1},
    };
    for (const auto& [key, value] : broken) {
        QJsonObject object = complete;
        object.insert(QLatin1String(key), value);
        EXPECT_FALSE(Project::fromJson(object).has_value()) << key;
    }
}

TEST(ProjectModel, ProjectsDifferingOnlyInIdAreNotEqual)
{
    const Project first = makeProject();
    Project second = first;
    EXPECT_EQ(first, second);
    EXPECT_EQ(qHash(first), qHash(second));
    second.id = QUuid::createUuid();
    EXPECT_NE(first, second);
}

TEST(ProjectModel, EqualityComparesEveryField)
{
    const Project base = makeProject();
    auto differs = [&](const std::function<void(Project&)>& change) {
        Project other = base;
        change(other);
        return other != base;
    };
    EXPECT_TRUE(differs([](Project& p) { p.name = QStringLiteral("x"); }));
    EXPECT_TRUE(differs([](Project& p) { p.path = QUrl::fromLocalFile(QStringLiteral("/x")); }));
    EXPECT_TRUE(differs([](Project& p) { p.type = ProjectType::go; }));
    EXPECT_TRUE(differs([](Project& p) { p.customCommand = QString(); }));
    EXPECT_TRUE(differs([](Project& p) { p.port = 1; }));
    EXPECT_TRUE(differs([](Project& p) { p.detectedPort = 3000; }));
    EXPECT_TRUE(differs([](Project& p) { p.portSource = PortSource::manual; }));
    EXPECT_TRUE(differs([](Project& p) { p.subprojects.append(p); }));
    EXPECT_TRUE(differs([](Project& p) { p.relativePath = QString(); }));
}
