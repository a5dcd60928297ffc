#pragma once

#include "Models/Project.h"
#include "Utilities/Cancellation.h"
#include "Utilities/TurnQueue.h"

#include <QCoro/QCoroTask>
#include <QObject>
#include <QPointer>

#include <chrono>
#include <exception>
#include <functional>
#include <memory>
#include <optional>

class BrowserManaging;
class ProjectManaging;
class ServerManaging;
class SettingsManager;

// Switches the selected project: stops whatever listens on the old project's port, selects the
// new project, starts its server, waits for its port and opens it in the browser. One
// cancellable task per switch; a newer choice cancels the older switch, which stops at its next
// check point. The kills and starts of switches (and of the menu's start item and of anyone
// holding a turn of `takeServerTurn`) take turns, so that at most one runs against the server
// manager at a time: a newer switch waits until the cancelled one's server operation has ended
// (a cancelled start stops what it launched).
class ProjectSwitcher : public QObject
{
    Q_OBJECT
public:
    // Handle of one switch: cancel it, or ask whether it has ended.
    class SwitchTask
    {
    public:
        void cancel() const { token.cancel(); }
        bool isCancelled() const { return token.isCancelled(); }
        bool isFinished() const { return *finished; }

        CancellationToken token;
        std::shared_ptr<bool> finished = std::make_shared<bool>(false);
    };

    ProjectSwitcher(SettingsManager* settingsManager, ServerManaging* serverManager,
                    ProjectManaging* projectManager, BrowserManaging* browserManager,
                    QObject* parent = nullptr);
    // A switch still under way is cancelled; it ends at its next check point.
    ~ProjectSwitcher() override;

    // Choosing a project in the menu. Always leaves custom-address mode; the project already
    // selected only rebuilds the menu.
    void projectSelected(const Project& project);

    // The switch itself; ends early, with a log line, at the first check point that finds
    // `token` cancelled.
    QCoro::Task<> switchProject(Project project, CancellationToken token);

    // Starts (or restarts) the selected project's server when no switch's kill or start is under
    // way; the project is the one selected by then. A failure goes to `onFailure`.
    QCoro::Task<> startSelectedServer(std::function<void(std::exception_ptr)> onFailure = {});

    // The turn at the server manager, for a start or install made elsewhere: at once when no
    // switch or start holds it, otherwise after those that asked before. Held until the
    // returned turn goes out of scope. A waiter is let go when the switcher goes away first,
    // and then has to check that what it needs is still there.
    QCoro::Task<TurnQueue::Turn> takeServerTurn() { return serverOperations.take(); }

    // The latest switch; a finished one stays until the next switch replaces it.
    std::optional<SwitchTask> currentSwitchTask;

    // Wait between port checks, and the number of checks before the browser opens anyway.
    std::chrono::milliseconds checkInterval{500};
    int maxChecks = 20;

    // Rebuilds the status menu.
    std::function<void()> rebuildMenu;
    // The switch's server start failed with this error; the switch has ended.
    std::function<void(std::exception_ptr)> onStartFailed;

Q_SIGNALS:
    // A switch task has ended, however it ended.
    void switchEnded();

private:
    QCoro::Task<> run(Project project, SwitchTask task);

    QPointer<SettingsManager> settingsManager;
    QPointer<ServerManaging> serverManager;
    QPointer<ProjectManaging> projectManager;
    QPointer<BrowserManaging> browserManager;
    TurnQueue serverOperations;
};
