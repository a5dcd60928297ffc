#pragma once

#include "App/Alert.h"
#include "Models/BrowserError.h"
#include "Models/Project.h"
#include "Models/ServerError.h"
#include "Utilities/TurnQueue.h"

#include <QCoro/QCoroTask>
#include <QObject>
#include <QPointer>

#include <chrono>
#include <exception>
#include <functional>
#include <memory>
#include <optional>

class AlertPresenter;
class ServerManaging;
class SystemSettingsOpener;

// The application's alerts and what their answers lead to: the question before a server is
// started (and the start, the pause and the browser opening that follow), browser errors with
// their way out, any other error, and the "No project selected" notice.
class AlertCoordinator : public QObject
{
    Q_OBJECT
public:
    static inline const QString automationSettingsAddress = QStringLiteral(
        "x-apple.systempreferences:com.apple.preference.security?Privacy_Automation");

    // Longer lines of a failed start are cut to this many characters and "…".
    static constexpr qsizetype maxFailureLineLength = 300;

    // With no opener, the platform's own.
    AlertCoordinator(ServerManaging* serverManager, std::shared_ptr<AlertPresenter> presenter,
                     std::shared_ptr<SystemSettingsOpener> settingsOpener = nullptr,
                     QObject* parent = nullptr);

    // The alerts as data. With `dependenciesMissing` the question says so and offers
    // "Install and Start" first.
    static Alert startServerAlert(const Project& project, bool dependenciesMissing = false);
    // A failed start: the generic error's message and the error's description, then after a
    // blank line the last lines the server wrote; "OK" and "Show Output".
    static Alert startFailureAlert(const QString& description, const QStringList& lastLines);
    static Alert startFailureAlert(const ServerError& error);
    // "Browser Error" stands in for a missing description.
    static Alert browserErrorAlert(BrowserError::Case errorCase, const QString& description,
                                   const std::optional<QString>& recoverySuggestion);
    static Alert browserErrorAlert(const BrowserError& error);
    static Alert genericErrorAlert(const QString& description);
    static Alert noProjectSelectedAlert();

    // Asks whether to start the project's server; on "Start Server" starts the task below, on
    // "Install and Start" the same task after the install.
    void showStartServerAlert(const Project& project);
    // Installs the project's dependencies first when asked to, starts the server, pauses
    // `serverStartPause` (no port check) and opens the browser on the local address of the port
    // the server was found on (the project's, or the one learned from the server); failures end
    // in the error alerts. The install and the start run in one turn of `takeServerTurn`.
    QCoro::Task<> startServerAndOpenBrowser(Project project, bool installFirst = false);

    // The project is a Node project whose declared dependencies are not installed.
    static bool dependenciesMissing(const Project& project);

    void showBrowserError(const BrowserError& error);
    void showGenericError(const std::exception& error);
    // On "Show Output" opens the server output window.
    void showStartFailure(const ServerError& error);
    // showBrowserError for a BrowserError, showStartFailure for a ServerError,
    // showGenericError for anything else.
    void showError(const std::exception& error);
    void showNoProjectSelectedAlert();

    // Opens an address in the browser the way the main action does (set by the owner).
    std::function<QCoro::Task<>(QString url)> openBrowserWindow;
    // Shows the settings popover (set by the owner).
    std::function<void()> showSettings;
    // Opens the server output window (set by the owner).
    std::function<void()> showServerOutput;
    // Waits for the turn at the server manager that project switches and the menu's start
    // take, so that this start never runs alongside their kills and starts (set by the owner;
    // without it the install and the start run at once).
    std::function<QCoro::Task<TurnQueue::Turn>()> takeServerTurn;
    // Gives a just-started development server time to bind its port.
    std::chrono::milliseconds serverStartPause{2000};

Q_SIGNALS:
    // The task after "Start Server" has ended, however it ended.
    void startServerFlowEnded();

private:
    QPointer<ServerManaging> serverManager;
    std::shared_ptr<AlertPresenter> presenter;
    std::shared_ptr<SystemSettingsOpener> settingsOpener;
};
