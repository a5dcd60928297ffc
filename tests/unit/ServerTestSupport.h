#pragma once

// Helpers shared by the ServerManager tests: running its coroutines to their end, looking at
// processes through /proc, and making sure no test leaves a server behind.

#include "Managers/ServerManager.h"
#include "Models/ServerError.h"
#include "Platform/ListeningPorts.h"
#include "Platform/SystemTools.h"
#include "support/TestSupport.h"

#include <QCoro/QCoroTask>
#include <QDir>
#include <QFile>
#include <QProcess>
#include <QRandomGenerator>
#include <QSet>
#include <QTemporaryDir>
#include <QUrl>

#include <gtest/gtest.h>

#include <csignal>
#include <optional>
#include <unistd.h>

namespace ServerTests {

using namespace std::chrono_literals;

inline QCoro::Task<> startCapturingError(ServerManager* manager, Project project, QString command,
                                         std::optional<QString>* error)
{
    try {
        co_await manager->startServer(project, command);
    } catch (const ServerError& thrown) {
        *error = thrown.localizedDescription();
    }
}

// Runs a start to its end: the thrown error's description, nullopt when the start succeeded.
inline std::optional<QString> startServer(ServerManager& manager, const Project& project,
                                          const QString& command)
{
    std::optional<QString> error;
    QCoro::waitFor(startCapturingError(&manager, project, command, &error));
    return error;
}

inline void killServer(ServerManager& manager, int port)
{
    QCoro::waitFor(manager.killServer(port));
}

inline bool checkPort(ServerManager& manager, int port)
{
    return QCoro::waitFor(manager.checkPort(port));
}

inline Project makeProject(const QString& folder, int port)
{
    Project project;
    project.id = QUuid::createUuid();
    project.name = QStringLiteral("site");
    project.path = QUrl::fromLocalFile(folder);
    project.port = port;
    return project;
}

inline QString fixture(const QString& name)
{
    return TestSupport::fixturePath(QStringLiteral("servers/") + name);
}

struct ProcessInfo
{
    char state = 0;
    qint64 parent = 0;
    qint64 group = 0;
};

// Read from /proc/PID/stat; nullopt when there is no such process.
inline std::optional<ProcessInfo> processInfo(qint64 pid)
{
    QFile file(QStringLiteral("/proc/%1/stat").arg(pid));
    if (!file.open(QIODevice::ReadOnly)) {
        return std::nullopt;
    }
    const QByteArray stat = file.readAll();
    // "pid (comm) state ppid pgrp ...": the command name may hold spaces and parentheses.
    const qsizetype close = stat.lastIndexOf(')');
    if (close < 0) {
        return std::nullopt;
    }
    const QList<QByteArray> fields = stat.mid(close + 2).split(' ');
    if (fields.size() < 3 || fields.at(0).isEmpty()) {
        return std::nullopt;
    }
    return ProcessInfo{fields.at(0).at(0), fields.at(1).toLongLong(), fields.at(2).toLongLong()};
}

// Alive and not a zombie.
inline bool isAlive(qint64 pid)
{
    const auto info = processInfo(pid);
    return info && info->state != 'Z' && info->state != 'X';
}

inline QList<qint64> allProcessIds()
{
    QList<qint64> pids;
    const QStringList names = QDir(QStringLiteral("/proc")).entryList(QDir::Dirs);
    for (const QString& name : names) {
        bool numeric = false;
        const qint64 pid = name.toLongLong(&numeric);
        if (numeric) {
            pids.append(pid);
        }
    }
    return pids;
}

// Living members of a process group.
inline QList<qint64> groupMembers(qint64 group)
{
    QList<qint64> members;
    for (const qint64 pid : allProcessIds()) {
        const auto info = processInfo(pid);
        if (info && info->group == group && info->state != 'Z' && info->state != 'X') {
            members.append(pid);
        }
    }
    return members;
}

// Children of this process that have exited but were never reaped.
inline QList<qint64> zombieChildren()
{
    QList<qint64> zombies;
    const qint64 self = ::getpid();
    for (const qint64 pid : allProcessIds()) {
        const auto info = processInfo(pid);
        if (info && info->parent == self && info->state == 'Z') {
            zombies.append(pid);
        }
    }
    return zombies;
}

// Direct children of `pid` (all of its threads' children).
inline QList<qint64> childrenOf(qint64 pid)
{
    QList<qint64> children;
    for (const qint64 candidate : allProcessIds()) {
        const auto info = processInfo(candidate);
        if (info && info->parent == pid && info->state != 'Z') {
            children.append(candidate);
        }
    }
    return children;
}

// Points the temporary directory (TMPDIR) and the state folder (XDG_STATE_HOME) at a private
// folder while it exists, so that the instance socket and the server output files of a test land
// there and go away with it.
class ScopedTemporaryDirectory
{
public:
    ScopedTemporaryDirectory()
    {
        EXPECT_TRUE(directory.isValid());
        for (const char* name : {"TMPDIR", "XDG_STATE_HOME"}) {
            previous.append({name, qgetenv(name), qEnvironmentVariableIsSet(name)});
            qputenv(name, directory.path().toUtf8());
        }
    }
    ~ScopedTemporaryDirectory()
    {
        for (const Variable& variable : std::as_const(previous)) {
            if (variable.wasSet) {
                qputenv(variable.name, variable.value);
            } else {
                qunsetenv(variable.name);
            }
        }
    }
    ScopedTemporaryDirectory(const ScopedTemporaryDirectory&) = delete;
    ScopedTemporaryDirectory& operator=(const ScopedTemporaryDirectory&) = delete;

