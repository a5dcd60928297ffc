#pragma once

#include <QPointer>
#include <QUrl>
#include <QWidget>

#include <functional>
#include <memory>
#include <optional>

class FolderChooser;
class HotKeyManager;
class PermissionsManager;
class ProjectManaging;
class QLabel;
class QLineEdit;
class QPushButton;
class SettingsManager;

// The first-run guide, shown in the onboarding window: for now it asks for the projects folder
// and finishes. Finishing stores the folder, records that onboarding is done and calls back.
class OnboardingView : public QWidget
{
    Q_OBJECT
public:
    OnboardingView(SettingsManager* settingsManager, PermissionsManager* permissionsManager,
                   ProjectManaging* projectManager, HotKeyManager* hotKeyManager,
                   std::function<void()> onComplete,
                   std::shared_ptr<FolderChooser> folderChooser = nullptr,
                   QWidget* parent = nullptr);

    // Opens the folder chooser; a confirmed folder is shown and scanned, so the count appears.
    void selectFolder();
    // Stores the chosen folder, records hasCompletedOnboarding and calls onComplete.
    void finish();

    QPointer<SettingsManager> settingsManager;
    PermissionsManager* permissionsManager = nullptr;
    QPointer<ProjectManaging> projectManager;
    HotKeyManager* hotKeyManager = nullptr;
    std::function<void()> onComplete;
    std::optional<QUrl> selectedFolderURL;

    QLineEdit* folderField() const { return pathField; }
    QLabel* countLabel() const { return foundLabel; }
    QPushButton* chooseButton() const { return chooser; }
    QPushButton* finishButton() const { return finisher; }

private:
    void updateContent();

    std::shared_ptr<FolderChooser> folderChooser;
    QLineEdit* pathField = nullptr;
    QLabel* foundLabel = nullptr;
    QPushButton* chooser = nullptr;
    QPushButton* finisher = nullptr;
};
