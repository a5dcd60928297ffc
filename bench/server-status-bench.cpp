// Measures ServerManager's status update: `updates N PORT` runs N updates one after another;
// `idle SECONDS PORT` polls PORT for SECONDS. Prints one line:
//   <wall ms> <own CPU ms> <children CPU ms> <updates>
// CPU is user + system time from getrusage; the children are reaped lsof runs, if any.
#include "Managers/ServerManager.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QTimer>

#include <sys/resource.h>

#include <cstdio>

namespace {

double milliseconds(const timeval& time)
{
    return static_cast<double>(time.tv_sec) * 1000.0 + static_cast<double>(time.tv_usec) / 1000.0;
}

struct Usage
{
    double wall = 0;
    double self = 0;
    double children = 0;
};

Usage usageNow(const QElapsedTimer& clock)
{
    rusage self{};
    rusage children{};
    getrusage(RUSAGE_SELF, &self);
    getrusage(RUSAGE_CHILDREN, &children);
    return {static_cast<double>(clock.nsecsElapsed()) / 1e6,
            milliseconds(self.ru_utime) + milliseconds(self.ru_stime),
            milliseconds(children.ru_utime) + milliseconds(children.ru_stime)};
}

void report(const Usage& start, const Usage& end, int updates)
{
    std::printf("%.3f %.3f %.3f %d\n", end.wall - start.wall, end.self - start.self,
                end.children - start.children, updates);
    std::fflush(stdout);
}

QCoro::Task<> runUpdates(ServerManager* manager, int count, QElapsedTimer* clock)
{
    // Warm-up; also outlasts the update that updatePollingPort started.
    co_await manager->updateStatus();
    co_await manager->updateStatus();
    const Usage start = usageNow(*clock);
    for (int i = 0; i < count; ++i) {
        co_await manager->updateStatus();
    }
    report(start, usageNow(*clock), count);
    QCoreApplication::exit(0);
}

} // namespace

int main(int argc, char** argv)
{
    QCoreApplication app(argc, argv);
    const QStringList arguments = QCoreApplication::arguments();
    if (arguments.size() != 4 ||
        (arguments.at(1) != QLatin1String("updates") && arguments.at(1) != QLatin1String("idle"))) {
        std::fprintf(stderr, "usage: %s updates COUNT PORT | idle SECONDS PORT\n", argv[0]);
        return 2;
    }
    const int amount = arguments.at(2).toInt();
    const int port = arguments.at(3).toInt();

    QElapsedTimer clock;
    clock.start();
    ServerManager manager;
    if (arguments.at(1) == QLatin1String("updates")) {
        manager.updatePollingPort(port);
        QTimer::singleShot(0, &manager, [&] { runUpdates(&manager, amount, &clock); });
        return app.exec();
    }

    int updates = 0;
    QObject::connect(&manager, &ServerManaging::statusChanged, &manager, [&] { ++updates; });
    const Usage start = usageNow(clock);
    manager.startPolling(port);
    QTimer::singleShot(amount * 1000, &manager, [&] {
        manager.invalidatePollingTimer();
        report(start, usageNow(clock), updates);
        QCoreApplication::exit(0);
    });
    return app.exec();
}
