#pragma once

#include <QPointer>
#include <QWidget>

#include <memory>

class FolderChooser;
class PermissionsManager;
class ProjectManaging;
class QLabel;
class QPushButton;
class ServerManaging;
class SettingsManager;

// The compact settings panel of the settings popover. For now it shows the current project and
// the projects folder, and lets the user choose another folder; every change is stored at once.
class SettingsView : public QWidget
{
    Q_OBJECT
public:
    SettingsView(SettingsManager* settingsManager, ProjectManaging* projectManager,
                 ServerManaging* serverManager, PermissionsManager* permissionsManager,
                 std::shared_ptr<FolderChooser> folderChooser = nullptr, QWidget* parent = nullptr);

    // Opens the folder chooser; a confirmed folder is stored and scanned.
    void selectFolder();

    QPointer<SettingsManager> settingsManager;
    QPointer<ProjectManaging> projectManager;
    QPointer<ServerManaging> serverManager;
    PermissionsManager* permissionsManager = nullptr;

    QLabel* projectLabel() const { return currentProject; }
    QLabel* countLabel() const { return projectCount; }
    QLabel* folderLabel() const { return folderPath; }
    QPushButton* browseButton() const { return browse; }

private:
    void updateContent();

    std::shared_ptr<FolderChooser> folderChooser;
    QLabel* currentProject = nullptr;
    QLabel* projectCount = nullptr;
    QLabel* folderPath = nullptr;
    QPushButton* browse = nullptr;
};
