#include "Controllers/ProjectSwitcher.h"

#include "Managers/SettingsManager.h"
#include "Protocols/BrowserManaging.h"
#include "Protocols/ProjectManaging.h"
#include "Protocols/ServerManaging.h"
#include "Utilities/ErrorDescription.h"
#include "Utilities/Log.h"

#include <QMetaObject>

ProjectSwitcher::ProjectSwitcher(SettingsManager* settingsManager, ServerManaging* serverManager,
                                 ProjectManaging* projectManager, BrowserManaging* browserManager,
                                 QObject* parent)
    : QObject(parent)
    , settingsManager(settingsManager)
    , serverManager(serverManager)
    , projectManager(projectManager)
    , browserManager(browserManager)
{}

ProjectSwitcher::~ProjectSwitcher()
{
    if (currentSwitchTask) {
        currentSwitchTask->cancel();
    }
}

void ProjectSwitcher::projectSelected(const Project& project)
{
    settingsManager->setIsCustomURLActive(false);

    const std::optional<Project> selected = projectManager->selectedProject();
    if (selected && *selected == project) {
        // Only the custom address item's check mark changes.
        if (rebuildMenu) {
            rebuildMenu();
        }
        return;
    }

    if (currentSwitchTask) {
        currentSwitchTask->cancel();
    }
    const SwitchTask task;
    currentSwitchTask = task;
    // Like a task handed to the main queue, the switch starts on the next turn of the event
    // loop; a choice made before then finds it cancelled before it starts.
    QMetaObject::invokeMethod(
        this, [this, project, task]() { run(project, task); }, Qt::QueuedConnection);
}

QCoro::Task<> ProjectSwitcher::run(Project project, SwitchTask task)
{
    const QPointer<ProjectSwitcher> self(this);
    co_await switchProject(std::move(project), task.token);
    *task.finished = true;
    if (self) {
        Q_EMIT switchEnded();
    }
}

