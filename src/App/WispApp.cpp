#include "App/WispApp.h"

#include "App/AccessibleApplication.h"
#include "App/AppDelegate.h"
#include "App/CommandLine.h"
#include "App/SingleInstance.h"
#include "Managers/ServerManager.h"
#include "Platform/GraphicalSession.h"
#include "Platform/ReopenEvents.h"
#include "Utilities/Log.h"

#include <QApplication>
#include <QIcon>
#include <QSystemTrayIcon>
#include <QTimer>

#include <cstdio>
#include <optional>

int WispApp::main(int argc, char** argv)
{
    // Answered without a display, so that a terminal or a package check can ask.
    QStringList arguments;
    for (int index = 0; index < argc; ++index) {
        arguments.append(QString::fromLocal8Bit(argv[index]));
    }
    if (const std::optional<int> exitCode = CommandLine::handle(arguments)) {
        return *exitCode;
    }

    // Qt aborts when it finds no display; say why instead.
    const QString missingDisplay = GraphicalSession::missingDisplayReason();
    if (!missingDisplay.isEmpty()) {
        std::fprintf(stderr, "%s\n", qPrintable(missingDisplay));
        return 1;
    }

    // Before the application object, whose accessible interface is made once and kept.
    AccessibleApplication::install();
    QApplication application(argc, argv);
    // The settings store is named after these.
    QCoreApplication::setOrganizationName(QStringLiteral("wisp"));
    QCoreApplication::setApplicationName(QStringLiteral("wisp"));
    // No main window: closing the onboarding window or an alert must not end the application.
    QApplication::setQuitOnLastWindowClosed(false);

    WispApp wisp;
    wisp.pollingInterval = CommandLine::pollingInterval(arguments);
    return wisp.run();
}

WispApp::WispApp() = default;

void WispApp::setWindowIcon()
{
    QIcon icon;
    icon.addFile(QStringLiteral(":/StatusBarIcon.png"));
    icon.addFile(QStringLiteral(":/StatusBarIcon@2x.png"));
    QApplication::setWindowIcon(icon);
}

WispApp::~WispApp() = default;

int WispApp::run()
{
    singleInstance = std::make_unique<SingleInstance>();
    if (singleInstance->start() == SingleInstance::Role::secondary) {
        Log::line(QStringLiteral(
            "🚀 [WispApp] wisp is already running; asked it to perform the main action"));
        return 0;
    }

    Log::line(QStringLiteral("🚀 [WispApp] wisp started"));

    AppDelegateFactories factories;
    if (pollingInterval) {
        factories.makeServerManager = [interval = *pollingInterval] {
            auto manager = std::make_unique<ServerManager>();
            manager->setPollingInterval(interval);
            return std::unique_ptr<ServerManaging>(std::move(manager));
        };
    }
    _appDelegate = new AppDelegate(std::move(factories));
    AppDelegate* delegate = _appDelegate;
    connect(singleInstance.get(), &SingleInstance::reopenRequested, delegate,
            [delegate] { delegate->applicationShouldHandleReopen(false); });
    connect(qApp, &QCoreApplication::aboutToQuit, delegate,
            [delegate] { delegate->applicationWillTerminate(); });
    // Installed from the running event loop, after the platform's own handler.
    QTimer::singleShot(0, this, [this, delegate] {
        reopenEvents =
            ReopenEvents::install([delegate] { delegate->applicationShouldHandleReopen(false); });
    });

    delegate->applicationDidFinishLaunching();
    // Only once the tray icon is up: decoding the window icon loads the image format plugins,
    // and asking whether there is a tray waits for the session bus and the X server, both of
    // which would delay the icon. Windows shown meanwhile take the window icon when it is set.
    setWindowIcon();
    if (!QSystemTrayIcon::isSystemTrayAvailable()) {
        Log::line(QStringLiteral("⚠️ [WispApp] No system tray is available; the wisp icon "
                                 "appears as soon as one starts"));
    }
    return QApplication::exec();
}
