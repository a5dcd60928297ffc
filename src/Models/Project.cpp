#include "Models/Project.h"

#include <QHash>
#include <QJsonArray>
#include <QJsonValue>

#include <climits>
#include <cmath>
#include <utility>

namespace {

QByteArray encodeString(const QString& text)
{
    // Let Qt do the escaping: encode a one-element array and take the element back out.
    const QByteArray array = QJsonDocument(QJsonArray{text}).toJson(QJsonDocument::Compact);
    return array.mid(1, array.size() - 2);
}

class OrderedWriter
{
public:
    explicit OrderedWriter(QJsonDocument::JsonFormat format, bool withEffectiveCommand = false)
        : indented(format == QJsonDocument::Indented), withEffectiveCommand(withEffectiveCommand)
    {}

    void writeList(const QList<Project>& projects, int level)
    {
        if (projects.isEmpty()) {
            out += "[]";
            return;
        }
        out += '[';
        for (qsizetype i = 0; i < projects.size(); ++i) {
            if (i > 0) {
                out += ',';
            }
            newline(level + 1);
            writeProject(projects.at(i), level + 1);
        }
        newline(level);
        out += ']';
    }

    void writeProject(const Project& project, int level)
    {
        out += '{';
        first = true;
        key("id", level);
        out += encodeString(project.id.toString(QUuid::WithoutBraces).toUpper());
        key("name", level);
        out += encodeString(project.name);
        key("path", level);
        out += encodeString(project.path.toString(QUrl::FullyEncoded));
        key("type", level);
        out += encodeString(project.type.rawValue());
        if (project.customCommand) {
            key("customCommand", level);
            out += encodeString(*project.customCommand);
        }
        key("port", level);
        out += QByteArray::number(project.port);
        if (project.detectedPort) {
            key("detectedPort", level);
            out += QByteArray::number(*project.detectedPort);
        }
        if (project.portSource) {
            key("portSource", level);
            out += encodeString(project.portSource->rawValue());
        }
        key("subprojects", level);
        writeList(project.subprojects, level + 1);
        if (project.relativePath) {
            key("relativePath", level);
            out += encodeString(*project.relativePath);
        }
        if (project.framework) {
            key("framework", level);
            out += encodeString(*project.framework);
        }
        if (project.frameworkCommand) {
            key("frameworkCommand", level);
            out += encodeString(*project.frameworkCommand);
        }
        if (withEffectiveCommand) {
            key("effectiveCommand", level);
            out += encodeString(project.effectiveCommand());
        }
        newline(level);
        out += '}';
    }

    QByteArray out;

private:
    void key(const char* name, int level)
    {
        if (!first) {
            out += ',';
        }
        first = false;
        newline(level + 1);
        out += '"';
        out += name;
        out += indented ? "\": " : "\":";
    }

    void newline(int level)
    {
        if (indented) {
            out += '\n';
            out += QByteArray(level * 4, ' ');
        }
    }

    bool indented;
    bool withEffectiveCommand;
    bool first = true;
};

bool fail(QString* error, const QString& reason)
{
    if (error) {
        *error = reason;
    }
    return false;
}

bool readInt(const QJsonValue& value, int* out)
{
    if (!value.isDouble()) {
        return false;
    }
    // In range before any conversion: converting a number beyond 64 bits is undefined.
    const double number = value.toDouble();
    if (!(number >= INT_MIN && number <= INT_MAX) || std::trunc(number) != number) {
        return false;
    }
    *out = static_cast<int>(number);
    return true;
}

bool decodeInto(const QJsonObject& object, Project* project, QString* error)
{
    static const char* required[] = {"id", "name", "path", "type", "port", "subprojects"};
    for (const char* name : required) {
        if (!object.contains(QLatin1String(name))) {
            return fail(error, QStringLiteral("missing key \"%1\"").arg(QLatin1String(name)));
        }
    }

    const QJsonValue id = object.value(QLatin1String("id"));
    project->id = QUuid::fromString(id.toString());
    if (!id.isString() || project->id.isNull()) {
        return fail(error, QStringLiteral("\"id\" is not a UUID"));
    }

    const QJsonValue name = object.value(QLatin1String("name"));
    if (!name.isString()) {
        return fail(error, QStringLiteral("\"name\" is not a string"));
    }
    project->name = name.toString();

    const QJsonValue path = object.value(QLatin1String("path"));
    const QUrl url(path.toString(), QUrl::StrictMode);
    if (!path.isString() || !url.isValid() || url.isRelative()) {
        return fail(error, QStringLiteral("\"path\" is not a URL"));
    }
    // Kept as the encoder writes it back, so that a decoded project equals its round trip: QUrl
    // keeps a "#" inside the fragment as given, but unequal to the "%23" it is written as.
    project->path = QUrl(url.toString(QUrl::FullyEncoded), QUrl::StrictMode);

    const QJsonValue type = object.value(QLatin1String("type"));
    const auto projectType = ProjectType::fromRawValue(type.toString());
    if (!type.isString() || !projectType) {
        return fail(error, QStringLiteral("\"type\" is not a project type"));
    }
    project->type = *projectType;

    if (object.contains(QLatin1String("customCommand"))) {
        const QJsonValue command = object.value(QLatin1String("customCommand"));
        if (!command.isString()) {
            return fail(error, QStringLiteral("\"customCommand\" is not a string"));
        }
        project->customCommand = command.toString();
    }

    if (!readInt(object.value(QLatin1String("port")), &project->port)) {
        return fail(error, QStringLiteral("\"port\" is not an integer"));
    }

    if (object.contains(QLatin1String("detectedPort"))) {
        int detected = 0;
        if (!readInt(object.value(QLatin1String("detectedPort")), &detected)) {
            return fail(error, QStringLiteral("\"detectedPort\" is not an integer"));
        }
        project->detectedPort = detected;
    }

    if (object.contains(QLatin1String("portSource"))) {
        const QJsonValue source = object.value(QLatin1String("portSource"));
        const auto portSource = PortSource::fromRawValue(source.toString());
        if (!source.isString() || !portSource) {
            return fail(error, QStringLiteral("\"portSource\" is not a port source"));
        }
        project->portSource = *portSource;
    }

    const QJsonValue subprojects = object.value(QLatin1String("subprojects"));
    if (!subprojects.isArray()) {
        return fail(error, QStringLiteral("\"subprojects\" is not an array"));
    }
    for (const QJsonValue& element : subprojects.toArray()) {
        if (!element.isObject()) {
            return fail(error, QStringLiteral("a sub-project is not an object"));
        }
        Project subproject;
        if (!decodeInto(element.toObject(), &subproject, error)) {
            return false;
        }
        project->subprojects.append(subproject);
    }

    if (object.contains(QLatin1String("relativePath"))) {
        const QJsonValue relative = object.value(QLatin1String("relativePath"));
        if (!relative.isString()) {
            return fail(error, QStringLiteral("\"relativePath\" is not a string"));
        }
        project->relativePath = relative.toString();
    }

    for (auto [key, field] : {std::pair{"framework", &project->framework},
                              std::pair{"frameworkCommand", &project->frameworkCommand}}) {
        if (object.contains(QLatin1String(key))) {
            const QJsonValue value = object.value(QLatin1String(key));
            if (!value.isString()) {
                return fail(error,
                            QStringLiteral("\"%1\" is not a string").arg(QLatin1String(key)));
            }
            *field = value.toString();
        }
    }
    return true;
}

} // namespace

