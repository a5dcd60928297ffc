#pragma once

#include "Controllers/StatusBarController.h"
#include "Models/BrowserError.h"
#include "Models/Project.h"

#include <QCoro/QCoroTask>
#include <QList>
#include <QMetaObject>
#include <QObject>
#include <QPointer>
#include <QUrl>

#include <exception>
#include <functional>
#include <memory>
#include <optional>

class AlertCoordinator;
class AlertPresenter;
class AuxiliaryWindows;
class BrowserManaging;
class FolderChooser;
class HotKeyManager;
class MainAction;
class PermissionsManager;
class ProjectManaging;
class ProjectOverrides;
class ServerManaging;
class ServerOutputLog;
class SettingsManager;
class SettingsPopover;
class SystemSettingsOpener;
class QWidget;

// How the delegate makes what it owns. Every function defaults to the real class; tests replace
// some of them with fakes. A function that yields nothing is a programming error.
struct AppDelegateFactories
{
    std::function<std::unique_ptr<SettingsManager>()> makeSettingsManager;
    std::function<std::unique_ptr<PermissionsManager>()> makePermissionsManager;
    std::function<std::unique_ptr<ProjectManaging>()> makeProjectManager;
    std::function<std::unique_ptr<ServerManaging>()> makeServerManager;
    std::function<std::unique_ptr<BrowserManaging>()> makeBrowserManager;
    std::function<std::unique_ptr<HotKeyManager>(SettingsManager*)> makeHotKeyManager;
    // Shows the alerts; message boxes by default.
    std::function<std::shared_ptr<AlertPresenter>()> makeAlertPresenter;
    // Opens the system settings panes; the platform's own by default.
    std::shared_ptr<SystemSettingsOpener> settingsOpener;
    // The folder chooser of the onboarding and settings views; the dialog by default.
    std::shared_ptr<FolderChooser> folderChooser;
    // Clock, click timer and quitting of the status bar controller.
    StatusBarEnvironment statusBarEnvironment;
};

// The application's spine: creates one instance of every manager, wires them into the status
// bar controller, chooses between onboarding and normal operation, restores the selected
// project and polls its port. At quit it stops the timers and drops the global shortcut, and
// leaves development servers running.
class AppDelegate : public QObject
{
    Q_OBJECT
public:
    // The port polled while no project is selected.
    static constexpr int defaultPort = 3000;

    explicit AppDelegate(AppDelegateFactories factories = {}, QObject* parent = nullptr);
    ~AppDelegate() override;

    void applicationDidFinishLaunching();
    void applicationWillTerminate();
    // Another launch or the platform's re-open: runs the main action as a click would, and
    // returns false so that the platform does nothing further.
    bool applicationShouldHandleReopen(bool hasVisibleWindows);

    void restoreSelectedProject();
    QCoro::Task<> performMainAction();
    // Throws BrowserError.
    QCoro::Task<> openBrowserWindow(QString url);
    void showStartServerAlert(const Project& project);
    void showBrowserError(const BrowserError& error);
    void showGenericError(const std::exception& error);
    void showOnboarding();
    void showSettings();
    void showServerOutput();

    // Starts the main action on the next turn of the event loop.
    void requestMainAction();

    QWidget* onboardingWindow() const;
    SettingsPopover* settingsPopover() const;
    AlertCoordinator* alerts() const { return alertCoordinator.get(); }
    AuxiliaryWindows* windows() const { return auxiliaryWindows.get(); }
    // The selected project's server output, as the output window shows it.
    ServerOutputLog* serverOutput() const { return serverOutputLog.get(); }

    // Null until launch; owned by the delegate for the life of the process.
    StatusBarController* statusBarController = nullptr;
    SettingsManager* settingsManager = nullptr;
    ServerManaging* serverManager = nullptr;
    ProjectManaging* projectManager = nullptr;
    // The user's per-project command and port, applied to every published project list.
    ProjectOverrides* projectOverrides = nullptr;
    BrowserManaging* browserManager = nullptr;
    PermissionsManager* permissionsManager = nullptr;
    HotKeyManager* hotKeyManager = nullptr;
    QList<QMetaObject::Connection> cancellables;
    // A development switch; the start-up decision does not consult it.
    bool debugForceOnboarding = false;

Q_SIGNALS:
    // The start-up scan has restored the selection and started polling.
    void startupScanFinished();

private:
    void selectedProjectChanged(const std::optional<Project>& project);
    QCoro::Task<> scanAndStartPolling(QUrl folder);

    AppDelegateFactories factories;

    std::unique_ptr<SettingsManager> ownedSettingsManager;
    std::unique_ptr<PermissionsManager> ownedPermissionsManager;
    std::unique_ptr<ProjectManaging> ownedProjectManager;
    std::unique_ptr<ProjectOverrides> ownedProjectOverrides;
    std::unique_ptr<ServerManaging> ownedServerManager;
    std::unique_ptr<BrowserManaging> ownedBrowserManager;
    std::unique_ptr<HotKeyManager> ownedHotKeyManager;
    std::unique_ptr<AlertCoordinator> alertCoordinator;
    std::unique_ptr<MainAction> mainAction;
    std::unique_ptr<ServerOutputLog> serverOutputLog;
    std::unique_ptr<AuxiliaryWindows> auxiliaryWindows;
    std::unique_ptr<StatusBarController> ownedStatusBarController;
};
