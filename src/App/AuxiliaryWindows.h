#pragma once

#include <QObject>
#include <QPointer>
#include <QRect>
#include <QWidget>

#include <functional>
#include <memory>

class FolderChooser;
class HotKeyManager;
class PermissionsManager;
class ProjectOverrides;
class ProjectManaging;
class ServerManaging;
class SettingsManager;
class SettingsPopover;
class ServerOutputLog;
class ServerOutputWindow;

// The application's two windows besides the alerts: the first-run onboarding window and the
// settings popover under the status item.
class AuxiliaryWindows : public QObject
{
    Q_OBJECT
public:
    static constexpr int onboardingWidth = 450;
    static constexpr int onboardingHeight = 400;

    AuxiliaryWindows(SettingsManager* settingsManager, ProjectManaging* projectManager,
                     ServerManaging* serverManager, PermissionsManager* permissionsManager,
                     HotKeyManager* hotKeyManager, QObject* parent = nullptr);
    ~AuxiliaryWindows() override;

    // Builds a fresh settings view into the popover (made on first use, then reused) and shows
    // it under the status item.
    void showSettings();
    // Opens the onboarding window; finishing it, or closing it with its close button, closes
    // the window and starts polling.
    void showOnboarding();
    // Shows the server output window (made on first use, then reused) in front.
    void showServerOutput();

    // Geometry of the status item's icon; an empty rectangle when the tray cannot say.
    std::function<QRect()> statusItemGeometry;
    // Folder chooser handed to the views; null for the dialog.
    std::shared_ptr<FolderChooser> folderChooser;
    // The per-project overrides the settings view edits; none leaves them read-only.
    QPointer<ProjectOverrides> projectOverrides;
    // What the server output window shows.
    QPointer<ServerOutputLog> serverOutputLog;

    QPointer<QWidget> onboardingWindow;
    QPointer<SettingsPopover> settingsPopover;
    QPointer<ServerOutputWindow> serverOutputWindow;

private:
    void onboardingCompleted();
    void onboardingClosed();
    // Closes the onboarding window, if any, and lets go of it.
    void dropOnboardingWindow();
    // The selected project's port, 3000 when none is selected.
    int selectedPort() const;

    QPointer<SettingsManager> settingsManager;
    QPointer<ProjectManaging> projectManager;
    QPointer<ServerManaging> serverManager;
    PermissionsManager* permissionsManager = nullptr;
    HotKeyManager* hotKeyManager = nullptr;
};
