#include "App/AlertCoordinator.h"

#include "App/AlertPresenter.h"
#include "Platform/SystemSettingsOpener.h"
#include "Protocols/ServerManaging.h"
#include "Utilities/Addresses.h"
#include "Utilities/ErrorDescription.h"
#include "Utilities/NodeDependencies.h"

#include <QCoro/QCoroTimer>
#include <QTimer>

namespace {

// A fixed pause that never ends early (coarse timers may fire a little before their time).
QCoro::Task<> pause(std::chrono::milliseconds duration)
{
    QTimer timer;
    timer.setTimerType(Qt::PreciseTimer);
    timer.setSingleShot(true);
    timer.start(duration);
    co_await qCoro(timer).waitForTimeout();
}

} // namespace

AlertCoordinator::AlertCoordinator(ServerManaging* serverManager,
                                   std::shared_ptr<AlertPresenter> presenter,
                                   std::shared_ptr<SystemSettingsOpener> settingsOpener,
                                   QObject* parent)
    : QObject(parent)
    , serverManager(serverManager)
    , presenter(std::move(presenter))
    , settingsOpener(settingsOpener ? std::move(settingsOpener)
                                    : SystemSettingsOpener::makeSystemOpener())
{}

Alert AlertCoordinator::startServerAlert(const Project& project, bool dependenciesMissing)
{
    Alert alert{QStringLiteral("Server is not running"),
                QStringLiteral("Would you like to start ") + project.name +
                    QStringLiteral(" on port ") + QString::number(project.port) +
                    QStringLiteral("?"),
                Alert::Style::informational,
                {QStringLiteral("Start Server"), QStringLiteral("Cancel")}};
    if (dependenciesMissing) {
        alert.informativeText +=
            QStringLiteral("\nIts dependencies are not installed (there is no node_modules "
                           "folder).");
        alert.buttons.prepend(QStringLiteral("Install and Start"));
    }
    return alert;
}

Alert AlertCoordinator::startFailureAlert(const QString& description, const QStringList& lastLines)
{
    Alert alert = genericErrorAlert(description);
    if (!lastLines.isEmpty()) {
        // A minified bundle's line can be megabytes long; the output window has it whole.
        QStringList shown;
        for (const QString& line : lastLines) {
            shown.append(line.size() > maxFailureLineLength
                             ? line.left(maxFailureLineLength) + QStringLiteral("…")
                             : line);
        }
        alert.informativeText += QStringLiteral("\n\n") + shown.join(QLatin1Char('\n'));
    }
    alert.buttons = {QStringLiteral("OK"), QStringLiteral("Show Output")};
    // Escape only closes it.
    alert.escapeButton = 0;
    return alert;
}

Alert AlertCoordinator::startFailureAlert(const ServerError& error)
{
    return startFailureAlert(error.errorDescription(), error.lastLines());
}

bool AlertCoordinator::dependenciesMissing(const Project& project)
{
    return project.type == ProjectType::nodejs && NodeDependencies::missing(project.folderPath());
}

Alert AlertCoordinator::browserErrorAlert(BrowserError::Case errorCase, const QString& description,
                                          const std::optional<QString>& recoverySuggestion)
{
    Alert alert;
    alert.style = Alert::Style::warning;
    alert.messageText = description.isEmpty() ? QStringLiteral("Browser Error") : description;
    alert.informativeText = recoverySuggestion.value_or(QString());
    switch (errorCase) {
    case BrowserError::Case::permissionDenied:
        alert.buttons = {QStringLiteral("Open System Settings"), QStringLiteral("Cancel")};
        break;
    case BrowserError::Case::browserNotFound:
        alert.buttons = {QStringLiteral("Select Different Browser"), QStringLiteral("Cancel")};
        break;
    case BrowserError::Case::scriptFailed:
    case BrowserError::Case::timeout:
    case BrowserError::Case::unknown:
        alert.buttons = {QStringLiteral("OK")};
        break;
    }
    return alert;
}

