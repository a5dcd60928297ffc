#include "support/TestIsolation.h"

#include "Platform/SystemTools.h"
#include "support/TestSupport.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QStringList>

#include <cstdio>

#include <unistd.h>

namespace {

using namespace std::chrono_literals;

// Children of this process that have not exited yet (zombies are exited).
QStringList runningChildren()
{
    const QByteArray self = QByteArray::number(::getpid());
    QStringList children;
    const QStringList pids = QDir(QStringLiteral("/proc")).entryList(QDir::Dirs);
    for (const QString& pid : pids) {
        if (pid.isEmpty() || !pid.at(0).isDigit()) {
            continue;
        }
        QFile stat(QStringLiteral("/proc/%1/stat").arg(pid));
        if (!stat.open(QIODevice::ReadOnly)) {
            continue;
        }
        // "pid (name) state ppid ...": the name may hold spaces and parentheses.
        const QByteArray line = stat.readAll();
        const qsizetype close = line.lastIndexOf(')');
        const QList<QByteArray> fields = line.mid(close + 2).split(' ');
        if (close > 0 && fields.size() > 1 && fields.at(1) == self && fields.at(0) != "Z") {
            children.append(pid);
        }
    }
    return children;
}

void deliverQueuedEvents()
{
    for (int round = 0; round < 3; ++round) {
        QCoreApplication::processEvents(QEventLoop::AllEvents);
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    }
}

} // namespace

void TestIsolation::OnTestEnd(const ::testing::TestInfo& test)
{
    SystemTools::setLsof(QString());

    if (!QCoreApplication::instance()) {
        return;
    }
    // A child still running (an lsof of a status update, a server the test did not stop) would
    // finish during the next test and log there.
    auto leftBehind = [this] {
        QStringList children = runningChildren();
        children.removeIf([this](const QString& pid) { return programChildren.contains(pid); });
        return children;
    };
    if (!TestSupport::waitUntil([&] { return leftBehind().isEmpty(); }, 30s)) {
        std::fprintf(stderr, "%s.%s left child processes running: %s\n", test.test_suite_name(),
                     test.name(), qPrintable(leftBehind().join(QLatin1Char(' '))));
    }
    deliverQueuedEvents();
}

void TestIsolation::install()
{
    auto* listener = new TestIsolation;
    listener->programChildren = runningChildren();
    ::testing::UnitTest::GetInstance()->listeners().Append(listener);
}
