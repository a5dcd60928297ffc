#include "App/AppDelegate.h"

#include "App/AlertCoordinator.h"
#include "App/AuxiliaryWindows.h"
#include "App/MainAction.h"
#include "App/MessageBoxAlertPresenter.h"
#include "App/SelectionRestorer.h"
#include "Managers/BrowserManager.h"
#include "Managers/HotKeyManager.h"
#include "Managers/PermissionsManager.h"
#include "Managers/ProjectManager.h"
#include "Managers/ProjectOverrides.h"
#include "Managers/ServerManager.h"
#include "Managers/SettingsManager.h"
#include "Protocols/BrowserManaging.h"
#include "Protocols/ProjectManaging.h"
#include "Protocols/ServerManaging.h"
#include "Utilities/Log.h"
#include "Views/SettingsPopover.h"

#include <QTimer>

namespace {

// A missing manager stops the process: nothing can work without it.
template <typename T>
T* required(T* object, const char* what)
{
    if (!object) {
        qFatal("AppDelegate: no %s", what);
    }
    return object;
}

// The delegate's browser opening for the start-server flow, unless the delegate is gone.
QCoro::Task<> openBrowserWindowOf(QPointer<AppDelegate> delegate, QString url)
{
    if (delegate) {
        co_await delegate->openBrowserWindow(std::move(url));
    }
}

AppDelegateFactories withDefaults(AppDelegateFactories factories)
{
    if (!factories.makeSettingsManager) {
        factories.makeSettingsManager = [] {
            return std::make_unique<SettingsManager>();
        };
    }
    if (!factories.makePermissionsManager) {
        factories.makePermissionsManager = [] {
            return std::make_unique<PermissionsManager>();
        };
    }
    if (!factories.makeProjectManager) {
        factories.makeProjectManager = []() -> std::unique_ptr<ProjectManaging> {
            return std::make_unique<ProjectManager>();
        };
    }
    if (!factories.makeServerManager) {
        factories.makeServerManager = []() -> std::unique_ptr<ServerManaging> {
            return std::make_unique<ServerManager>();
        };
    }
    if (!factories.makeBrowserManager) {
        factories.makeBrowserManager = []() -> std::unique_ptr<BrowserManaging> {
            return std::make_unique<BrowserManager>();
        };
    }
    if (!factories.makeHotKeyManager) {
        factories.makeHotKeyManager = [](SettingsManager* settings) {
            return std::make_unique<HotKeyManager>(settings);
        };
    }
    if (!factories.makeAlertPresenter) {
        factories.makeAlertPresenter = []() -> std::shared_ptr<AlertPresenter> {
            return std::make_shared<MessageBoxAlertPresenter>();
        };
    }
    return factories;
}

} // namespace

AppDelegate::AppDelegate(AppDelegateFactories factories, QObject* parent)
    : QObject(parent), factories(withDefaults(std::move(factories)))
{}

AppDelegate::~AppDelegate()
{
    // The application never destroys its delegate; tests do. Users before what they use.
    for (const QMetaObject::Connection& connection : std::as_const(cancellables)) {
        disconnect(connection);
    }
    ownedStatusBarController.reset();
    auxiliaryWindows.reset();
    mainAction.reset();
    alertCoordinator.reset();
    ownedHotKeyManager.reset();
    ownedBrowserManager.reset();
    ownedServerManager.reset();
    ownedProjectManager.reset();
    ownedProjectOverrides.reset();
    ownedPermissionsManager.reset();
    ownedSettingsManager.reset();
}

// --- start-up ---

void AppDelegate::applicationDidFinishLaunching()
{
    ownedSettingsManager = factories.makeSettingsManager();
    settingsManager = required(ownedSettingsManager.get(), "settings manager");

    ownedPermissionsManager = factories.makePermissionsManager();
    permissionsManager = required(ownedPermissionsManager.get(), "permissions manager");

    ownedProjectManager = factories.makeProjectManager();
    projectManager = required(ownedProjectManager.get(), "project manager");
    ownedProjectOverrides = std::make_unique<ProjectOverrides>(settingsManager);
    projectOverrides = ownedProjectOverrides.get();
    projectManager->setOverrides(projectOverrides);

    ownedServerManager = factories.makeServerManager();
    serverManager = required(ownedServerManager.get(), "server manager");

    ownedBrowserManager = factories.makeBrowserManager();
    browserManager = required(ownedBrowserManager.get(), "browser manager");

    // Registers the stored shortcut while it is created.
    ownedHotKeyManager = factories.makeHotKeyManager(settingsManager);
    hotKeyManager = required(ownedHotKeyManager.get(), "hot key manager");

    // The alerts, the main action and the two windows, which the callbacks below reach.
    const std::shared_ptr<AlertPresenter> presenter = factories.makeAlertPresenter();
    required(presenter.get(), "alert presenter");
    alertCoordinator =
        std::make_unique<AlertCoordinator>(serverManager, presenter, factories.settingsOpener);
    mainAction = std::make_unique<MainAction>(settingsManager, projectManager, serverManager,
                                              browserManager, alertCoordinator.get());
    auxiliaryWindows = std::make_unique<AuxiliaryWindows>(
        settingsManager, projectManager, serverManager, permissionsManager, hotKeyManager);
    // None: the folder dialog.
    auxiliaryWindows->folderChooser = factories.folderChooser;
    auxiliaryWindows->projectOverrides = projectOverrides;
    const QPointer<AppDelegate> self(this);
    alertCoordinator->openBrowserWindow = [self](QString url) {
        return openBrowserWindowOf(self, std::move(url));
    };
    alertCoordinator->showSettings = [self] {
        if (self) {
            self->showSettings();
        }
    };
    auxiliaryWindows->statusItemGeometry = [self] {
        if (!self || !self->statusBarController || !self->statusBarController->statusItem) {
            return QRect();
        }
        return self->statusBarController->statusItem->geometry();
    };

    // The controller's callbacks hold the delegate weakly.
    ownedStatusBarController = std::make_unique<StatusBarController>(
        settingsManager, serverManager, projectManager, browserManager, permissionsManager,
        hotKeyManager,
        [self] {
            if (self) {
                self->showSettings();
            }
        },
        [self] {
            if (self) {
                self->requestMainAction();
            }
        },
        factories.statusBarEnvironment);
    statusBarController = ownedStatusBarController.get();

    hotKeyManager->onHotKeyPressed = [self] {
        if (self) {
            self->requestMainAction();
        }
    };

    // A port learned from a server that wisp started becomes the project's own, as if the user
    // had set it: shown, polled and kept across restarts.
    cancellables.append(connect(serverManager, &ServerManaging::portLearned, this,
                                [this](const Project& project, int port) {
                                    projectOverrides->setPort(project.folderPath(), port);
                                }));

    // Each new selection moves polling to its port. Delivered on a later turn of the event
    // loop, with the value as it was published.
    cancellables.append(connect(projectManager, &ProjectManaging::selectedProjectChanged, this,
                                [this](const std::optional<Project>& project) {
                                    QMetaObject::invokeMethod(
                                        this, [this, project] { selectedProjectChanged(project); },
                                        Qt::QueuedConnection);
                                }));

    if (!settingsManager->hasCompletedOnboarding()) {
        // Nothing is scanned or polled until onboarding completes.
        showOnboarding();
        return;
    }
    const std::optional<QUrl> folder = settingsManager->projectsFolderURL();
    if (!folder) {
        serverManager->startPolling(defaultPort);
        return;
    }
    scanAndStartPolling(*folder);
}

