#include "Utilities/ProjectToolchains.h"

#include "Utilities/Log.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QList>
#include <QRegularExpression>

#include <optional>

namespace {

const QString pathName = QStringLiteral("PATH");

void prepend(QProcessEnvironment& environment, const QString& folder)
{
    const QString path = environment.value(pathName);
    environment.insert(pathName, path.isEmpty() ? folder : folder + QLatin1Char(':') + path);
}

// --- Python ---------------------------------------------------------------------------------

// What `source .venv/bin/activate` does to the environment.
void applyVirtualEnvironment(const QString& folder, QProcessEnvironment& environment)
{
    for (const QString& name : {QStringLiteral(".venv"), QStringLiteral("venv")}) {
        const QString root = QDir(folder).filePath(name);
        if (!QFileInfo::exists(QDir(root).filePath(QStringLiteral("bin/python")))) {
            continue;
        }
        prepend(environment, QDir(root).filePath(QStringLiteral("bin")));
        environment.insert(QStringLiteral("VIRTUAL_ENV"), root);
        environment.remove(QStringLiteral("PYTHONHOME"));
        Log::line(QStringLiteral(
                      "✅ [ProjectToolchains] Python virtual environment %1 comes first on PATH")
                      .arg(root));
        return;
    }
}

// --- Node -----------------------------------------------------------------------------------

struct VersionFile
{
    QString name;
    QString wanted;
};

// The first version named by `.nvmrc` or `.node-version`: its first line with anything but a
// comment on it.
std::optional<VersionFile> nodeVersionFile(const QString& folder)
{
    for (const QString& name : {QStringLiteral(".nvmrc"), QStringLiteral(".node-version")}) {
        QFile file(QDir(folder).filePath(name));
        if (!file.open(QIODevice::ReadOnly)) {
            continue;
        }
        // A version file is one short line; a huge one is not read whole.
        const QString text = QString::fromUtf8(file.read(4096));
        for (const QString& line : text.split(QLatin1Char('\n'))) {
            const QString wanted = line.section(QLatin1Char('#'), 0, 0).trimmed();
            if (!wanted.isEmpty()) {
                return VersionFile{name, wanted};
            }
        }
    }
    return std::nullopt;
}

QString homeOf(const QProcessEnvironment& environment)
{
    const QString home = environment.value(QStringLiteral("HOME"));
    return home.isEmpty() ? QDir::homePath() : home;
}

QString nvmDirectory(const QProcessEnvironment& environment)
{
    const QString configured = environment.value(QStringLiteral("NVM_DIR"));
    return configured.isEmpty() ? QDir(homeOf(environment)).filePath(QStringLiteral(".nvm"))
                                : configured;
}

// FNM_DIR, else every place fnm has used by default: its data folder on Linux and on macOS, and
// its old one.
QStringList fnmDirectories(const QProcessEnvironment& environment)
{
    const QString configured = environment.value(QStringLiteral("FNM_DIR"));
    if (!configured.isEmpty()) {
        return {configured};
    }
    const QDir home(homeOf(environment));
    const QString dataHome = environment.value(QStringLiteral("XDG_DATA_HOME"));
    return {QDir(dataHome.isEmpty() ? home.filePath(QStringLiteral(".local/share")) : dataHome)
                .filePath(QStringLiteral("fnm")),
            home.filePath(QStringLiteral("Library/Application Support/fnm")),
            home.filePath(QStringLiteral(".fnm"))};
}

struct Installed
{
    QString version; // "v20.11.1"
    QString bin;
};

QList<Installed> installedVersions(const QProcessEnvironment& environment)
{
    QList<Installed> installed;
    const QDir nvm(QDir(nvmDirectory(environment)).filePath(QStringLiteral("versions/node")));
    for (const QString& version : nvm.entryList(QDir::Dirs | QDir::NoDotAndDotDot)) {
        installed.append({version, nvm.filePath(version + QStringLiteral("/bin"))});
    }
    for (const QString& root : fnmDirectories(environment)) {
        const QDir fnm(QDir(root).filePath(QStringLiteral("node-versions")));
        for (const QString& version : fnm.entryList(QDir::Dirs | QDir::NoDotAndDotDot)) {
            installed.append(
                {version, fnm.filePath(version + QStringLiteral("/installation/bin"))});
        }
    }
    return installed;
}

// Numbers of "v20.11.1" or "20.11"; empty when it is no version number.
QList<int> versionNumbers(QString text)
{
    static const QRegularExpression pattern(
        QStringLiteral("^[vV]?(\\d+)(?:\\.(\\d+))?(?:\\.(\\d+))?$"));
    const QRegularExpressionMatch match = pattern.match(text.trimmed());
    QList<int> numbers;
    if (!match.hasMatch()) {
        return numbers;
    }
    for (int group = 1; group <= 3 && match.hasCaptured(group); ++group) {
        numbers.append(match.captured(group).toInt());
    }
    return numbers;
}

// What an nvm alias (default, lts/*, lts/iron, a name of the user's own) stands for, followed
// through nvm's alias folder; `node` and `stable` are the newest installed version.
QString followAlias(const QString& wanted, const QProcessEnvironment& environment)
{
    QString current = wanted;
    // Aliases may name aliases; a loop among them ends here.
    for (int step = 0; step < 10; ++step) {
        if (!versionNumbers(current).isEmpty() || current == QLatin1String("node") ||
            current == QLatin1String("stable")) {
            return current;
        }
        if (current.contains(QLatin1String(".."))) {
            return QString();
        }
        QFile alias(QDir(nvmDirectory(environment)).filePath(QStringLiteral("alias/") + current));
        if (!alias.open(QIODevice::ReadOnly)) {
            return QString();
        }
        current = QString::fromUtf8(alias.read(4096)).section(QLatin1Char('\n'), 0, 0).trimmed();
    }
    return QString();
}

// The greatest of `versions` whose numbers begin with `prefix` (any, when it is empty).
QString newestWithPrefix(const QList<int>& prefix, const QStringList& versions)
{
    QString chosen;
    QList<int> best;
    for (const QString& version : versions) {
        const QList<int> numbers = versionNumbers(version);
        if (numbers.isEmpty() || numbers.size() < prefix.size() ||
            numbers.mid(0, prefix.size()) != prefix) {
            continue;
        }
        if (chosen.isEmpty() || numbers > best) {
            best = numbers;
            chosen = version;
        }
    }
    return chosen;
}

void applyNodeVersion(const QString& folder, QProcessEnvironment& environment)
{
    const std::optional<VersionFile> file = nodeVersionFile(folder);
    // "system" asks for the Node on PATH.
    if (!file || file->wanted == QLatin1String("system")) {
        return;
    }
    const QList<Installed> installed = installedVersions(environment);
    QStringList versions;
    for (const Installed& entry : installed) {
        versions.append(entry.version);
    }
    const QString target = followAlias(file->wanted, environment);
    const bool anyVersion = target == QLatin1String("node") || target == QLatin1String("stable");
    const QString chosenVersion =
        anyVersion
            ? newestWithPrefix({}, versions)
            : (target.isEmpty() ? QString() : ProjectToolchains::newestMatch(target, versions));
    if (chosenVersion.isEmpty()) {
        Log::line(QStringLiteral("⚠️ [ProjectToolchains] Node %1 from %2 is not installed with "
                                 "nvm or fnm; the PATH stays as it is")
                      .arg(file->wanted, file->name));
        return;
    }
    for (const Installed& entry : installed) {
        if (entry.version == chosenVersion) {
            prepend(environment, entry.bin);
            Log::line(
                QStringLiteral("✅ [ProjectToolchains] Node %1 from %2: %3 comes first on PATH")
                    .arg(entry.version, file->name, entry.bin));
            return;
        }
    }
}

} // namespace

QString ProjectToolchains::newestMatch(const QString& wanted, const QStringList& installed)
{
    const QList<int> prefix = versionNumbers(wanted);
    return prefix.isEmpty() ? QString() : newestWithPrefix(prefix, installed);
}

QProcessEnvironment ProjectToolchains::apply(const QString& folder, QProcessEnvironment environment)
{
    applyNodeVersion(folder, environment);
    // Last, so that it comes first: an activated virtual environment wins over everything.
    applyVirtualEnvironment(folder, environment);
    return environment;
}
