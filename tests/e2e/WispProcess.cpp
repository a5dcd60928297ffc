#include "WispProcess.h"

#include "support/TestSupport.h"

#include <QDir>

#include <cstdio>

using TestSupport::waitUntil;

WispProcess::WispProcess(const QProcessEnvironment& environment, const QStringList& arguments)
{
    clock.start();
    process.setProcessEnvironment(environment);
    process.setStandardOutputFile(QProcess::nullDevice());
    QObject::connect(&process, &QProcess::readyReadStandardError, [this] { read(); });
    process.start(executablePath(), arguments);
}

WispProcess::~WispProcess()
{
    stop();
}

QString WispProcess::executablePath()
{
    return QStringLiteral(WISP_BIN_DIR "/wisp");
}

QProcessEnvironment WispProcess::environment(const QString& standIns, const QString& configHome,
                                             const QString& temporaryFolder, const QString& records)
{
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("PATH"),
                       standIns + QLatin1Char(':') + environment.value(QStringLiteral("PATH")));
    environment.insert(QStringLiteral("XDG_CONFIG_HOME"), configHome);
    environment.insert(QStringLiteral("TMPDIR"), temporaryFolder);
    environment.insert(QStringLiteral("XDG_STATE_HOME"), temporaryFolder);
    environment.insert(QStringLiteral("WISP_STANDIN_RECORD_DIR"), records);
    // The login shell that wisp asks for the servers' environment reads only this home's rc files.
    const QString home = QDir(temporaryFolder).filePath(QStringLiteral("home"));
    QDir().mkpath(home);
    environment.insert(QStringLiteral("HOME"), home);
    environment.insert(QStringLiteral("SHELL"), QStringLiteral("/bin/sh"));
    for (const QString& name :
         {QStringLiteral("ZDOTDIR"), QStringLiteral("ENV"), QStringLiteral("BASH_ENV")}) {
        environment.remove(name);
    }
    skipLeakCheck(environment);
    return environment;
}

void WispProcess::skipLeakCheck(QProcessEnvironment& environment)
{
    const QString options = environment.value(QStringLiteral("ASAN_OPTIONS"));
    environment.insert(QStringLiteral("ASAN_OPTIONS"),
                       options.isEmpty() ? QStringLiteral("detect_leaks=0")
                                         : options + QStringLiteral(":detect_leaks=0"));
}

void WispProcess::stopAndReport(bool testFailed)
{
    stop();
    if (testFailed) {
        std::fprintf(stderr, "--- wisp log ---\n%s\n", qPrintable(log()));
    }
}

void WispProcess::stop()
{
    if (process.state() == QProcess::NotRunning) {
        return;
    }
    process.terminate();
    if (!process.waitForFinished(5000)) {
        process.kill();
        process.waitForFinished(5000);
    }
}

bool WispProcess::waitForLine(const QString& line, std::chrono::milliseconds timeout)
{
    return waitUntil([&] { return lines.contains(line); }, timeout);
}

bool WispProcess::waitForLineStartingWith(const QString& prefix, std::chrono::milliseconds timeout)
{
    return waitUntil([&] { return indexStartingWith(prefix) >= 0; }, timeout);
}

qsizetype WispProcess::indexStartingWith(const QString& prefix) const
{
    for (qsizetype index = 0; index < lines.size(); ++index) {
        if (lines.at(index).startsWith(prefix)) {
            return index;
        }
    }
    return -1;
}

qsizetype WispProcess::waitForLineFrom(qsizetype from, const QString& line,
                                       std::chrono::milliseconds timeout)
{
    qsizetype found = -1;
    waitUntil(
        [&] {
            found = lines.indexOf(line, from);
            return found >= 0;
        },
        timeout);
    return found;
}

bool WispProcess::waitForExit(std::chrono::milliseconds timeout)
{
    return waitUntil([&] { return process.state() == QProcess::NotRunning; }, timeout);
}

void WispProcess::read()
{
    partial += process.readAllStandardError();
    qsizetype end = 0;
    while ((end = partial.indexOf('\n')) >= 0) {
        lines.append(QString::fromUtf8(partial.left(end)));
        arrivals.append(clock.elapsed());
        partial.remove(0, end + 1);
    }
}
