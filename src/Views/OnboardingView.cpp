#include "Views/OnboardingView.h"

#include "Managers/SettingsManager.h"
#include "Protocols/ProjectManaging.h"
#include "Views/FolderChooser.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QVBoxLayout>

namespace {

QCoro::Task<> scan(QPointer<ProjectManaging> projectManager, QUrl folder)
{
    if (projectManager) {
        co_await projectManager->scanFolder(folder);
    }
}

} // namespace

OnboardingView::OnboardingView(SettingsManager* settingsManager,
                               PermissionsManager* permissionsManager,
                               ProjectManaging* projectManager, HotKeyManager* hotKeyManager,
                               std::function<void()> onComplete,
                               std::shared_ptr<FolderChooser> folderChooser, QWidget* parent)
    : QWidget(parent)
    , settingsManager(settingsManager)
    , permissionsManager(permissionsManager)
    , projectManager(projectManager)
    , hotKeyManager(hotKeyManager)
    , onComplete(std::move(onComplete))
    , folderChooser(folderChooser ? std::move(folderChooser) : FolderChooser::makeDialogChooser())
{
    auto* title = new QLabel(QStringLiteral("Where are your projects?"), this);
    QFont titleFont = title->font();
    titleFont.setPointSizeF(titleFont.pointSizeF() * 1.4);
    titleFont.setWeight(QFont::DemiBold);
    title->setFont(titleFont);
    title->setAlignment(Qt::AlignCenter);

    auto* text = new QLabel(
        QStringLiteral("Select the folder containing your\ndevelopment projects."), this);
    text->setAlignment(Qt::AlignCenter);
    text->setForegroundRole(QPalette::PlaceholderText);

    pathField = new QLineEdit(this);
    pathField->setReadOnly(true);
    pathField->setPlaceholderText(QStringLiteral("Select folder..."));
    chooser = new QPushButton(QStringLiteral("Choose..."), this);
    connect(chooser, &QPushButton::clicked, this, &OnboardingView::selectFolder);

    foundLabel = new QLabel(this);
    foundLabel->setAlignment(Qt::AlignCenter);
    foundLabel->setForegroundRole(QPalette::PlaceholderText);

    finisher = new QPushButton(QStringLiteral("Finish"), this);
    finisher->setDefault(true);
    connect(finisher, &QPushButton::clicked, this, &OnboardingView::finish);

    auto* folderRow = new QHBoxLayout();
    folderRow->addWidget(pathField, 1);
    folderRow->addWidget(chooser);

    auto* navigation = new QHBoxLayout();
    navigation->addStretch(1);
    navigation->addWidget(finisher);

    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(32, 32, 32, 24);
    layout->addStretch(1);
    layout->addWidget(title);
    layout->addWidget(text);
    layout->addSpacing(12);
    layout->addLayout(folderRow);
    layout->addWidget(foundLabel);
    layout->addStretch(1);
    layout->addLayout(navigation);

    if (projectManager) {
        connect(projectManager, &ProjectManaging::projectsChanged, this,
                &OnboardingView::updateContent);
    }
    updateContent();
}

void OnboardingView::selectFolder()
{
    const QPointer<OnboardingView> self(this);
    folderChooser->choose(window(), [self](const QUrl& folder) {
        if (!self) {
            return;
        }
        self->selectedFolderURL = folder;
        self->updateContent();
        scan(self->projectManager, folder);
    });
}

void OnboardingView::finish()
{
    if (selectedFolderURL && settingsManager) {
        settingsManager->setProjectsFolder(*selectedFolderURL);
    }
    if (settingsManager) {
        settingsManager->setHasCompletedOnboarding(true);
    }
    if (onComplete) {
        onComplete();
    }
}

void OnboardingView::updateContent()
{
    pathField->setText(selectedFolderURL ? selectedFolderURL->toLocalFile() : QString());
    const qsizetype count = projectManager ? projectManager->projects().size() : 0;
    foundLabel->setText(count > 0 ? QStringLiteral("Found: %1 projects").arg(count) : QString());
    foundLabel->setVisible(count > 0);
    // Finishing needs a projects folder.
    finisher->setEnabled(selectedFolderURL.has_value());
}
