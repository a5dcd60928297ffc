#pragma once

#include "HotKey/HotKeyRegistration.h"
#include "Models/ServerStatus.h"

#include <QCoro/QCoroTask>
#include <QPointer>
#include <QWidget>

#include <memory>

class FolderChooser;
class HotKeyManager;
class LoginItemSwitch;
class PermissionsManager;
class ProjectManaging;
class ProjectOverrides;
class ProjectOverridesEditor;
class QAbstractButton;
class QButtonGroup;
class QLabel;
class QLineEdit;
class QPushButton;
class QToolButton;
class QVBoxLayout;
class RegistrationLine;
class ServerManaging;
class ShortcutRecorderView;
class SettingsManager;

// The compact settings panel of the settings popover: current project, projects folder, click
// behaviour, browser, global shortcut, custom address and server state, one section each. Every
// control writes the settings store at once, and every control follows the store's changes.
class SettingsView : public QWidget
{
    Q_OBJECT
public:
    SettingsView(SettingsManager* settingsManager, ProjectManaging* projectManager,
                 ServerManaging* serverManager, PermissionsManager* permissionsManager,
                 std::shared_ptr<FolderChooser> folderChooser = nullptr,
                 ProjectOverrides* overrides = nullptr, QWidget* parent = nullptr);

    // Opens the folder chooser; a confirmed folder is stored and scanned.
    void selectFolder();
    // The owner of the live shortcut, which says whether the stored one can be had; without
    // one the recorder shows the stored shortcut as it is.
    void setHotKeyManager(HotKeyManager* hotKeyManager);

    QPointer<SettingsManager> settingsManager;
    QPointer<ProjectManaging> projectManager;
    QPointer<ServerManaging> serverManager;
    QPointer<PermissionsManager> permissionsManager;
    QPointer<HotKeyManager> hotKeyManager;

    // The sections from top to bottom; each but the status row starts with its title label.
    QList<QWidget*> sections() const { return sectionWidgets; }

    QLabel* projectLabel() const { return currentProject; }
    QLabel* projectTypeLabel() const { return projectType; }
    QLabel* projectPortLabel() const { return projectPort; }
    // The selected project's command and port; read-only without overrides to write.
    ProjectOverridesEditor* overridesEditor() const { return editor; }
    QLabel* countLabel() const { return projectCount; }
    QLabel* folderLabel() const { return folderPath; }
    QPushButton* browseButton() const { return browse; }
    // Button ids are the BehaviorMode and Browser values.
    QButtonGroup* behaviorGroup() const { return behaviors; }
    QButtonGroup* browserGroup() const { return browsers; }
    ShortcutRecorderView* shortcutRecorder() const { return recorder; }
    // The line under the recorder saying that the stored shortcut cannot be had, or that the
    // desktop has not answered yet; hidden else.
    RegistrationLine* shortcutRegistrationLine() const { return shortcutProblem; }
    QLabel* shortcutProblemLabel() const;
    QWidget* accessibilityWarning() const { return accessibilityRow; }
    QLabel* accessibilityWarningIcon() const { return accessibilityIcon; }
    QPushButton* grantButton() const { return grant; }
    QLineEdit* customURLField() const { return customURL; }
    QToolButton* clearButton() const { return clearCustomURL; }
    QLabel* statusDot() const { return statusIndicator; }
    QLabel* statusLabel() const { return statusText; }
    // "Open at login", beside the server status.
    LoginItemSwitch* loginItemSwitch() const { return loginSwitch; }

protected:
    void showEvent(QShowEvent* event) override;
    void changeEvent(QEvent* event) override;

private:
    // Appends a padded section (after a divider) and returns its layout; no title label for an
    // empty title.
    QVBoxLayout* addSection(const QString& title);
    void makeCurrentProjectSection(ProjectOverrides* overrides);
    void makeProjectsSection();
    void makeBehaviorSection();
    void makeBrowserSection();
    void makeShortcutSection();
    void makeCustomURLSection();
    void makeStatusSection();

    void settingChanged(const QString& key);
    void updateCurrentProject();
    void updateProjects();
    void updateBehavior();
    void updateBrowser();
    void updateCustomURL();
    void updateAccessibilityWarning();
    void shortcutRecordingEnded();
    void updateShortcutAvailability();
    QCoro::Task<> checkShortcutAvailability();
    void showShortcutAvailability(HotKeyRegistration registration, const QString& shortcut);
    void updateStatus(ServerStatus status);
    void applyLinkColor();

    std::shared_ptr<FolderChooser> folderChooser;
    QList<QWidget*> sectionWidgets;
    QLabel* currentProject = nullptr;
    QLabel* projectType = nullptr;
    QLabel* projectPort = nullptr;
    ProjectOverridesEditor* editor = nullptr;
    QLabel* projectCount = nullptr;
    QLabel* folderPath = nullptr;
    QPushButton* browse = nullptr;
    QButtonGroup* behaviors = nullptr;
    QButtonGroup* browsers = nullptr;
    ShortcutRecorderView* recorder = nullptr;
    RegistrationLine* shortcutProblem = nullptr;
    // Counts availability checks; an answer to an older one than the last is dropped.
    quint64 availabilityChecks = 0;
    // Set when a recording changed the stored shortcut, until the recording ends.
    bool shortcutEdited = false;
    QMetaObject::Connection registrationConnection;
    QWidget* accessibilityRow = nullptr;
    QLabel* accessibilityIcon = nullptr;
    QPushButton* grant = nullptr;
    QLineEdit* customURL = nullptr;
    QToolButton* clearCustomURL = nullptr;
    QLabel* statusIndicator = nullptr;
    QLabel* statusText = nullptr;
    LoginItemSwitch* loginSwitch = nullptr;
};
