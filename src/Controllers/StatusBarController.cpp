#include "Controllers/StatusBarController.h"

#include "Controllers/AppearanceWatcher.h"
#include "Controllers/ProjectSwitcher.h"
#include "Controllers/StatusIconRenderer.h"
#include "Controllers/StatusMenuRenderer.h"
#include "Managers/HotKeyManager.h"
#include "Managers/SettingsManager.h"
#include "Protocols/BrowserManaging.h"
#include "Protocols/ProjectManaging.h"
#include "Protocols/ServerManaging.h"
#include "Utilities/Addresses.h"
#include "Utilities/ErrorDescription.h"
#include "Utilities/Log.h"

#include <QCoreApplication>
#include <QCursor>
#include <QGuiApplication>
#include <QIcon>
#include <QMenu>
#include <QPixmap>
#include <QScreen>

#include <algorithm>

namespace {

const QString toolTip = QStringLiteral("wisp - Click to open browser, double-click for menu");

// Fire-and-forget tasks of the menu actions. Free functions taking everything by value, so
// nothing they use can go away under them.
QCoro::Task<> openCustomURL(QPointer<BrowserManaging> browserManager, QString url, Browser browser)
{
    try {
        if (browserManager) {
            co_await browserManager->openIncognito(url, browser);
        }
    } catch (const std::exception& error) {
        Log::line(QStringLiteral("⚠️ [StatusBarController] Failed to open custom URL: %1")
                      .arg(errorDescription(error)));
    }
}

QCoro::Task<> scanProjects(QPointer<ProjectManaging> projectManager,
                           QPointer<SettingsManager> settingsManager, QUrl folder)
{
    try {
        if (projectManager) {
            co_await projectManager->scanFolder(folder);
        }
    } catch (const std::exception&) {
        // Scanning reports its own problems; the menu follows the published list.
    }
    // The scan keeps the selection by its folder; when that folder is gone the selection fell
    // back to another project, which the next start of wisp restores too.
    const std::optional<Project> selected =
        projectManager ? projectManager->selectedProject() : std::nullopt;
    if (selected && settingsManager) {
        settingsManager->setSelectedProjectPath(selected->folderPath());
    }
}

} // namespace

StatusBarController::StatusBarController(
    SettingsManager* settingsManager, ServerManaging* serverManager,
    ProjectManaging* projectManager, BrowserManaging* browserManager,
    PermissionsManager* permissionsManager, HotKeyManager* hotKeyManager,
    std::function<void()> onSettingsRequested, std::function<void()> onMainActionRequested,
    Environment environment, QObject* parent)
    : QObject(parent)
    , settingsManager(settingsManager)
    , serverManager(serverManager)
    , projectManager(projectManager)
    , browserManager(browserManager)
    , permissionsManager(permissionsManager)
    , hotKeyManager(hotKeyManager)
    , onSettingsRequested(std::move(onSettingsRequested))
    , onMainActionRequested(std::move(onMainActionRequested))
    , clickClassifier(std::move(environment.clock), std::move(environment.scheduler))
    , quit(environment.quit ? std::move(environment.quit) : [] { QCoreApplication::quit(); })
{
    if (!settingsManager || !serverManager || !projectManager || !browserManager) {
        qFatal("StatusBarController needs the settings, server, project and browser managers");
    }

    clickClassifier.onSingleClick = [this]() {
        if (this->onMainActionRequested) {
            this->onMainActionRequested();
        }
    };
    clickClassifier.onShowMenu = [this]() {
        showMenu();
    };

    projectSwitcher =
        new ProjectSwitcher(settingsManager, serverManager, projectManager, browserManager, this);
    projectSwitcher->checkInterval = environment.switchCheckInterval;
    projectSwitcher->rebuildMenu = [this]() {
        rebuildMenu();
    };
    projectSwitcher->onStartFailed = [this](std::exception_ptr error) {
        if (onServerStartFailed) {
            onServerStartFailed(error);
        }
    };

    statusItem = new QSystemTrayIcon(this);
    updateIcon();
    statusItem->setToolTip(toolTip);
    connect(statusItem, &QSystemTrayIcon::activated, this, &StatusBarController::handleClick);
    // Shown before the menu is built: no click reaches the icon before the constructor returns,
    // and the tray can embed the icon meanwhile.
    statusItem->show();

    if (!menu) {
        createMenu();
        rebuildMenu();
    }
    setupObservers();
}

StatusBarController::~StatusBarController()
{
    for (const QMetaObject::Connection& connection : std::as_const(cancellables)) {
        disconnect(connection);
    }
    delete menu;
}

void StatusBarController::createMenu()
{
    // A top-level popup of its own; it is never handed to the tray icon.
    menu = new QMenu();
    // Items' tooltips show on hover as native menus show them: a project's folder, and why the
    // main item shows no shortcut.
    menu->setToolTipsVisible(true);
}

// --- icon ---

