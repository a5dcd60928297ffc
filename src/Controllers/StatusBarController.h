#pragma once

#include "Controllers/ClickClassifier.h"
#include "Controllers/StatusMenuItem.h"
#include "Controllers/StatusMenuModel.h"
#include "Models/ServerStatus.h"

#include <QColor>
#include <QIcon>
#include <QImage>
#include <QList>
#include <QMetaObject>
#include <QObject>
#include <QPointer>
#include <QSystemTrayIcon>

#include <chrono>
#include <exception>
#include <functional>
#include <memory>
#include <optional>
#include <tuple>

// Seams for tests; the defaults are the steady clock, main-loop timers, the real waits of a
// project switch and QCoreApplication::quit.
struct StatusBarEnvironment
{
    ClickClassifier::Clock clock;
    std::shared_ptr<DeferredActionScheduler> scheduler;
    std::chrono::milliseconds switchCheckInterval{500};
    // Asks the application to terminate.
    std::function<void()> quit;
};

class AppearanceWatcher;
class BrowserManaging;
class HotKeyManager;
class PermissionsManager;
class ProjectManaging;
class ProjectSwitcher;
class QAction;
class QMenu;
class ServerManaging;
class SettingsManager;

// Owns the status item: draws its icon in the colour of the server state, tells single clicks
// from double clicks, runs the main action on a single click and pops up the status menu on a
// double or right click. The menu is never left attached to the tray icon, so every click keeps
// reaching handleClick.
class StatusBarController : public QObject
{
    Q_OBJECT
public:
    using Environment = StatusBarEnvironment;

    StatusBarController(SettingsManager* settingsManager, ServerManaging* serverManager,
                        ProjectManaging* projectManager, BrowserManaging* browserManager,
                        PermissionsManager* permissionsManager, HotKeyManager* hotKeyManager,
                        std::function<void()> onSettingsRequested,
                        std::function<void()> onMainActionRequested, Environment environment = {},
                        QObject* parent = nullptr);
    ~StatusBarController() override;

    void updateIcon();
    QColor currentStatusColor() const;
    void handleClick(QSystemTrayIcon::ActivationReason reason);
    void showMenu();
    void appearanceChanged();
    void setupObservers();

    void rebuildMenu();
    void updateServerMenuItem();
    StatusMenuModel::ServerActionTitle serverActionTitle(const Project& project) const;
    QString hotkeyKeyEquivalent() const;
    std::uint64_t hotkeyModifierMask() const;
    StatusMenuItem createProjectMenuItem(const QString& name, int port,
                                         StatusMenuItem::Action action, bool isSelected) const;
    // What the menu is built from right now.
    StatusMenuState menuState() const;

    // Item actions.
    void mainActionClicked();
    void settingsClicked();
    void customURLClicked();
    void projectSelected(QAction* sender);
    void rescanProjects();
    void startServerClicked();
    void serverOutputClicked();
    void quitClicked();

    // Where the menu pops up: under the icon (above it when the icon sits in the lower half of
    // its screen); at `cursor` when the tray cannot say where the icon is.
    static QPoint menuPosition(const QRect& iconGeometry, const QSize& menuSize,
                               const QRect& screenGeometry, const QPoint& cursor);

    // The last drawn icon image.
    const QImage& iconImage() const { return lastIconImage; }
    ClickClassifier& clicks() { return clickClassifier; }
    ProjectSwitcher& switcher() const { return *projectSwitcher; }

    QSystemTrayIcon* statusItem = nullptr;
    QMenu* menu = nullptr;
    QPointer<SettingsManager> settingsManager;
    QPointer<ServerManaging> serverManager;
    QPointer<ProjectManaging> projectManager;
    QPointer<BrowserManaging> browserManager;
    PermissionsManager* permissionsManager = nullptr;
    HotKeyManager* hotKeyManager = nullptr;
    std::function<void()> onSettingsRequested;
    std::function<void()> onMainActionRequested;
    // Opens the server output window.
    std::function<void()> onServerOutputRequested;
    // A server start from the menu or from a project switch failed with this error.
    std::function<void(std::exception_ptr)> onServerStartFailed;
    QList<QMetaObject::Connection> cancellables;

private:
    void createMenu();
    void performMenuAction(StatusMenuItem::Action action, QAction* sender);
    bool isDarkAppearance() const;

    ClickClassifier clickClassifier;
    ProjectSwitcher* projectSwitcher = nullptr;
    AppearanceWatcher* appearanceWatcher = nullptr;
    std::function<void()> quit;
    QImage lastIconImage;
    // What the last icon was drawn from, and the server item with the status it last showed: a
    // poll that publishes the same status draws and builds nothing.
    std::optional<std::tuple<QColor, bool, qreal>> lastIconInputs;
    QPointer<QAction> lastServerItem;
    std::optional<ServerStatus> lastServerItemStatus;
    // Each icon drawn so far, by its image: the tray keeps what it paints of every new icon, so
    // a status it has shown before gets the same icon again.
    QList<std::pair<QImage, QIcon>> drawnIcons;
};
