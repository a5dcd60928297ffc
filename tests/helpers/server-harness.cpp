// Starts a development server through ServerManager and then quits the way wisp quits: the
// polling timer is invalidated, the event loop ends and the process exits without the manager
// ever being destroyed (the application's delegate owns its managers for the whole process).
//
// Usage: server-harness FOLDER PORT COMMAND
// Prints "PID <pid>" of the started server on standard output, or "ERROR <description>" and
// exits with 1 when the start fails.
#include "Managers/ServerManager.h"
#include "Models/ServerError.h"

#include <QCoreApplication>
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

QCoro::Task<> startAndQuit(ServerManager* manager, Project project, QString command)
{
    try {
        co_await manager->startServer(project, command);
        printLine(QStringLiteral("PID %1").arg(manager->runningProcessId()));
        manager->invalidatePollingTimer();
        QCoreApplication::exit(0);
    } catch (const ServerError& error) {
        printLine(QStringLiteral("ERROR %1").arg(error.localizedDescription()));
        QCoreApplication::exit(1);
    }
}

} // namespace

ServerManager* keptManager = nullptr;

int main(int argc, char** argv)
{
    QCoreApplication app(argc, argv);
    const QStringList arguments = QCoreApplication::arguments();
    if (arguments.size() != 4) {
        printLine(QStringLiteral("ERROR usage: server-harness FOLDER PORT COMMAND"));
        return 2;
    }

    Project project;
    project.name = QStringLiteral("harness");
    project.path = QUrl::fromLocalFile(arguments.at(1));
    project.port = arguments.at(2).toInt();

    // Deliberately never deleted; held in a global so that leak checkers see it as reachable.
    auto* manager = new ServerManager();
    keptManager = manager;
    manager->startPolling(project.port);
    QTimer::singleShot(0, manager, [manager, project, command = arguments.at(3)] {
        startAndQuit(manager, project, command);
    });
    return app.exec();
}