void StatusBarController::updateIcon()
{
    if (!statusItem) {
        return;
    }
    const qreal ratio = qGuiApp ? qGuiApp->devicePixelRatio() : 1.0;
    const std::tuple<QColor, bool, qreal> inputs{currentStatusColor(), isDarkAppearance(), ratio};
    if (lastIconInputs == inputs && !lastIconImage.isNull()) {
        return;
    }
    lastIconInputs = inputs;
    QImage image = StatusIconRenderer::render(std::get<0>(inputs), std::get<1>(inputs), ratio);
    // Every status poll publishes, mostly the same status: each new icon costs the tray memory
    // that is never given back.
    if (image == lastIconImage) {
        return;
    }
    lastIconImage = std::move(image);
    const auto drawn = std::find_if(
        drawnIcons.cbegin(), drawnIcons.cend(),
        [this](const std::pair<QImage, QIcon>& entry) { return entry.first == lastIconImage; });
    if (drawn != drawnIcons.cend()) {
        statusItem->setIcon(drawn->second);
        return;
    }
    const QIcon icon(QPixmap::fromImage(lastIconImage));
    drawnIcons.append({lastIconImage, icon});
    statusItem->setIcon(icon);
}

QColor StatusBarController::currentStatusColor() const
{
    return StatusIconRenderer::statusColor(serverManager ? serverManager->status()
                                                         : ServerStatus::unknown);
}

bool StatusBarController::isDarkAppearance() const
{
    const std::optional<bool> choice =
        settingsManager ? settingsManager->appearanceDark() : std::nullopt;
    return StatusIconRenderer::isDarkAppearance(choice, QGuiApplication::palette());
}

void StatusBarController::appearanceChanged()
{
    updateIcon();
}

// --- observers ---

void StatusBarController::setupObservers()
{
    cancellables.append(connect(serverManager, &ServerManaging::statusChanged, this, [this]() {
        updateIcon();
        // A poll that finds what the one before found has nothing new for the server item (a
        // rebuilt menu has a new one).
        const QAction* item =
            menu ? StatusMenuRenderer::itemWithTag(menu, StatusMenuModel::serverItemTag) : nullptr;
        if (item && item == lastServerItem && lastServerItemStatus == serverManager->status()) {
            return;
        }
        updateServerMenuItem();
    }));
    cancellables.append(connect(projectManager, &ProjectManaging::projectsChanged, this,
                                [this]() { rebuildMenu(); }));
    cancellables.append(connect(projectManager, &ProjectManaging::selectedProjectChanged, this,
                                [this]() { rebuildMenu(); }));
    // The main item shows the shortcut only while the desktop lets the application have it.
    if (hotKeyManager) {
        cancellables.append(connect(hotKeyManager, &HotKeyManager::registrationChanged, this,
                                    [this]() { rebuildMenu(); }));
    }

    appearanceWatcher = new AppearanceWatcher(this);
    cancellables.append(connect(appearanceWatcher, &AppearanceWatcher::appearanceChanged, this,
                                &StatusBarController::appearanceChanged));
    // The user's own light/dark choice overrides the system's.
    cancellables.append(
        connect(settingsManager, &SettingsManager::changed, this, [this](const QString& key) {
            if (key == QLatin1String("appearanceDark")) {
                appearanceChanged();
            }
        }));
}

// --- clicks ---

void StatusBarController::handleClick(QSystemTrayIcon::ActivationReason reason)
{
    switch (reason) {
    case QSystemTrayIcon::Trigger:
    case QSystemTrayIcon::DoubleClick:
        // The platform's double click is the second left click of the pair.
        clickClassifier.handleLeftClick();
        break;
    case QSystemTrayIcon::Context:
        clickClassifier.handleRightClick();
        break;
    case QSystemTrayIcon::Unknown:
        clickClassifier.handleMissingEvent();
        break;
    case QSystemTrayIcon::MiddleClick:
        break;
    }
}

void StatusBarController::showMenu()
{
    if (!menu) {
        createMenu();
    }
    rebuildMenu();

    const QRect iconGeometry = statusItem ? statusItem->geometry() : QRect();
    const QPoint cursor = QCursor::pos();
    QScreen* screen =
        QGuiApplication::screenAt(iconGeometry.isValid() ? iconGeometry.center() : cursor);
    if (!screen) {
        screen = QGuiApplication::primaryScreen();
    }
    const QRect screenGeometry = screen ? screen->geometry() : QRect();
    menu->popup(menuPosition(iconGeometry, menu->sizeHint(), screenGeometry, cursor));
}

QPoint StatusBarController::menuPosition(const QRect& iconGeometry, const QSize& menuSize,
                                         const QRect& screenGeometry, const QPoint& cursor)
{
    if (!iconGeometry.isValid() || iconGeometry.isEmpty()) {
        return cursor;
    }
    const bool iconInLowerHalf =
        screenGeometry.isValid() && iconGeometry.center().y() > screenGeometry.center().y();
    if (iconInLowerHalf) {
        return QPoint(iconGeometry.left(), iconGeometry.top() - menuSize.height());
    }
    return QPoint(iconGeometry.left(), iconGeometry.bottom() + 1);
}