QString Project::effectiveCommand() const
{
    if (customCommand) {
        return *customCommand;
    }
    return frameworkCommand ? *frameworkCommand : type.defaultCommand();
}

QByteArray Project::toJson(QJsonDocument::JsonFormat format) const
{
    OrderedWriter writer(format);
    writer.writeProject(*this, 0);
    return writer.out;
}

QByteArray Project::toJson(const QList<Project>& projects, QJsonDocument::JsonFormat format)
{
    OrderedWriter writer(format);
    writer.writeList(projects, 0);
    return writer.out;
}

QByteArray Project::toReadableJson(const QList<Project>& projects)
{
    OrderedWriter writer(QJsonDocument::Indented, true);
    writer.writeList(projects, 0);
    return writer.out;
}

std::optional<Project> Project::fromJson(const QJsonObject& object, QString* error)
{
    Project project;
    if (!decodeInto(object, &project, error)) {
        return std::nullopt;
    }
    return project;
}

std::optional<Project> Project::fromJson(const QByteArray& json, QString* error)
{
    QJsonParseError parseError;
    const QJsonDocument document = QJsonDocument::fromJson(json, &parseError);
    if (parseError.error != QJsonParseError::NoError) {
        if (error) {
            *error = parseError.errorString();
        }
        return std::nullopt;
    }
    if (!document.isObject()) {
        if (error) {
            *error = QStringLiteral("not a JSON object");
        }
        return std::nullopt;
    }
    return fromJson(document.object(), error);
}

bool Project::operator==(const Project& other) const
{
    return id == other.id && name == other.name && path == other.path && type == other.type &&
           customCommand == other.customCommand && port == other.port &&
           detectedPort == other.detectedPort && portSource == other.portSource &&
           subprojects == other.subprojects && relativePath == other.relativePath &&
           framework == other.framework && frameworkCommand == other.frameworkCommand;
}

namespace {

template <typename T, typename HashFn>
size_t hashOptional(size_t seed, const std::optional<T>& value, HashFn hashValue)
{
    seed = qHashMulti(seed, value.has_value());
    return value ? hashValue(seed, *value) : seed;
}

} // namespace

size_t qHash(const Project& project, size_t seed)
{
    seed = qHashMulti(seed, project.id, project.name, project.path,
                      static_cast<int>(project.type.operator ProjectType::Value()));
    seed = hashOptional(seed, project.customCommand,
                        [](size_t s, const QString& v) { return qHashMulti(s, v); });
    seed = qHashMulti(seed, project.port);
    seed =
        hashOptional(seed, project.detectedPort, [](size_t s, int v) { return qHashMulti(s, v); });
    seed = hashOptional(seed, project.portSource, [](size_t s, const PortSource& v) {
        return qHashMulti(s, static_cast<int>(v.operator PortSource::Value()));
    });
    for (const Project& subproject : project.subprojects) {
        seed = qHash(subproject, seed);
    }
    const auto hashText = [](size_t s, const QString& v) {
        return qHashMulti(s, v);
    };
    seed = hashOptional(seed, project.relativePath, hashText);
    seed = hashOptional(seed, project.framework, hashText);
    return hashOptional(seed, project.frameworkCommand, hashText);
}
