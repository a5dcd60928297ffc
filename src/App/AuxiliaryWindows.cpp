#include "App/AuxiliaryWindows.h"

#include "Managers/ProjectOverrides.h"
#include "Managers/SettingsManager.h"
#include "Protocols/ProjectManaging.h"
#include "Protocols/ServerManaging.h"
#include "Utilities/Log.h"
#include "Utilities/ServerOutputLog.h"
#include "Views/OnboardingView.h"
#include "Views/ServerOutputWindow.h"
#include "Views/SettingsPopover.h"
#include "Views/SettingsView.h"

#include <QCursor>
#include <QGuiApplication>
#include <QScreen>
#include <QVBoxLayout>

namespace {

// Tells when a window is closed (its close button, or close()); the close goes ahead.
class CloseWatcher : public QObject
{
public:
    CloseWatcher(QWidget* window, std::function<void()> onClose)
        : QObject(window), onClose(std::move(onClose))
    {
        window->installEventFilter(this);
    }

protected:
    bool eventFilter(QObject* watched, QEvent* event) override
    {
        if (event->type() == QEvent::Close && onClose) {
            onClose();
        }
        return QObject::eventFilter(watched, event);
    }

private:
    std::function<void()> onClose;
};

} // namespace

AuxiliaryWindows::AuxiliaryWindows(SettingsManager* settingsManager,
                                   ProjectManaging* projectManager, ServerManaging* serverManager,
                                   PermissionsManager* permissionsManager,
                                   HotKeyManager* hotKeyManager, QObject* parent)
    : QObject(parent)
    , settingsManager(settingsManager)
    , projectManager(projectManager)
    , serverManager(serverManager)
    , permissionsManager(permissionsManager)
    , hotKeyManager(hotKeyManager)
{}

AuxiliaryWindows::~AuxiliaryWindows()
{
    delete onboardingWindow;
    delete settingsPopover;
    delete serverOutputWindow;
}

void AuxiliaryWindows::showSettings()
{
    if (!settingsPopover) {
        settingsPopover = new SettingsPopover();
    }
    auto* view = new SettingsView(settingsManager, projectManager, serverManager,
                                  permissionsManager, folderChooser, projectOverrides);
    view->setHotKeyManager(hotKeyManager);
    settingsPopover->setContent(view);

    QRect anchor = statusItemGeometry ? statusItemGeometry() : QRect();
    if (!anchor.isValid() || anchor.isEmpty()) {
        anchor = QRect(QCursor::pos(), QSize(1, 1));
    }
    settingsPopover->showRelativeTo(anchor);
}

void AuxiliaryWindows::showServerOutput()
{
    const bool created = !serverOutputWindow;
    if (created) {
        serverOutputWindow = new ServerOutputWindow(serverOutputLog);
    }
    serverOutputWindow->show();
    // Centred the first time; afterwards it stays where the user put it.
    if (QScreen* screen = QGuiApplication::primaryScreen(); created && screen) {
        QRect frame = serverOutputWindow->frameGeometry();
        frame.moveCenter(screen->availableGeometry().center());
        serverOutputWindow->move(frame.topLeft());
    }
    serverOutputWindow->raise();
    serverOutputWindow->activateWindow();
}

void AuxiliaryWindows::showOnboarding()
{
    if (onboardingWindow) {
        onboardingWindow->deleteLater();
    }
    auto* window = new QWidget(nullptr, Qt::Window | Qt::CustomizeWindowHint | Qt::WindowTitleHint |
                                            Qt::WindowCloseButtonHint);
    window->setWindowTitle(QStringLiteral("wisp"));
    window->setAttribute(Qt::WA_DeleteOnClose, false);

    const QPointer<AuxiliaryWindows> self(this);
    auto* view = new OnboardingView(
        settingsManager, permissionsManager, projectManager, hotKeyManager,
        [self]() {
            if (self) {
                self->onboardingCompleted();
            }
        },
        folderChooser, window);
    // Closed with its close button instead of "Finish": wisp runs on as after finishing, and
    // onboarding comes again at the next start.
    new CloseWatcher(window, [self, window] {
        if (self && self->onboardingWindow == window) {
            self->onboardingClosed();
        }
    });
    auto* layout = new QVBoxLayout(window);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(view);
    window->setFixedSize(onboardingWidth, onboardingHeight);

    onboardingWindow = window;
    window->show();
    // Centred with its frame, which is known once the window is shown.
    if (QScreen* screen = QGuiApplication::primaryScreen()) {
        QRect frame = window->frameGeometry();
        frame.moveCenter(screen->availableGeometry().center());
        window->move(frame.topLeft());
    }
    window->raise();
    window->activateWindow();
}

void AuxiliaryWindows::onboardingCompleted()
{
    dropOnboardingWindow();
    const int port = selectedPort();
    Log::line(QStringLiteral("🚀 [AppDelegate] Onboarding complete - starting polling on port %1")
                  .arg(port));
    if (serverManager) {
        serverManager->startPolling(port);
    }
}

void AuxiliaryWindows::onboardingClosed()
{
    dropOnboardingWindow();
    const int port = selectedPort();
    Log::line(QStringLiteral("🚀 [AppDelegate] Onboarding closed - starting polling on port %1")
                  .arg(port));
    if (serverManager) {
        serverManager->startPolling(port);
    }
}

void AuxiliaryWindows::dropOnboardingWindow()
{
    // Forgotten before it closes, so that its close is not taken for the close button.
    QWidget* window = onboardingWindow;
    onboardingWindow = nullptr;
    if (window) {
        window->close();
        // Deleted later: the finishing click or the close event is still being delivered.
        window->deleteLater();
    }
}

int AuxiliaryWindows::selectedPort() const
{
    const std::optional<Project> selected =
        projectManager ? projectManager->selectedProject() : std::nullopt;
    return selected ? selected->port : 3000;
}
