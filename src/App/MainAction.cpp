#include "App/MainAction.h"

#include "App/AlertCoordinator.h"
#include "Managers/SettingsManager.h"
#include "Protocols/BrowserManaging.h"
#include "Protocols/ProjectManaging.h"
#include "Protocols/ServerManaging.h"
#include "Utilities/Addresses.h"

#include <exception>

MainAction::MainAction(SettingsManager* settingsManager, ProjectManaging* projectManager,
                       ServerManaging* serverManager, BrowserManaging* browserManager,
                       AlertCoordinator* alerts, QObject* parent)
    : QObject(parent)
    , settingsManager(settingsManager)
    , projectManager(projectManager)
    , serverManager(serverManager)
    , browserManager(browserManager)
    , alerts(alerts)
{}

QCoro::Task<> MainAction::performMainAction()
{
    const QPointer<MainAction> self(this);
    std::exception_ptr failure;
    try {
        if (settingsManager->isCustomURLActive() && settingsManager->hasCustomURL()) {
            co_await openBrowserWindow(Addresses::customAddress(settingsManager->customURL()));
            co_return;
        }

        const std::optional<Project> project = projectManager->selectedProject();
        if (!project) {
            alerts->showNoProjectSelectedAlert();
            co_return;
        }

        const QString address = Addresses::localAddress(project->port);
        const bool listening = co_await serverManager->checkPort(project->port);
        if (!self) {
            co_return;
        }
        if (listening) {
            co_await openBrowserWindow(address);
        } else {
            alerts->showStartServerAlert(*project);
        }
    } catch (...) {
        failure = std::current_exception();
    }
    if (!failure || !self || !alerts) {
        co_return;
    }
    try {
        std::rethrow_exception(failure);
    } catch (const std::exception& error) {
        alerts->showError(error);
    } catch (...) {
    }
}

QCoro::Task<> MainAction::openBrowserWindow(QString url)
{
    const QString address = Addresses::browserAddress(url);
    const Browser browser = settingsManager->preferredBrowser();
    const QPointer<BrowserManaging> browsers = browserManager;

    switch (settingsManager->behaviorMode()) {
    case BehaviorMode::alwaysNewWindow:
        co_await browsers->openIncognito(address, browser);
        break;
    case BehaviorMode::bringToFront:
        co_await browsers->activateBrowser(browser);
        break;
    case BehaviorMode::findURLWindow:
        if (!co_await browsers->findExistingWindow(address, browser) && browsers) {
            co_await browsers->openIncognito(address, browser);
        }
        break;
    }
}