    QString path() const { return directory.path(); }

private:
    struct Variable
    {
        const char* name;
        QByteArray value;
        bool wasSet;
    };

    QTemporaryDir directory;
    QList<Variable> previous;
};

// SIGKILLs the registered process groups when it goes out of scope, so that a failing test
// leaves no server running either. The groups never include the test process itself.
class ProcessGroupReaper
{
public:
    ProcessGroupReaper() = default;
    ProcessGroupReaper(const ProcessGroupReaper&) = delete;
    ProcessGroupReaper& operator=(const ProcessGroupReaper&) = delete;

    void add(qint64 group)
    {
        if (group > 1 && group != ::getpgrp()) {
            groups.insert(group);
        }
    }

    ~ProcessGroupReaper()
    {
        for (const qint64 group : std::as_const(groups)) {
            ::kill(static_cast<pid_t>(-group), SIGKILL);
        }
        // Events let QProcess reap the children that are ours.
        TestSupport::waitUntil(
            [this] {
                for (const qint64 group : std::as_const(groups)) {
                    if (!groupMembers(group).isEmpty()) {
                        return false;
                    }
                }
                return true;
            },
            10s);
    }

private:
    QSet<qint64> groups;
};

// A server started by hand rather than by wisp: a fixture in a session of its own, as from a
// terminal. Waits until the fixture prints "READY".
class ExternalServer
{
public:
    ExternalServer(
        ProcessGroupReaper& reaper, const QStringList& arguments,
        const QProcessEnvironment& environment = QProcessEnvironment::systemEnvironment())
    {
        process.setProgram(QStringLiteral("/usr/bin/python3"));
        process.setArguments(arguments);
        process.setProcessEnvironment(environment);
        process.setStandardInputFile(QProcess::nullDevice());
        process.setProcessChannelMode(QProcess::SeparateChannels);
        process.setChildProcessModifier([] { ::setsid(); });
        process.start();
        if (!process.waitForStarted(10000)) {
            ADD_FAILURE() << "could not start " << arguments.join(' ').toStdString();
            return;
        }
        startedPid = process.processId();
        reaper.add(startedPid);
        const bool ready = TestSupport::waitUntil(
            [this] {
                output += process.readAllStandardOutput();
                return output.contains("READY\n") || process.state() == QProcess::NotRunning;
            },
            20s);
        EXPECT_TRUE(ready && output.contains("READY\n"))
            << "fixture did not get ready: " << output.toStdString()
            << process.readAllStandardError().toStdString();
    }