// --- menu ---

StatusMenuState StatusBarController::menuState() const
{
    StatusMenuState state;
    state.isCustomURLActive = settingsManager->isCustomURLActive();
    state.hasCustomURL = settingsManager->hasCustomURL();
    state.customURL = settingsManager->customURL();
    state.projects = projectManager->projects();
    state.selectedProject = projectManager->selectedProject();
    state.status = serverManager->status();
    state.hotKeyCode = settingsManager->hotKeyCodeInt();
    state.hotKeyModifiers = settingsManager->hotKeyModifiersInt();
    if (hotKeyManager) {
        state.hotKeyRegistered = hotKeyManager->isRegistered();
        state.hotKeyProblem = hotKeyManager->registrationText();
    }
    return state;
}

void StatusBarController::rebuildMenu()
{
    if (!menu) {
        return;
    }
    StatusMenuRenderer::populate(menu, StatusMenuModel::build(menuState()),
                                 [this](StatusMenuItem::Action action, QAction* sender) {
                                     performMenuAction(action, sender);
                                 });
}

void StatusBarController::updateServerMenuItem()
{
    if (!menu) {
        return;
    }
    QAction* item = StatusMenuRenderer::itemWithTag(menu, StatusMenuModel::serverItemTag);
    if (!item) {
        return;
    }
    const ServerStatus status = serverManager->status();
    StatusMenuRenderer::apply(
        item, StatusMenuModel::serverItem(projectManager->selectedProject(), status));
    lastServerItem = item;
    lastServerItemStatus = status;
}

StatusMenuModel::ServerActionTitle
StatusBarController::serverActionTitle(const Project& project) const
{
    return StatusMenuModel::serverActionTitle(project, serverManager->status());
}

QString StatusBarController::hotkeyKeyEquivalent() const
{
    if (hotKeyManager && !hotKeyManager->isRegistered()) {
        return {};
    }
    return StatusMenuModel::hotkeyKeyEquivalent(settingsManager->hotKeyCodeInt());
}

std::uint64_t StatusBarController::hotkeyModifierMask() const
{
    return StatusMenuModel::hotkeyModifierMask(settingsManager->hotKeyCodeInt(),
                                               settingsManager->hotKeyModifiersInt());
}

StatusMenuItem StatusBarController::createProjectMenuItem(const QString& name, int port,
                                                          StatusMenuItem::Action action,
                                                          bool isSelected) const
{
    return StatusMenuModel::createProjectMenuItem(name, port, action, isSelected);
}

void StatusBarController::performMenuAction(StatusMenuItem::Action action, QAction* sender)
{
    switch (action) {
    case StatusMenuItem::Action::none:
        break;
    case StatusMenuItem::Action::mainActionClicked:
        mainActionClicked();
        break;
    case StatusMenuItem::Action::settingsClicked:
        settingsClicked();
        break;
    case StatusMenuItem::Action::customURLClicked:
        customURLClicked();
        break;
    case StatusMenuItem::Action::projectSelected:
        projectSelected(sender);
        break;
    case StatusMenuItem::Action::rescanProjects:
        rescanProjects();
        break;
    case StatusMenuItem::Action::startServerClicked:
        startServerClicked();
        break;
    case StatusMenuItem::Action::serverOutputClicked:
        serverOutputClicked();
        break;
    case StatusMenuItem::Action::quitClicked:
        quitClicked();
        break;
    }
}

// --- item actions ---

void StatusBarController::mainActionClicked()
{
    if (onMainActionRequested) {
        onMainActionRequested();
    }
}

void StatusBarController::settingsClicked()
{
    if (onSettingsRequested) {
        onSettingsRequested();
    }
}

void StatusBarController::customURLClicked()
{
    settingsManager->setIsCustomURLActive(true);
    openCustomURL(browserManager, Addresses::customAddress(settingsManager->customURL()),
                  settingsManager->preferredBrowser());
}

void StatusBarController::projectSelected(QAction* sender)
{
    const std::optional<Project> project =
        sender ? StatusMenuRenderer::representedProject(sender) : std::nullopt;
    if (!project) {
        return;
    }
    projectSwitcher->projectSelected(*project);
}

void StatusBarController::rescanProjects()
{
    // Tools installed since the last start count as much as projects added since.
    if (serverManager) {
        serverManager->refreshEnvironment();
    }
    const std::optional<QUrl> folder = settingsManager->projectsFolderURL();
    if (!folder) {
        return;
    }
    scanProjects(projectManager, settingsManager, *folder);
}

void StatusBarController::startServerClicked()
{
    if (!projectManager->selectedProject()) {
        return;
    }
    // Start and restart alike; what a restart does to a running server is the server
    // manager's business. It waits for a project switch's kill or start under way; a failure
    // is shown with the server's own lines.
    projectSwitcher->startSelectedServer(onServerStartFailed);
}

void StatusBarController::serverOutputClicked()
{
    if (onServerOutputRequested) {
        onServerOutputRequested();
    }
}

void StatusBarController::quitClicked()
{
    quit();
}