QCoro::Task<> ProjectSwitcher::switchProject(Project project, CancellationToken token)
{
    // The switcher goes away with the status item at quit; a suspended switch then just ends.
    const QPointer<ProjectSwitcher> self(this);
    const auto cancelled = [&token](const QString& line) {
        if (!token.isCancelled()) {
            return false;
        }
        Log::line(line);
        return true;
    };

    try {
        if (cancelled(
                QStringLiteral("⏹️ [StatusBarController] Switch cancelled before start"))) {
            co_return;
        }
        Log::line(QStringLiteral("🔄 [StatusBarController] Switching to project: %1 (port %2)")
                      .arg(project.name, QString::number(project.port)));

        // One start or kill at a time: the cancelled switch before this one ends its server
        // operation first (a start stops what it launched), and none overlaps this one's.
        TurnQueue::Turn turn = co_await serverOperations.take();
        if (!self) {
            co_return;
        }
        const std::optional<Project> previous = projectManager->selectedProject();
        if (previous) {
            if (cancelled(QStringLiteral(
                    "⏹️ [StatusBarController] Switch cancelled during cleanup"))) {
                co_return;
            }
            // Also when nothing listens there, and also when both projects use the same port.
            Log::line(QStringLiteral("🛑 [StatusBarController] Killing server on port %1")
                          .arg(previous->port));
            co_await serverManager->killServer(previous->port);
            if (!self) {
                co_return;
            }
            Log::line(QStringLiteral("✅ [StatusBarController] Old server cleanup complete"));
        }
        if (cancelled(QStringLiteral(
                "⏹️ [StatusBarController] Switch cancelled before project change"))) {
            co_return;
        }

        projectManager->setSelectedProject(project);
        settingsManager->setSelectedProjectPath(project.folderPath());

        if (cancelled(QStringLiteral(
                "⏹️ [StatusBarController] Switch cancelled before server start"))) {
            co_return;
        }
        Log::line(QStringLiteral("▶️ [StatusBarController] Starting server for %1")
                      .arg(project.name));
        std::optional<QString> startFailure;
        std::exception_ptr startError;
        // Where the server is to be found: the project's port, or the one learned from it.
        int port = project.port;
        try {
            port = co_await serverManager->startServer(project, project.effectiveCommand(), token);
        } catch (const CancellationError&) {
            // Reported at the check below.
        } catch (const std::exception& error) {
            startFailure = errorDescription(error);
            startError = std::current_exception();
        }
        if (!self) {
            co_return;
        }
        turn = TurnQueue::Turn();
        // A switch given up during its start reports no failure of a start it abandoned.
        if (cancelled(QStringLiteral(
                "⏹️ [StatusBarController] Switch cancelled before waiting for server"))) {
            co_return;
        }
        if (startFailure) {
            // The new project stays selected; the switch ends here, and the user is told why.
            Log::line(QStringLiteral("❌ [StatusBarController] Failed to start server: %1")
                          .arg(*startFailure));
            if (onStartFailed) {
                onStartFailed(startError);
            }
            co_return;
        }
        Log::line(QStringLiteral("✅ [StatusBarController] Server start command sent"));

        if (cancelled(QStringLiteral(
                "⏹️ [StatusBarController] Switch cancelled before waiting for server"))) {
            co_return;
        }
        const QString url = QStringLiteral("http://localhost:") + QString::number(port);

        int attempts = 0;
        while (true) {
            if (cancelled(QStringLiteral(
                    "⏹️ [StatusBarController] Switch cancelled during server wait"))) {
                co_return;
            }
            // Throws CancellationError when a newer choice cancels the switch meanwhile.
            co_await sleepFor(checkInterval, token);
            if (!self) {
                co_return;
            }
            const bool listening = co_await serverManager->checkPort(port);
            if (!self) {
                co_return;
            }
            // The newer switch watches its own port.
            if (cancelled(QStringLiteral(
                    "⏹️ [StatusBarController] Switch cancelled during server wait"))) {
                co_return;
            }
            if (listening) {
                serverManager->updatePollingPort(port);
                Log::line(QStringLiteral("✅ [StatusBarController] Server is running on port %1")
                              .arg(port));
                break;
            }
            if (++attempts >= maxChecks) {
                // The server may simply be slow; the browser opens anyway.
                serverManager->updatePollingPort(port);
                Log::line(QStringLiteral("⚠️ [StatusBarController] Server did not start within "
                                         "timeout, opening browser anyway"));
                break;
            }
        }

        if (cancelled(QStringLiteral(
                "⏹️ [StatusBarController] Switch cancelled before opening browser"))) {
            co_return;
        }
        const Browser browser = settingsManager->preferredBrowser();
        std::optional<QString> browserFailure;
        try {
            const bool found = co_await browserManager->findExistingWindow(url, browser);
            if (!self) {
                co_return;
            }
            if (!found) {
                co_await browserManager->openIncognito(url, browser);
                if (!self) {
                    co_return;
                }
            }
        } catch (const CancellationError&) {
            throw;
        } catch (const std::exception& error) {
            browserFailure = errorDescription(error);
        }
        if (browserFailure) {
            Log::line(QStringLiteral("⚠️ [StatusBarController] Failed to open browser: %1")
                          .arg(*browserFailure));
        } else {
            Log::line(QStringLiteral("✅ [StatusBarController] Project switch complete"));
        }
    } catch (const CancellationError&) {
        Log::line(QStringLiteral("🔄 [StatusBarController] Project switch cancelled"));
    }
}

QCoro::Task<>
ProjectSwitcher::startSelectedServer(std::function<void(std::exception_ptr)> onFailure)
{
    const QPointer<ProjectSwitcher> self(this);
    const TurnQueue::Turn turn = co_await serverOperations.take();
    if (!self || !projectManager || !serverManager) {
        co_return;
    }
    // The project selected when the turn comes: a switch before it may have changed it.
    const std::optional<Project> project = projectManager->selectedProject();
    if (!project) {
        co_return;
    }
    try {
        co_await serverManager->startServer(*project, project->effectiveCommand());
    } catch (const std::exception&) {
        // The server state, and with it the icon and the server item, shows the outcome; the
        // alert says why.
        if (onFailure) {
            onFailure(std::current_exception());
        }
    }
}
