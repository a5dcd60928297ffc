// Runs a server through ServerManager the way wisp does, for tests that measure what following
// its output costs: the test reads this process's peak memory from /proc while it waits.
//
// Usage: burst-harness FOLDER PORT COMMAND
// Once the start is confirmed, connects to PORT once (the burst fixture starts writing then) and
// waits until the server has exited. Prints "PID <pid>" of the server, "LOG <bytes> <tail>" for
// every line of server output logged (its length in UTF-8 bytes and the end of its last line),
// then "ENDED", and exits when its standard input closes. "ERROR <description>" and exit 1 on
// failure.
#include "Managers/ServerManager.h"
#include "Models/ServerError.h"
#include "Utilities/Log.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QHostAddress>
#include <QTcpSocket>
#include <QTimer>
#include <QUrl>

#include <cstdio>

namespace {

void printLine(const QString& text)
{
    std::fputs(text.toUtf8().constData(), stdout);
    std::fputc('\n', stdout);
    std::fflush(stdout);
}

void fail(const QString& description)
{
    printLine(QStringLiteral("ERROR %1").arg(description));
    QCoreApplication::exit(1);
}

// Quits once the status update that the server's end set off is done: updates take turns, so
// ours comes after it, and nothing is left suspended when the event loop ends.
QCoro::Task<> quitWhenSettled(ServerManager* manager)
{
    co_await manager->updateStatus();
    QCoreApplication::exit(0);
}

QCoro::Task<> run(ServerManager* manager, Project project, QString command)
{
    try {
        co_await manager->startServer(project, command);
    } catch (const ServerError& error) {
        fail(error.localizedDescription());
        co_return;
    }
    if (!manager->hasRunningProcess()) {
        fail(QStringLiteral("no server running"));
        co_return;
    }
    printLine(QStringLiteral("PID %1").arg(manager->runningProcessId()));

    auto* trigger = new QTcpSocket(manager);
    trigger->connectToHost(QHostAddress::LocalHost, static_cast<quint16>(project.port));

    auto* watch = new QTimer(manager);
    QElapsedTimer elapsed;
    elapsed.start();
    QObject::connect(watch, &QTimer::timeout, manager, [manager, watch, elapsed] {
        if (!manager->hasRunningProcess()) {
            watch->stop();
            printLine(QStringLiteral("ENDED"));
            // Stay for the test to measure; then go when it closes our input.
            std::fgetc(stdin);
            quitWhenSettled(manager);
        } else if (elapsed.hasExpired(300000)) {
            watch->stop();
            fail(QStringLiteral("the server did not end"));
        }
    });
    watch->start(20);
}

} // namespace

int main(int argc, char** argv)
{
    QCoreApplication app(argc, argv);
    const QStringList arguments = QCoreApplication::arguments();
    if (arguments.size() != 4) {
        printLine(QStringLiteral("ERROR usage: burst-harness FOLDER PORT COMMAND"));
        return 2;
    }

    Log::addSink([](Log::Stream stream, const QString& line) {
        if (stream != Log::Stream::SystemLog ||
            !(line.startsWith(QStringLiteral("📝 [Server Output]")) ||
              line.startsWith(QStringLiteral("⚠️ [Server Error]")))) {
            return;
        }
        const QString lastLine = line.mid(line.lastIndexOf(QLatin1Char('\n')) + 1);
        printLine(QStringLiteral("LOG %1 %2").arg(line.toUtf8().size()).arg(lastLine.right(60)));
    });

    Project project;
    project.name = QStringLiteral("burst");
    project.path = QUrl::fromLocalFile(arguments.at(1));
    project.port = arguments.at(2).toInt();

    auto* manager = new ServerManager();
    QTimer::singleShot(0, manager, [manager, project, command = arguments.at(3)] {
        run(manager, project, command);
    });
    const int code = app.exec();
    delete manager;
    return code;
}
