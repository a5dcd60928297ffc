#include "NpmPackageCache.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QStandardPaths>

namespace {

// Marks a folder whose install ran to its end; a folder without it is an interrupted install.
const QString completeMarker = QStringLiteral(".complete");

// "@11ty/eleventy" 2.0.1 -> "_11ty-eleventy-2.0.1"
QString keyOf(const QString& name, const QString& version)
{
    QString key = name + QLatin1Char('-') + version;
    key.replace(QLatin1Char('@'), QLatin1Char('_')).replace(QLatin1Char('/'), QLatin1Char('-'));
    return key;
}

struct NpmRun
{
    bool finished = false;
    int exitCode = -1;
    QString output;
};

NpmRun runNpm(const QStringList& arguments, const QString& folder,
              std::chrono::milliseconds deadline)
{
    QProcess npm;
    npm.setProgram(QStringLiteral("/usr/bin/npm"));
    npm.setArguments(arguments);
    npm.setWorkingDirectory(folder);
    npm.setProcessChannelMode(QProcess::MergedChannels);
    npm.setStandardInputFile(QProcess::nullDevice());
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    // npm's own scratch files stay in the folder it installs into, not in the tests' TMPDIR.
    environment.insert(QStringLiteral("TMPDIR"), folder);
    npm.setProcessEnvironment(environment);
    npm.start();
    NpmRun run;
    run.finished =
        npm.waitForStarted(30000) && npm.waitForFinished(static_cast<int>(deadline.count()));
    if (!run.finished && npm.state() != QProcess::NotRunning) {
        npm.kill();
        npm.waitForFinished(10000);
    }
    run.exitCode = npm.exitStatus() == QProcess::NormalExit ? npm.exitCode() : -1;
    run.output = QString::fromUtf8(npm.readAll());
    return run;
}

} // namespace

QString NpmPackageCache::root()
{
    // In the build tree: a test writes nowhere else outside its own temporary folders.
    return QDir(QStringLiteral(WISP_BIN_DIR)).filePath(QStringLiteral("../test-npm-cache"));
}

QMap<QString, NpmPackageCache::Outcome>& NpmPackageCache::known()
{
    static QMap<QString, Outcome> outcomes;
    return outcomes;
}

NpmPackageCache::Outcome NpmPackageCache::folderOf(const QString& name, const QString& version,
                                                   std::chrono::milliseconds deadline)
{
    const QString key = keyOf(name, version);
    if (known().contains(key)) {
        return known().value(key);
    }
    const QString folder = QDir(root()).filePath(key);
    Outcome outcome;
    if (QFileInfo::exists(QDir(folder).filePath(completeMarker))) {
        outcome.folder = folder;
    } else {
        outcome = install(name, version, folder, deadline);
    }
    known().insert(key, outcome);
    return outcome;
}

NpmPackageCache::Outcome NpmPackageCache::install(const QString& name, const QString& version,
                                                  const QString& folder,
                                                  std::chrono::milliseconds deadline)
{
    Outcome outcome;
    // Installed beside its final place and renamed when complete, so that an interrupted or
    // concurrent install never leaves a half folder where a complete one is expected.
    const QString staging =
        folder + QStringLiteral(".partial-%1").arg(QCoreApplication::applicationPid());
    QDir(staging).removeRecursively();
    if (!QDir().mkpath(staging)) {
        outcome.problem = QStringLiteral("cannot make %1").arg(staging);
        return outcome;
    }
    QFile manifest(QDir(staging).filePath(QStringLiteral("package.json")));
    if (!manifest.open(QIODevice::WriteOnly)) {
        outcome.problem = QStringLiteral("cannot write %1").arg(manifest.fileName());
        return outcome;
    }
    manifest.write(QStringLiteral(R"({"private": true, "dependencies": {"%1": "%2"}})")
                       .arg(name, version)
                       .toUtf8() +
                   '\n');
    manifest.close();

    const NpmRun installRun =
        runNpm({QStringLiteral("install"), QStringLiteral("--no-audit"),
                QStringLiteral("--no-fund"), QStringLiteral("--loglevel=error")},
               staging, deadline);
    if (installRun.finished && installRun.exitCode == 0) {
        QFile marker(QDir(staging).filePath(completeMarker));
        if (marker.open(QIODevice::WriteOnly)) {
            marker.close();
            // Another run may have finished the same install meanwhile: then its folder wins.
            if (QDir().rename(staging, folder) ||
                QFileInfo::exists(QDir(folder).filePath(completeMarker))) {
                QDir(staging).removeRecursively();
                outcome.folder = folder;
                return outcome;
            }
        }
        QDir(staging).removeRecursively();
        outcome.problem =
            QStringLiteral("cannot move the install of %1@%2 into %3").arg(name, version, folder);
        return outcome;
    }
    QDir(staging).removeRecursively();
    outcome.problem = installRun.finished
                          ? QStringLiteral("npm install %1@%2 failed: %3")
                                .arg(name, version, installRun.output.right(2000))
                          : QStringLiteral("npm install %1@%2 did not end within %3 s")
                                .arg(name, version)
                                .arg(deadline.count() / 1000);
    // Told apart from a broken package: can the registry be reached at all?
    const NpmRun ping =
        runNpm({QStringLiteral("ping")}, QDir::tempPath(), std::chrono::seconds(60));
    outcome.registryUnreachable = !ping.finished || ping.exitCode != 0;
    return outcome;
}
