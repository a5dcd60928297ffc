#include "Platform/LoginShellEnvironment.h"

#include "Platform/SystemTools.h"
#include "Utilities/ChildProcess.h"
#include "Utilities/Log.h"

#include <QDir>
#include <QElapsedTimer>
#include <QFileInfo>
#include <QProcess>
#include <QUuid>

#include <pwd.h>
#include <unistd.h>

namespace {

// "10", "0.25": a deadline in seconds as the log gives it.
QString inSeconds(std::chrono::milliseconds deadline)
{
    return QString::number(static_cast<double>(deadline.count()) / 1000.0);
}

QString fallbackNote()
{
    return QStringLiteral("; servers get the fixed PATH");
}

} // namespace

std::shared_ptr<ShellEnvironment> ShellEnvironment::makeLoginShellEnvironment()
{
    return std::make_shared<LoginShellEnvironment>();
}

LoginShellEnvironment::LoginShellEnvironment(QProcessEnvironment environment,
                                             std::chrono::milliseconds deadline)
    : startEnvironment(std::move(environment)), shellDeadline(deadline)
{}

QString LoginShellEnvironment::shell() const
{
    const QString fromEnvironment = startEnvironment.value(QStringLiteral("SHELL"));
    if (!fromEnvironment.isEmpty()) {
        return fromEnvironment;
    }
    // An app started by the desktop rather than a terminal may have no SHELL at all.
    if (const passwd* account = ::getpwuid(::getuid());
        account && account->pw_shell && account->pw_shell[0] != '\0') {
        return QString::fromLocal8Bit(account->pw_shell);
    }
    // What the password database means by an empty shell field.
    return QStringLiteral("/bin/sh");
}

QCoro::Task<std::optional<QProcessEnvironment>> LoginShellEnvironment::resolve()
{
    // Everything the wait needs is copied first: the source may go away meanwhile.
    const QString program = shell();
    const std::chrono::milliseconds deadline = shellDeadline;
    const QByteArray marker = "WISP-ENVIRONMENT-" + QUuid::createUuid().toByteArray(QUuid::Id128);

    const ChildProcess::Owned process = ChildProcess::create();
    QProcess& child = *process;
    child.setProgram(program);
    // printf and the absolute path of env read the same in sh, bash, zsh and fish.
    child.setArguments({QStringLiteral("-l"), QStringLiteral("-i"), QStringLiteral("-c"),
                        QStringLiteral("printf '%s' %1; %2 -0; printf '%s' %1")
                            .arg(QString::fromLatin1(marker), SystemTools::env())});
    child.setProcessEnvironment(startEnvironment);
    // Where a terminal starts: rc files may rely on it.
    const QString home = startEnvironment.value(QStringLiteral("HOME"));
    if (!home.isEmpty() && QFileInfo(home).isDir()) {
        child.setWorkingDirectory(home);
    }
    child.setStandardInputFile(QProcess::nullDevice());
    child.setStandardErrorFile(QProcess::nullDevice());
    // A session of its own: an interactive shell must not take over the terminal wisp may have
    // been started from, and the deadline ends everything the rc files started.
    child.setChildProcessModifier([] { ::setsid(); });

    QElapsedTimer clock;
    clock.start();
    if (!co_await ChildProcess::start(&child, QIODevice::ReadOnly)) {
        Log::line(
            QStringLiteral("⚠️ [ShellEnvironment] Login shell %1 could not be started (%2)")
                .arg(program, child.errorString()) +
            fallbackNote());
        co_return std::nullopt;
    }
    if (!co_await ChildProcess::waitForExit(&child, deadline)) {
        Log::line(
            QStringLiteral("⚠️ [ShellEnvironment] Login shell %1 did not answer within %2 s")
                .arg(program, inSeconds(deadline)) +
            fallbackNote());
        co_return std::nullopt;
    }
    const qint64 elapsed = clock.elapsed();
    if (child.exitStatus() == QProcess::CrashExit) {
        Log::line(QStringLiteral("⚠️ [ShellEnvironment] Login shell %1 was ended by a signal")
                      .arg(program) +
                  fallbackNote());
        co_return std::nullopt;
    }
    if (child.exitCode() != 0) {
        Log::line(
            QStringLiteral("⚠️ [ShellEnvironment] Login shell %1 failed with exit status %2")
                .arg(program)
                .arg(child.exitCode()) +
            fallbackNote());
        co_return std::nullopt;
    }
    std::optional<QProcessEnvironment> environment = parse(child.readAllStandardOutput(), marker);
    if (!environment) {
        Log::line(QStringLiteral("⚠️ [ShellEnvironment] Login shell %1 printed no environment")
                      .arg(program) +
                  fallbackNote());
        co_return std::nullopt;
    }
    const qsizetype entries = environment->value(QStringLiteral("PATH"))
                                  .split(QLatin1Char(':'), Qt::SkipEmptyParts)
                                  .size();
    Log::line(
        QStringLiteral("✅ [ShellEnvironment] Login shell %1 answered in %2 ms with %3 PATH entries")
            .arg(program)
            .arg(elapsed)
            .arg(entries));
    co_return environment;
}

std::optional<QProcessEnvironment> LoginShellEnvironment::parse(const QByteArray& output,
                                                                const QByteArray& marker)
{
    const qsizetype first = output.indexOf(marker);
    const qsizetype last = output.lastIndexOf(marker);
    if (first < 0 || last <= first) {
        return std::nullopt;
    }
    const qsizetype begin = first + marker.size();
    QProcessEnvironment environment;
    for (const QByteArray& entry : output.mid(begin, last - begin).split('\0')) {
        // A name is never empty; a value may hold anything but NUL, '=' and line breaks included.
        const qsizetype equals = entry.indexOf('=');
        if (equals <= 0) {
            continue;
        }
        environment.insert(QString::fromLocal8Bit(entry.left(equals)),
                           QString::fromLocal8Bit(entry.mid(equals + 1)));
    }
    return environment;
}
