#pragma once

#include <QPointer>
#include <QUrl>
#include <QWidget>

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>

class FolderChooser;
class HotKeyManager;
class OnboardingShortcutRecorder;
class PermissionRow;
class PermissionsManager;
class ProjectManaging;
class QLabel;
class QLineEdit;
class QPushButton;
class QStackedWidget;
class RegistrationLine;
class SettingsManager;

// The first-run guide of the onboarding window, in four steps: welcome, projects folder,
// quick-access shortcut, permissions. Finishing records that onboarding is done and calls back.
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
    // Moves to the next step; on the folder step, stores the chosen folder and scans it.
    void continueToNextStep();
    void goBack();
    // Records hasCompletedOnboarding and calls onComplete.
    void finish();

    // The default shortcut as the shortcut step names it: "Ctrl+Alt+L" on Linux, "⌃⌥L" on macOS.
    static QString defaultShortcutText();

    QPointer<SettingsManager> settingsManager;
    QPointer<PermissionsManager> permissionsManager;
    QPointer<ProjectManaging> projectManager;
    HotKeyManager* hotKeyManager = nullptr;
    std::function<void()> onComplete;
    int currentStep = 0;
    std::optional<QUrl> selectedFolderURL;
    bool isRecordingShortcut = false;
    const int totalSteps = 4;

    QLineEdit* folderField() const { return pathField; }
    QLabel* countLabel() const { return foundLabel; }
    QPushButton* chooseButton() const { return chooser; }
    QPushButton* backButton() const { return back; }
    QPushButton* continueButton() const { return next; }
    QPushButton* finishButton() const { return finisher; }
    OnboardingShortcutRecorder* shortcutRecorder() const { return recorder; }
    // The line under the shortcut control saying that the shortcut cannot be had, or that the
    // desktop has not answered yet; hidden else.
    RegistrationLine* shortcutRegistrationLine() const { return shortcutProblem; }
    QLabel* shortcutProblemLabel() const;
    PermissionRow* automationRow() const { return automation; }
    PermissionRow* accessibilityRow() const { return accessibility; }
    // The page of the current step.
    QWidget* currentPage() const;
    // The step dots, in order.
    QList<QLabel*> stepDots() const { return dots; }

private:
    QWidget* makeWelcomePage();
    QWidget* makeFolderPage();
    QWidget* makeShortcutPage();
    QWidget* makePermissionsPage();

    void showStep();
    // Writes the default shortcut when none is stored yet.
    void shortcutStepAppeared();
    void shortcutRecorded(std::uint32_t keyCode, std::uint32_t carbonModifiers);
    void updateContent();
    void updateShortcutText();
    void updateDots();

    std::shared_ptr<FolderChooser> folderChooser;
    QStackedWidget* pages = nullptr;
    QLineEdit* pathField = nullptr;
    QLabel* foundLabel = nullptr;
    QPushButton* chooser = nullptr;
    OnboardingShortcutRecorder* recorder = nullptr;
    RegistrationLine* shortcutProblem = nullptr;
    PermissionRow* automation = nullptr;
    PermissionRow* accessibility = nullptr;
    QList<QLabel*> dots;
    QPushButton* back = nullptr;
    QPushButton* next = nullptr;
    QPushButton* finisher = nullptr;
};