void AppDelegate::selectedProjectChanged(const std::optional<Project>& project)
{
    if (!project || !serverManager) {
        return;
    }
    Log::line(QStringLiteral("📦 [AppDelegate] Selected project changed: %1 (port %2)")
                  .arg(project->name, QString::number(project->port)));
    serverManager->updatePollingPort(project->port);
}

QCoro::Task<> AppDelegate::scanAndStartPolling(QUrl folder)
{
    const QPointer<AppDelegate> self(this);
    try {
        co_await projectManager->scanFolder(folder);
    } catch (const std::exception&) {
        // Scanning reports its own problems; start-up goes on with whatever list resulted.
    }
    if (!self) {
        co_return;
    }
    restoreSelectedProject();
    const std::optional<Project> selected = projectManager->selectedProject();
    if (selected) {
        Log::line(QStringLiteral("📦 [AppDelegate] Selected: %1 (port %2)")
                      .arg(selected->name, QString::number(selected->port)));
        settingsManager->setSelectedProjectPath(selected->folderPath());
    }
    const int port = selected ? selected->port : defaultPort;
    Log::line(QStringLiteral("🚀 [AppDelegate] Starting polling on port %1").arg(port));
    serverManager->startPolling(port);
    Q_EMIT startupScanFinished();
}

void AppDelegate::restoreSelectedProject()
{
    SelectionRestorer::restoreSelectedProject(*settingsManager, *projectManager);
}

// --- shut-down and re-open ---

void AppDelegate::applicationWillTerminate()
{
    // Development servers are left running: nothing here stops them.
    if (serverManager) {
        serverManager->invalidatePollingTimer();
    }
    if (permissionsManager) {
        permissionsManager->stopPolling();
    }
    if (hotKeyManager) {
        hotKeyManager->hotKey.reset();
    }
}

bool AppDelegate::applicationShouldHandleReopen(bool /*hasVisibleWindows*/)
{
    requestMainAction();
    return false;
}

void AppDelegate::requestMainAction()
{
    QMetaObject::invokeMethod(
        this,
        [this] {
            if (mainAction) {
                performMainAction();
            }
        },
        Qt::QueuedConnection);
}

// --- actions, alerts and windows ---

QCoro::Task<> AppDelegate::performMainAction()
{
    return required(mainAction.get(), "main action")->performMainAction();
}

QCoro::Task<> AppDelegate::openBrowserWindow(QString url)
{
    return required(mainAction.get(), "main action")->openBrowserWindow(std::move(url));
}

void AppDelegate::showStartServerAlert(const Project& project)
{
    required(alertCoordinator.get(), "alert coordinator")->showStartServerAlert(project);
}

void AppDelegate::showBrowserError(const BrowserError& error)
{
    required(alertCoordinator.get(), "alert coordinator")->showBrowserError(error);
}

void AppDelegate::showGenericError(const std::exception& error)
{
    required(alertCoordinator.get(), "alert coordinator")->showGenericError(error);
}

void AppDelegate::showOnboarding()
{
    required(auxiliaryWindows.get(), "window owner")->showOnboarding();
}

void AppDelegate::showSettings()
{
    required(auxiliaryWindows.get(), "window owner")->showSettings();
}

QWidget* AppDelegate::onboardingWindow() const
{
    return auxiliaryWindows ? auxiliaryWindows->onboardingWindow.data() : nullptr;
}

SettingsPopover* AppDelegate::settingsPopover() const
{
    return auxiliaryWindows ? auxiliaryWindows->settingsPopover.data() : nullptr;
}
