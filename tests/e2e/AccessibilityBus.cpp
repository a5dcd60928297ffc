#include "AccessibilityBus.h"

#include "Desktop.h"
#include "support/TestSupport.h"

#include <QFileInfo>
#include <QStandardPaths>

#include <signal.h>
#include <unistd.h>

using namespace std::chrono_literals;

namespace {

// The accessibility bus launcher leaves the bus address on the display's root window, where a
// later session of the same display would find a bus that is gone.
void forgetBusOfDisplay()
{
    Desktop::run(QStringLiteral("xprop"), {QStringLiteral("-root"), QStringLiteral("-remove"),
                                           QStringLiteral("AT_SPI_BUS")});
}

} // namespace

AccessibilityBus::~AccessibilityBus()
{
    stop();
}

QString AccessibilityBus::missingTool()
{
    if (QStandardPaths::findExecutable(QStringLiteral("dbus-daemon")).isEmpty()) {
        return QStringLiteral("dbus-daemon is not installed");
    }
    if (!QFileInfo(QStringLiteral("/usr/libexec/at-spi-bus-launcher")).isExecutable()) {
        return QStringLiteral("at-spi2-core is not installed");
    }
    const Desktop::RunResult pyatspi =
        Desktop::run(QStringLiteral("/usr/bin/python3"),
                     {QStringLiteral("-c"), QStringLiteral("import pyatspi")});
    if (pyatspi.exitCode != 0) {
        return QStringLiteral("python3-pyatspi is not installed");
    }
    if (QStandardPaths::findExecutable(QStringLiteral("xprop")).isEmpty()) {
        return QStringLiteral("xprop is not installed");
    }
    return QString();
}

bool AccessibilityBus::start(QString* error)
{
    forgetBusOfDisplay();
    runtime = std::make_unique<QTemporaryDir>();
    if (!runtime->isValid()) {
        *error = QStringLiteral("no temporary runtime folder: ") + runtime->errorString();
        return false;
    }
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    // The accessibility bus puts its socket here, not in the user's shared cache folder.
    environment.insert(QStringLiteral("XDG_RUNTIME_DIR"), runtime->path());
    daemon = std::make_unique<QProcess>();
    daemon->setProcessEnvironment(environment);
    // Its own process group: the buses it starts on demand go with it.
    daemon->setChildProcessModifier([] { ::setpgid(0, 0); });
    // Its complaints (no raised file limit, services activated) say nothing about wisp.
    daemon->setStandardErrorFile(QProcess::nullDevice());
    daemon->start(QStringLiteral("dbus-daemon"),
                  {QStringLiteral("--session"), QStringLiteral("--nofork"),
                   QStringLiteral("--print-address=1")});
    if (!daemon->waitForStarted(10000)) {
        *error = QStringLiteral("dbus-daemon did not start: ") + daemon->errorString();
        return false;
    }
    // The first line is the address; the services the bus starts later write after it.
    const bool answered = TestSupport::waitUntil(
        [&] { return daemon->canReadLine() || daemon->state() != QProcess::Running; }, 30s);
    if (!answered || !daemon->canReadLine()) {
        *error = QStringLiteral("dbus-daemon printed no address");
        stop();
        return false;
    }
    address = QString::fromUtf8(daemon->readLine()).trimmed();
    return !address.isEmpty();
}

void AccessibilityBus::stop()
{
    if (daemon && daemon->state() != QProcess::NotRunning) {
        const pid_t group = static_cast<pid_t>(daemon->processId());
        ::kill(-group, SIGTERM);
        if (!daemon->waitForFinished(5000)) {
            ::kill(-group, SIGKILL);
            daemon->waitForFinished(5000);
        }
        // The accessibility bus and its registry leave when the session bus does.
        TestSupport::waitUntil([&] { return ::kill(-group, 0) != 0; }, 10s);
        ::kill(-group, SIGKILL);
    }
    daemon.reset();
    runtime.reset();
    if (!address.isEmpty()) {
        forgetBusOfDisplay();
        address.clear();
    }
}

void AccessibilityBus::addTo(QProcessEnvironment& environment) const
{
    environment.insert(QStringLiteral("DBUS_SESSION_BUS_ADDRESS"), address);
    environment.insert(QStringLiteral("QT_LINUX_ACCESSIBILITY_ALWAYS_ON"), QStringLiteral("1"));
    environment.insert(QStringLiteral("XDG_RUNTIME_DIR"), runtime ? runtime->path() : QString());
    environment.remove(QStringLiteral("AT_SPI_BUS_ADDRESS"));
}
