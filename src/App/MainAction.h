#pragma once

#include <QCoro/QCoroTask>
#include <QObject>
#include <QPointer>
#include <QString>

class AlertCoordinator;
class BrowserManaging;
class ProjectManaging;
class ServerManaging;
class SettingsManager;

// What a click on the status item, the global shortcut and the menu's first item do: open the
// custom address, or the selected project's local site when its server answers, or ask to
// start the server. Browser failures end in the alerts.
class MainAction : public QObject
{
    Q_OBJECT
public:
    MainAction(SettingsManager* settingsManager, ProjectManaging* projectManager,
               ServerManaging* serverManager, BrowserManaging* browserManager,
               AlertCoordinator* alerts, QObject* parent = nullptr);

    QCoro::Task<> performMainAction();
    // Opens `url` ("http://" added unless it begins with "http") in the preferred browser as
    // the behaviour mode says. Throws BrowserError.
    QCoro::Task<> openBrowserWindow(QString url);

private:
    QPointer<SettingsManager> settingsManager;
    QPointer<ProjectManaging> projectManager;
    QPointer<ServerManaging> serverManager;
    QPointer<BrowserManaging> browserManager;
    QPointer<AlertCoordinator> alerts;
};