    ~ExternalServer()
    {
        if (process.state() != QProcess::NotRunning) {
            ::kill(static_cast<pid_t>(-startedPid), SIGKILL);
            process.waitForFinished(10000);
        }
    }

    qint64 pid() const { return startedPid; }

    // The pid printed as "CHILD <pid>", 0 when none.
    qint64 childPid() const
    {
        for (const QByteArray& line : output.split('\n')) {
            if (line.startsWith("CHILD ")) {
                return line.mid(6).toLongLong();
            }
        }
        return 0;
    }

    QProcess process;
    QByteArray output;

private:
    qint64 startedPid = 0;
};

// Living processes whose command line is exactly `arguments`.
inline QList<qint64> processesRunning(const QStringList& arguments)
{
    QByteArray wanted;
    for (const QString& argument : arguments) {
        wanted += argument.toUtf8() + '\0';
    }
    QList<qint64> found;
    for (const qint64 pid : allProcessIds()) {
        QFile file(QStringLiteral("/proc/%1/cmdline").arg(pid));
        if (file.open(QIODevice::ReadOnly) && file.readAll() == wanted && isAlive(pid)) {
            found.append(pid);
        }
    }
    return found;
}

// Makes SystemTools::lsof() answer `path` while it exists, with the port checks left to that
// lsof instead of the kernel's socket table, and restores both afterwards.
class ScopedLsof
{
public:
    explicit ScopedLsof(const QString& path)
        : previous(SystemTools::lsof()), previousKernel(ListeningPorts::readingKernel())
    {
        SystemTools::setLsof(path);
        ListeningPorts::setReadingKernel(false);
    }
    ~ScopedLsof()
    {
        SystemTools::setLsof(previous == SystemTools::defaultLsof() ? QString() : previous);
        ListeningPorts::setReadingKernel(previousKernel);
    }
    ScopedLsof(const ScopedLsof&) = delete;
    ScopedLsof& operator=(const ScopedLsof&) = delete;

private:
    QString previous;
    bool previousKernel;
};

// An lsof that never answers, as one stuck on a dead network mount: it counts its launches in a
// file and then sleeps, as the process `hungCommand()` names. The sleep's length is this
// instance's own, so tests running side by side never count each other's stand-ins.
class HungLsof
{
public:
    HungLsof()
        : sleepLength(QStringLiteral("86399.%1")
                          .arg(QRandomGenerator::global()->bounded(100000000, 999999999)))
    {
        EXPECT_TRUE(folder.isValid());
        TestSupport::writeFile(folder.path(), QStringLiteral("lsof"),
                               "#!/bin/sh\necho launched >> \"" +
                                   folder.filePath(QStringLiteral("launches")).toUtf8() +
                                   "\"\nexec sleep " + sleepLength.toUtf8() + "\n");
        QFile::setPermissions(folder.filePath(QStringLiteral("lsof")),
                              QFileDevice::ReadOwner | QFileDevice::ExeOwner);
    }

    QString path() const { return folder.filePath(QStringLiteral("lsof")); }
    QStringList hungCommand() const { return {QStringLiteral("sleep"), sleepLength}; }

    int launches() const
    {
        QFile file(folder.filePath(QStringLiteral("launches")));
        return file.open(QIODevice::ReadOnly) ? static_cast<int>(file.readAll().count('\n')) : 0;
    }

private:
    QString sleepLength;
    QTemporaryDir folder;
};

// Starts a server and hands its process group to `reaper`, so it dies with the test whatever
// happens; the error description when the start failed.
inline std::optional<QString> startReaped(ServerManager& manager, const Project& project,
                                          const QString& command, ProcessGroupReaper& reaper)
{
    auto error = startServer(manager, project, command);
    if (manager.hasRunningProcess()) {
        reaper.add(manager.runningProcessId());
    }
    return error;
}

} // namespace ServerTests
