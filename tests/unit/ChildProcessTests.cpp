#include "Utilities/ChildProcess.h"

#include "ServerTestSupport.h"
#include "support/AwaitTask.h"
#include "support/TestSupport.h"

#include <QElapsedTimer>
#include <QPointer>
#include <QProcess>

#include <gtest/gtest.h>

#include <optional>
#include <utility>

using namespace ServerTests;
using TestSupport::awaitTask;
using TestSupport::waitUntil;

namespace {

// A shell that starts a `sleep` of its own and waits for it, as a kill script's command
// substitution does.
ChildProcess::Owned shellWithASleepChild(const QString& seconds)
{
    ChildProcess::Owned process = ChildProcess::create();
    process->setProgram(QStringLiteral("/bin/sh"));
    process->setArguments(
        {QStringLiteral("-c"), QStringLiteral("sleep %1; echo done").arg(seconds)});
    process->setStandardInputFile(QProcess::nullDevice());
    return process;
}

QStringList sleeping(const QString& seconds)
{
    return {QStringLiteral("sleep"), seconds};
}

} // namespace

TEST(ChildProcess, WaitForExitIsTrueForAChildThatEndsInTime)
{
    const ChildProcess::Owned process = shellWithASleepChild(QStringLiteral("0"));
    ASSERT_TRUE(awaitTask(ChildProcess::start(process.get())));

    EXPECT_TRUE(awaitTask(ChildProcess::waitForExit(process.get(), 30s)));
    EXPECT_EQ(process->state(), QProcess::NotRunning);
    EXPECT_EQ(process->readAllStandardOutput(), QByteArray("done\n"));
}

TEST(ChildProcess, WaitForExitIsTrueAtOnceWhenNothingRuns)
{
    const ChildProcess::Owned process = ChildProcess::create();
    EXPECT_TRUE(awaitTask(ChildProcess::waitForExit(process.get(), 0ms)));
}

TEST(ChildProcess, ChildPastItsDeadlineIsKilledWithItsGroupAndReaped)
{
    const QString seconds = QStringLiteral("86397");
    const ChildProcess::Owned process = shellWithASleepChild(seconds);
    ChildProcess::leadOwnProcessGroup(*process);
    ASSERT_TRUE(awaitTask(ChildProcess::start(process.get())));
    const qint64 pid = process->processId();
    ASSERT_TRUE(waitUntil([&] { return processesRunning(sleeping(seconds)).size() == 1; }));
    EXPECT_EQ(::getpgid(static_cast<pid_t>(pid)), pid);

    QElapsedTimer elapsed;
    elapsed.start();
    EXPECT_FALSE(awaitTask(ChildProcess::waitForExit(process.get(), 300ms)));

    // Qt's coarse timers may fire up to 5% early.
    EXPECT_GE(elapsed.elapsed(), 280);
    EXPECT_EQ(process->state(), QProcess::NotRunning);
    EXPECT_EQ(processInfo(pid), std::nullopt);
    EXPECT_TRUE(waitUntil([&] { return processesRunning(sleeping(seconds)).isEmpty(); }));
    EXPECT_TRUE(zombieChildren().isEmpty());
}

TEST(ChildProcess, ReleasingARunningChildKillsItWithoutWaitingAndReapsItLater)
{
    const QString seconds = QStringLiteral("86396");
    ChildProcess::Owned process = shellWithASleepChild(seconds);
    ChildProcess::leadOwnProcessGroup(*process);
    ASSERT_TRUE(awaitTask(ChildProcess::start(process.get())));
    const qint64 pid = process->processId();
    const QPointer<QProcess> watched = process.get();
    ASSERT_TRUE(waitUntil([&] { return processesRunning(sleeping(seconds)).size() == 1; }));

    QElapsedTimer elapsed;
    elapsed.start();
    process.reset();
    // QProcess's own destructor would have blocked until the child was gone.
    EXPECT_LT(elapsed.elapsed(), 5000);

    EXPECT_TRUE(waitUntil([&] { return watched.isNull(); }));
    EXPECT_EQ(processInfo(pid), std::nullopt);
    EXPECT_TRUE(waitUntil([&] { return processesRunning(sleeping(seconds)).isEmpty(); }));
}

TEST(ChildProcess, KillLeavesTheCallersOwnGroupAlone)
{
    // Without a group of its own the child shares the test's group: only it is killed.
    const ChildProcess::Owned process = shellWithASleepChild(QStringLiteral("86395"));
    ASSERT_TRUE(awaitTask(ChildProcess::start(process.get())));
    ASSERT_EQ(::getpgid(static_cast<pid_t>(process->processId())), ::getpgrp());

    EXPECT_FALSE(awaitTask(ChildProcess::waitForExit(process.get(), 200ms)));

    EXPECT_EQ(process->state(), QProcess::NotRunning);
    // The orphaned sleep is not ours to reap; end it here.
    for (const qint64 pid : processesRunning(sleeping(QStringLiteral("86395")))) {
        ::kill(static_cast<pid_t>(pid), SIGKILL);
    }
    EXPECT_TRUE(
        waitUntil([&] { return processesRunning(sleeping(QStringLiteral("86395"))).isEmpty(); }));
}

TEST(ChildProcess, AQueuedConnectionToFinishedAfterAnAwaitedExitGetsTheExitCodeAndStatus)
{
    // QCoro's library sets up the argument types of its own queued connection to
    // QProcess::finished first; a queued connection of ours must still be handed both arguments.
    const ChildProcess::Owned first = ChildProcess::create();
    first->setProgram(QStringLiteral("/bin/sh"));
    first->setArguments({QStringLiteral("-c"), QStringLiteral("exit 0")});
    ASSERT_TRUE(awaitTask(ChildProcess::start(first.get())));
    ASSERT_TRUE(awaitTask(ChildProcess::waitForExit(first.get(), 30s)));

    std::optional<std::pair<int, QProcess::ExitStatus>> received;
    const ChildProcess::Owned second = ChildProcess::create();
    second->setProgram(QStringLiteral("/bin/sh"));
    second->setArguments({QStringLiteral("-c"), QStringLiteral("exit 3")});
    QObject::connect(
        second.get(), &QProcess::finished, second.get(),
        [&received](int code, QProcess::ExitStatus status) { received.emplace(code, status); },
        Qt::QueuedConnection);
    ASSERT_TRUE(awaitTask(ChildProcess::start(second.get())));
    ASSERT_TRUE(awaitTask(ChildProcess::waitForExit(second.get(), 30s)));

    ASSERT_TRUE(waitUntil([&] { return received.has_value(); }));
    EXPECT_EQ(received->first, 3);
    EXPECT_EQ(received->second, QProcess::NormalExit);
}