Alert AlertCoordinator::browserErrorAlert(const BrowserError& error)
{
    return browserErrorAlert(error.errorCase(), error.errorDescription(),
                             error.recoverySuggestion());
}

Alert AlertCoordinator::genericErrorAlert(const QString& description)
{
    return Alert{QStringLiteral("An error occurred"),
                 description,
                 Alert::Style::warning,
                 {QStringLiteral("OK")}};
}

Alert AlertCoordinator::noProjectSelectedAlert()
{
    // No buttons: the platform's default one.
    return Alert{QStringLiteral("No project selected"),
                 QStringLiteral("Please select a project from the menu first."),
                 Alert::Style::warning,
                 {}};
}

void AlertCoordinator::showStartServerAlert(const Project& project)
{
    const bool missing = dependenciesMissing(project);
    const int answer = presenter->runModal(startServerAlert(project, missing));
    if (missing && answer == 0) {
        startServerAndOpenBrowser(project, true);
    } else if (answer == (missing ? 1 : 0)) {
        startServerAndOpenBrowser(project);
    }
}

QCoro::Task<> AlertCoordinator::startServerAndOpenBrowser(Project project, bool installFirst)
{
    const QPointer<AlertCoordinator> self(this);
    std::exception_ptr failure;
    try {
        // The server may have been found on another port than the project's.
        int port = project.port;
        // One turn for the install and the start, so that no switch's kill comes between
        // them; it ends before the pause, which touches no server.
        {
            TurnQueue::Turn turn;
            if (takeServerTurn) {
                turn = co_await takeServerTurn();
                if (!self) {
                    co_return;
                }
            }
            if (installFirst && serverManager) {
                co_await serverManager->installDependencies(project);
                if (!self) {
                    co_return;
                }
            }
            if (serverManager) {
                port = co_await serverManager->startServer(project, project.effectiveCommand());
            }
            if (!self) {
                co_return;
            }
        }
        co_await pause(serverStartPause);
        if (!self) {
            co_return;
        }
        if (openBrowserWindow) {
            co_await openBrowserWindow(Addresses::localAddress(port));
        }
    } catch (...) {
        failure = std::current_exception();
    }
    if (!self) {
        co_return;
    }
    if (failure) {
        try {
            std::rethrow_exception(failure);
        } catch (const std::exception& error) {
            showError(error);
        } catch (...) {
        }
    }
    Q_EMIT startServerFlowEnded();
}

void AlertCoordinator::showBrowserError(const BrowserError& error)
{
    const int answer = presenter->runModal(browserErrorAlert(error));
    if (answer != AlertPresenter::firstButton) {
        return;
    }
    switch (error.errorCase()) {
    case BrowserError::Case::permissionDenied:
        settingsOpener->open(automationSettingsAddress);
        break;
    case BrowserError::Case::browserNotFound:
        if (showSettings) {
            showSettings();
        }
        break;
    case BrowserError::Case::scriptFailed:
    case BrowserError::Case::timeout:
    case BrowserError::Case::unknown:
        break;
    }
}

void AlertCoordinator::showGenericError(const std::exception& error)
{
    presenter->runModal(genericErrorAlert(errorDescription(error)));
}

void AlertCoordinator::showStartFailure(const ServerError& error)
{
    if (presenter->runModal(startFailureAlert(error)) == 1 && showServerOutput) {
        showServerOutput();
    }
}

void AlertCoordinator::showError(const std::exception& error)
{
    if (const auto* browserError = dynamic_cast<const BrowserError*>(&error)) {
        showBrowserError(*browserError);
    } else if (const auto* serverError = dynamic_cast<const ServerError*>(&error)) {
        showStartFailure(*serverError);
    } else {
        showGenericError(error);
    }
}

void AlertCoordinator::showNoProjectSelectedAlert()
{
    presenter->runModal(noProjectSelectedAlert());
}
