#include "Utilities/NodeDependencies.h"

#include "Utilities/ProjectFiles.h"

#include <QDir>
#include <QFileInfo>
#include <QJsonObject>

namespace {

bool declares(const QJsonObject& package, const QString& key)
{
    const QJsonValue value = package.value(key);
    return value.isObject() && !value.toObject().isEmpty();
}

} // namespace

bool NodeDependencies::missing(const QString& folder)
{
    const QDir dir(folder);
    const std::optional<QJsonObject> package =
        ProjectFiles::readJsonObject(dir.filePath(QStringLiteral("package.json")));
    if (!package) {
        return false;
    }
    if (!declares(*package, QStringLiteral("dependencies")) &&
        !declares(*package, QStringLiteral("devDependencies"))) {
        return false;
    }
    // A link to an installed folder counts as installed.
    return !QFileInfo(dir.filePath(QStringLiteral("node_modules"))).isDir();
}

QStringList NodeDependencies::installCommand(const QString& folder)
{
    const QDir dir(folder);
    const auto has = [&dir](const char* name) {
        return QFileInfo::exists(dir.filePath(QString::fromLatin1(name)));
    };
    QString manager = QStringLiteral("npm");
    if (has("bun.lockb") || has("bun.lock")) {
        manager = QStringLiteral("bun");
    } else if (has("pnpm-lock.yaml")) {
        manager = QStringLiteral("pnpm");
    } else if (has("yarn.lock")) {
        manager = QStringLiteral("yarn");
    }
    return {manager, QStringLiteral("install")};
}
