#include "Managers/ProjectOverrides.h"

#include "Managers/SettingsManager.h"
#include "Utilities/Log.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <QJsonParseError>
#include <QJsonValue>
#include <QSet>

#include <cmath>

namespace {

const QString commandsKey = QStringLiteral("projectCommands");
const QString portsKey = QStringLiteral("projectPorts");

void logIgnored(const QString& text)
{
    Log::line(QStringLiteral("⚠️ [ProjectOverrides] %1").arg(text));
}

// Says each problem once, however often the store is read again.
void report(QSet<QString>* reported, const QString& text)
{
    if (reported && !reported->contains(text)) {
        reported->insert(text);
        logIgnored(text);
    }
}

// The stored object, or an empty one when the bytes are not a JSON object (reported unless
// `reported` is null).
QJsonObject readObject(const std::optional<QByteArray>& raw, const QString& key,
                       QSet<QString>* reported)
{
    if (!raw) {
        return {};
    }
    QJsonParseError error;
    const QJsonDocument document = QJsonDocument::fromJson(*raw, &error);
    if (error.error != QJsonParseError::NoError) {
        report(reported, QStringLiteral("Ignoring \"%1\": not JSON").arg(key));
        return {};
    }
    if (!document.isObject()) {
        report(reported, QStringLiteral("Ignoring \"%1\": not a JSON object").arg(key));
        return {};
    }
    return document.object();
}

std::optional<int> portValue(const QJsonValue& value)
{
    if (!value.isDouble()) {
        return std::nullopt;
    }
    const double number = value.toDouble();
    if (std::trunc(number) != number || number < 1 || number > 65535) {
        return std::nullopt;
    }
    return static_cast<int>(number);
}

QByteArray encode(const QJsonObject& object)
{
    return QJsonDocument(object).toJson(QJsonDocument::Compact);
}

template <typename T>
QSet<QString> differingKeys(const QHash<QString, T>& before, const QHash<QString, T>& after)
{
    QSet<QString> keys;
    for (auto it = before.cbegin(); it != before.cend(); ++it) {
        if (after.value(it.key()) != it.value() || !after.contains(it.key())) {
            keys.insert(it.key());
        }
    }
    for (auto it = after.cbegin(); it != after.cend(); ++it) {
        if (!before.contains(it.key())) {
            keys.insert(it.key());
        }
    }
    return keys;
}

} // namespace

ProjectOverrides::ProjectOverrides(SettingsManager* settings, QObject* parent)
    : QObject(parent), settings(settings)
{
    // Read once now, so that the first change can be told from what was stored before it.
    commands();
    ports();
    connect(settings, &SettingsManager::changed, this, &ProjectOverrides::settingsChanged);
}

std::optional<QString> ProjectOverrides::command(const QString& folderPath) const
{
    const auto& entries = commands();
    const auto it = entries.constFind(folderPath);
    if (it == entries.cend()) {
        return std::nullopt;
    }
    return *it;
}

std::optional<int> ProjectOverrides::port(const QString& folderPath) const
{
    const auto& entries = ports();
    const auto it = entries.constFind(folderPath);
    if (it == entries.cend()) {
        return std::nullopt;
    }
    return *it;
}

void ProjectOverrides::setCommand(const QString& folderPath, const std::optional<QString>& command)
{
    const std::optional<QString> value =
        command && !command->trimmed().isEmpty() ? command : std::nullopt;
    if (this->command(folderPath) == value) {
        return;
    }
    // Built from the stored object, not from the usable entries, so that nothing else is lost.
    QJsonObject object = readObject(settings->projectCommands(), commandsKey, nullptr);
    if (value) {
        object.insert(folderPath, *value);
    } else {
        object.remove(folderPath);
    }
    settings->setProjectCommands(object.isEmpty() ? std::nullopt
                                                  : std::optional<QByteArray>(encode(object)));
}

void ProjectOverrides::setPort(const QString& folderPath, const std::optional<int>& port)
{
    if (port && !isValidPort(*port)) {
        logIgnored(QStringLiteral("Not setting port %1 for %2: a port is 1 ... 65535")
                       .arg(*port)
                       .arg(folderPath));
        return;
    }
    if (this->port(folderPath) == port) {
        return;
    }
    QJsonObject object = readObject(settings->projectPorts(), portsKey, nullptr);
    if (port) {
        object.insert(folderPath, *port);
    } else {
        object.remove(folderPath);
    }
    settings->setProjectPorts(object.isEmpty() ? std::nullopt
                                               : std::optional<QByteArray>(encode(object)));
}

Project ProjectOverrides::applied(Project project) const
{
    const QString folder = project.folderPath();
    if (const auto overridden = command(folder)) {
        project.customCommand = *overridden;
    }
    if (const auto overridden = port(folder)) {
        project.port = *overridden;
        project.detectedPort = *overridden;
        project.portSource = PortSource::manual;
    }
    for (Project& subproject : project.subprojects) {
        subproject = applied(std::move(subproject));
    }
    return project;
}

const QHash<QString, QString>& ProjectOverrides::commands() const
{
    const std::optional<QByteArray> raw = settings->projectCommands();
    if (commandCache.parsed && commandCache.raw == raw) {
        return commandCache.entries;
    }
    commandCache = {raw, true, {}};
    const QJsonObject object = readObject(raw, commandsKey, &reported);
    for (auto it = object.begin(); it != object.end(); ++it) {
        if (!it.value().isString()) {
            report(&reported,
                   QStringLiteral("Ignoring the \"projectCommands\" entry for %1: not a string")
                       .arg(it.key()));
            continue;
        }
        if (it.value().toString().trimmed().isEmpty()) {
            report(&reported,
                   QStringLiteral("Ignoring the \"projectCommands\" entry for %1: empty command")
                       .arg(it.key()));
            continue;
        }
        commandCache.entries.insert(it.key(), it.value().toString());
    }
    return commandCache.entries;
}

const QHash<QString, int>& ProjectOverrides::ports() const
{
    const std::optional<QByteArray> raw = settings->projectPorts();
    if (portCache.parsed && portCache.raw == raw) {
        return portCache.entries;
    }
    portCache = {raw, true, {}};
    const QJsonObject object = readObject(raw, portsKey, &reported);
    for (auto it = object.begin(); it != object.end(); ++it) {
        const auto value = portValue(it.value());
        if (!value) {
            report(&reported, QStringLiteral("Ignoring the \"projectPorts\" entry for %1: not a "
                                             "port from 1 to 65535")
                                  .arg(it.key()));
            continue;
        }
        portCache.entries.insert(it.key(), *value);
    }
    return portCache.entries;
}

void ProjectOverrides::settingsChanged(const QString& key)
{
    QSet<QString> folders;
    if (key == commandsKey) {
        const QHash<QString, QString> before = commandCache.entries;
        folders = differingKeys(before, commands());
    } else if (key == portsKey) {
        const QHash<QString, int> before = portCache.entries;
        folders = differingKeys(before, ports());
    } else {
        return;
    }
    QStringList sorted(folders.cbegin(), folders.cend());
    sorted.sort();
    for (const QString& folder : sorted) {
        Q_EMIT changed(folder);
    }
}
